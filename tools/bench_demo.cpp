// Benchmark of our own programs on the demo scene on device 0 (a GPU, or the
// CPU device when its library is first on the loader's path): the time of
// one pass and the samples per second, over batches of 1 and of 33 passes
// (their slope leaves out the fixed cost of a batch).
// Usage: trevix7_bench_demo SCENE.json [program dir] [WIDTHxHEIGHT, default 1920x1080]

#include "trevix7.h"
#include "trevix7_scene.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

namespace {

// Seconds of one batch of `passes`, the best of three.
double batch(unsigned handle, unsigned passes)
{
    double best = 1e30;
    for (int round = 0; round < 3; ++round) {
        ApiClearAccumulation(handle);
        const auto start = std::chrono::steady_clock::now();
        ApiLaunch(handle, passes, 0xFFFFFFFFu, nullptr);
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

} // namespace

int main(int argc, char** argv)
{
    trevix7_scene_settings s;
    SceneDefaultSettings(&s);
    s.width = 1920;
    s.height = 1080;
    if (argc < 2 || (argc > 3 && (std::sscanf(argv[3], "%ux%u", &s.width, &s.height) != 2 ||
                                  !s.width || !s.height))) {
        std::printf("usage: trevix7_bench_demo SCENE.json [program dir] [WIDTHxHEIGHT]\n");
        return 2;
    }
    ApiSetupLibraryDir(argc > 2 ? argv[2] : ".");
    const unsigned device = 0;
    s.devices = &device;
    s.device_count = 1;
    char error[4096] = {};
    const unsigned h = SceneLoadFile(argv[1], &s, error);
    if (!h || ApiLaunch(h, 1, 0xFFFFFFFFu, error) < 0 || error[0]) { // the first launch compiles
        std::printf("benchmark failed: %s\n", error);
        return 1;
    }
    const double one = batch(h, 1), many = batch(h, 33);
    const double pass = (many - one) / 32, samples = double(s.width) * s.height;
    std::printf("demo %u x %u on device 0: %.3f ms a pass, %.3g samples/s (a batch of one: %.3f ms)\n",
                s.width, s.height, pass * 1e3, samples / pass, one * 1e3);
    ApiDestroyPathTracer(h, nullptr);
    return 0;
}
