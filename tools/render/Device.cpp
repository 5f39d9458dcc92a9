#include "Device.h"

#include "tools/GpuStatus.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace render {
namespace {

// Set in the environment of the renderer started again on the CPU device.
constexpr const char* kOnCpu = "TREVIX7_RENDER_ON_CPU";

std::string exeDir()
{
    char exe[4096] = {};
    const ssize_t n = readlink("/proc/self/exe", exe, sizeof(exe) - 1);
    const std::string path = n > 0 ? std::string(exe, size_t(n)) : std::string();
    return path.substr(0, path.rfind('/') + 1);
}

// The CPU device's folder: beside an installed renderer, or in the build tree.
std::string cpuDir()
{
    const std::string dir = exeDir();
    for (const std::string& candidate : {dir + "../" TREVIX7_CPU_SUBDIR, dir + "../cpu"})
        if (std::ifstream(candidate + "/libtrevix7.so.0"))
            return candidate;
    return "";
}

// The GPU count with the library's start-up lines kept off standard output.
int quietGpuCount(std::string& why)
{
    int count = 0;
    silenced(stdout, [&] { count = tools::gpuCount(why); });
    return count;
}

// `said` tells the renderer started again whether the line was printed already.
int startOnCpu(char** argv, bool said, std::string& why)
{
    const std::string dir = cpuDir();
    if (dir.empty()) {
        why = "the CPU device is not installed beside the renderer (" TREVIX7_CPU_SUBDIR ")";
        return 3;
    }
    const char* path = std::getenv("LD_LIBRARY_PATH");
    setenv("LD_LIBRARY_PATH", (dir + (path && *path ? ":" + std::string(path) : "")).c_str(), 1);
    setenv(kOnCpu, said ? "said" : "say", 1);
    std::fflush(stdout);
    execv("/proc/self/exe", argv);
    why = std::string("cannot start the renderer on the CPU device: ") + std::strerror(errno);
    return 3;
}

} // namespace

bool onCpu() { return std::getenv(kOnCpu) != nullptr; }

void silenced(FILE* stream, const std::function<void()>& body)
{
    const int fd = fileno(stream);
    std::fflush(stream);
    const int saved = dup(fd), null = open("/dev/null", O_WRONLY);
    dup2(null, fd);
    body();
    std::fflush(stream);
    dup2(saved, fd);
    close(saved);
    close(null);
}

int chooseDevice(const std::string& asked, char** argv, std::string& why)
{
    if (onCpu()) {
        if (std::strcmp(std::getenv(kOnCpu), "say") == 0)
            std::printf("Rendering on the CPU device.\n");
        return tools::gpuCount(why) < 1 ? 3 : -1;
    }
    if (asked == "cpu")
        return startOnCpu(argv, false, why);
    const int count = asked == "gpu" ? tools::gpuCount(why) : quietGpuCount(why);
    if (count > 0) {
        std::printf("Rendering on the GPU (%d device%s).\n", count, count == 1 ? "" : "s");
        return -1;
    }
    if (asked == "gpu")
        return 3;
    std::printf("Rendering on the CPU device (no usable GPU).\n");
    return startOnCpu(argv, true, why);
}

} // namespace render
