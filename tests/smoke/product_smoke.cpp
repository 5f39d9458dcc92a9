// Loads the product library the way a host does, on a machine without an
// NVIDIA driver: it must load, report the CUDA start-up failure and refuse to
// create an instance with its usual text.

#include "trevix7.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

int failures = 0;

void check(bool ok, const std::string& what)
{
    std::printf("%s: %s\n", ok ? "ok" : "FAILED", what.c_str());
    failures += ok ? 0 : 1;
}

// Runs f with standard output sent to a file, and returns what it printed.
template <typename F> std::string captureStdout(F&& f)
{
    std::fflush(stdout);
    char path[] = "/tmp/trevix7_smoke_XXXXXX";
    int fd = mkstemp(path);
    int saved = dup(1);
    dup2(fd, 1);
    f();
    std::fflush(stdout);
    dup2(saved, 1);
    close(saved);
    std::string text;
    if (FILE* in = std::fopen(path, "r")) {
        char buf[4096];
        size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, in)) > 0)
            text.append(buf, n);
        std::fclose(in);
    }
    close(fd);
    unlink(path);
    return text;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <path to libtrevix7.so>\n", argv[0]);
        return 2;
    }
    void* lib = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    check(lib != nullptr, std::string("dlopen ") + argv[1] + (lib ? "" : std::string(": ") + dlerror()));
    if (!lib)
        return 1;

    auto getDeviceCount = reinterpret_cast<decltype(&ApiGetDeviceCount)>(dlsym(lib, "ApiGetDeviceCount"));
    auto createPathTracer = reinterpret_cast<decltype(&ApiCreatePathTracer)>(dlsym(lib, "ApiCreatePathTracer"));
    check(getDeviceCount && createPathTracer, "entry points found");
    if (!getDeviceCount || !createPathTracer)
        return 1;

    int count = 0;
    std::string out = captureStdout([&] { count = getDeviceCount(); });
    check(count == -1, "ApiGetDeviceCount returns -1 (got " + std::to_string(count) + ")");
    const std::string head = "CUDA initialization failed:\n";
    bool layout = out.compare(0, head.size(), head) == 0 && out.size() > head.size() + 1 &&
                  out.back() == '\n' && out.find('\n', head.size()) == out.size() - 1;
    check(layout, "start-up failure printed as two lines: [" + out + "]");

    char error[512] = "stale";
    unsigned handle = 1;
    out = captureStdout([&] {
        handle = createPathTracer(64, 64, 1, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr,
                                  nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr,
                                  nullptr, 0, nullptr, 0, 0, error);
    });
    check(handle == 0, "ApiCreatePathTracer returns 0");
    check(std::string(error) == "Unknown OptixResult code: Compatible device(s) not found "
                                "/ OptiX not initialized.",
          std::string("creation error text: ") + error);
    check(out.empty(), "creation prints nothing");

    std::printf("%s\n", failures ? "product smoke test failed" : "product smoke test passed");
    return failures ? 1 : 0;
}
