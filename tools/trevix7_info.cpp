// Reports what the library finds on this machine: each usable GPU and its
// compute capability, or why there is none.

#include "trevix7.h"

#include <dlfcn.h>

#include <cstdio>

int main()
{
    int count = ApiGetDeviceCount();
    if (count > 0) {
        std::printf("%d CUDA device(s) found, OptiX loaded:\n", count);
        for (int i = 0; i < count; ++i) {
            int cap = ApiGpuArchitecture(unsigned(i));
            std::printf("  device %d: compute capability %d.%d%s\n", i, cap / 100, cap / 10 % 10,
                        cap >= 500 ? "" : " (too old, not used)");
        }
        return 0;
    }
    if (count == 0) {
        std::printf("No GPU: the CUDA driver reports no devices. Nothing to render on.\n");
        return 1;
    }
    // -1: CUDA did not start (the library printed why), or OptiX is missing.
    if (void* optix = dlopen("libnvoptix.so.1", RTLD_NOW)) {
        dlclose(optix);
        std::printf("No GPU: CUDA could not start on this machine (see the message above). "
                    "Nothing to render on.\n");
    } else {
        std::printf("No GPU or no OptiX: CUDA did not start, or the OptiX library "
                    "libnvoptix.so.1 of the NVIDIA driver was not found. Nothing to render on.\n");
    }
    return 1;
}
