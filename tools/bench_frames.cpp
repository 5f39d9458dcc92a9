// Benchmark of frames on GPU 0, with the placeholder programs at 1920 x 1080:
//   - the per-pass host overhead of a launch against a bare loop of
//     cudaMemcpyAsync + optixLaunch (+ the same wait) over the same pipeline;
//   - the fixed cost of a batch (gather, readback) and of a readback alone,
//     against the device-copy and zero-copy bandwidth measured in this run.
// Prints its figures and their ratios. Usage: trevix7_bench_frames [cuda dir]

#include "core/CUDABuffer.h"
#include "core/PathTracer.h"
#include "programs/ProgramFiles.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>

T7_CHECK_LABEL("bench_frames.cpp");

namespace {

constexpr unsigned kWidth = 1920, kHeight = 1080;

// Seconds per call of `work`, the best of five rounds of `repeats` calls.
double seconds(unsigned repeats, const std::function<void()>& work)
{
    double best = 1e30;
    for (int round = 0; round < 5; ++round) {
        CUDA_CHECK(cudaDeviceSynchronize());
        const auto start = std::chrono::steady_clock::now();
        for (unsigned i = 0; i < repeats; ++i)
            work();
        CUDA_CHECK(cudaDeviceSynchronize());
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        best = std::min(best, took.count() / repeats);
    }
    return best;
}

// Bytes per second of a copy of `bytes` from device memory to `dst`.
double copyBandwidth(void* dst, const void* src, size_t bytes, cudaStream_t stream)
{
    const double t = seconds(20, [&] {
        CUDA_CHECK(cudaMemcpyAsync(dst, src, bytes, cudaMemcpyDefault, stream));
    });
    return double(bytes) / t;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string ptxDir = argc > 1 ? argv[1] : "cuda";
    lib_dir = ptxDir + "/..";
    try {
        PathTracer pt(kWidth, kHeight, READBACK_RGBA8, {}, {}, {}, {}, {}, {}, {0}, 0);
        if (!pt.setCameraProgram("dummy7_camera.cu::__raygen__dummy") ||
            !pt.setMissProgram("dummy7_miss.cu::__miss__dummy") || !pt.compileScene()) {
            std::printf("the placeholder programs did not compile\n");
            return 1;
        }
        PathTracerState& state = const_cast<PathTracerState&>(pt.states().front());
        std::printf("GPU 0, %u x %u, %d samples a pass\n", kWidth, kHeight, state.num_samples);

        // Per pass: the slope between batches of 10 and 110 passes.
        const unsigned never = 0xffffffffu;
        auto batch = [&](unsigned n) {
            pt.clearAccumulation();
            return seconds(3, [&] { pt.launch(n, never); });
        };
        const double launchPass = (batch(110) - batch(10)) / 100;
        auto bare = [&](unsigned n) {
            return seconds(3, [&] {
                for (unsigned i = 0; i < n; ++i) {
                    CUDA_CHECK(cudaMemcpyAsync(reinterpret_cast<void*>(state.d_params),
                                               &state.params, sizeof(Params),
                                               cudaMemcpyHostToDevice, state.stream));
                    OPTIX_CHECK(optixLaunch(state.pipeline, state.stream, state.d_params,
                                            sizeof(Params), &state.sbt, state.num_samples, 1, 1));
                    CUDA_CHECK(cudaDeviceSynchronize());
                }
            });
        };
        const double barePass = (bare(110) - bare(10)) / 100;
        std::printf("per pass: launch %.1f us, bare loop %.1f us, ratio %.3f\n",
                    launchPass * 1e6, barePass * 1e6, launchPass / barePass);

        // Fixed cost of a batch: one pass less its share; a readback alone.
        pt.clearAccumulation();
        const double batchFixed = batch(1) - launchPass;
        const double readback = seconds(10, [&] { pt.getOutputBuffer2(READBACK_RGBA8); });

        // Baselines: a device copy, and device-to-mapped-host copies.
        const size_t imageBytes = size_t(kWidth) * kHeight * sizeof(float4);
        void *a = nullptr, *b = nullptr, *host = nullptr;
        CUDA_CHECK(cudaMalloc(&a, imageBytes));
        CUDA_CHECK(cudaMalloc(&b, imageBytes));
        CUDA_CHECK(cudaHostAlloc(&host, imageBytes, cudaHostAllocPortable | cudaHostAllocMapped));
        const double device = copyBandwidth(b, a, imageBytes, state.stream) * 2; // read + write
        const double zeroCopy = copyBandwidth(host, a, imageBytes, state.stream);
        CUDA_CHECK(cudaFree(a));
        CUDA_CHECK(cudaFree(b));
        CUDA_CHECK(cudaFreeHost(host));

        // What crosses the bus: the gather writes the float4 image into mapped
        // memory; the readback reads it back and writes 4 bytes a pixel.
        const double pixels = double(kWidth) * kHeight;
        const double gatherBytes = pixels * 16, readbackBytes = pixels * (16 + 4);
        const double gather = batchFixed - readback;
        std::printf("bandwidth: device copy %.1f GB/s, zero-copy %.1f GB/s\n", device / 1e9,
                    zeroCopy / 1e9);
        std::printf("gather: %.3f ms, %.2f x the zero-copy time of its image (%.3f ms)\n",
                    gather * 1e3, gather / (gatherBytes / zeroCopy), gatherBytes / zeroCopy * 1e3);
        std::printf("readback RGBA8: %.3f ms, %.2f x the zero-copy time of its bytes (%.3f ms)\n",
                    readback * 1e3, readback / (readbackBytes / zeroCopy),
                    readbackBytes / zeroCopy * 1e3);
    } catch (const std::exception& e) {
        std::printf("benchmark failed: %s\n", e.what());
        return 1;
    }
    return 0;
}
