// Reports what the library finds on this machine: each usable GPU and its
// compute capability, or why there is none.

#include "GpuStatus.h"
#include "trevix7.h"

#include <cstdio>

int main()
{
    std::string why;
    const int count = tools::gpuCount(why);
    if (count < 1) {
        std::printf("%s\n", why.c_str());
        return 1;
    }
    std::printf("%d CUDA device(s) found, OptiX loaded:\n", count);
    for (int i = 0; i < count; ++i) {
        const int cap = ApiGpuArchitecture(unsigned(i));
        std::printf("  device %d: compute capability %d.%d%s\n", i, cap / 100, cap / 10 % 10,
                    cap >= 500 ? "" : " (too old, not used)");
    }
    return 0;
}
