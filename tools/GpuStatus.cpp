#include "GpuStatus.h"

#include "trevix7.h"

#include <dlfcn.h>

namespace tools {

int gpuCount(std::string& why)
{
    const int count = ApiGetDeviceCount();
    if (count > 0)
        return count;
    if (count == 0) {
        why = "No GPU: the CUDA driver reports no devices. Nothing to render on.";
    } else if (void* optix = dlopen("libnvoptix.so.1", RTLD_NOW)) {
        // -1: CUDA did not start (the library printed why), or OptiX is missing.
        dlclose(optix);
        why = "No GPU: CUDA could not start on this machine (see the message above). "
              "Nothing to render on.";
    } else {
        why = "No GPU or no OptiX: CUDA did not start, or the OptiX library libnvoptix.so.1 of "
              "the NVIDIA driver was not found. Nothing to render on.";
    }
    return count;
}

} // namespace tools
