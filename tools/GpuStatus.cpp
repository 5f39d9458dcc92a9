#include "GpuStatus.h"

#include "core/optix7.h"
#include "trevix7.h"

#include <dlfcn.h>

namespace tools {

namespace {

// Why OptiX cannot be used, in the loader's or OptiX's own words; empty
// when the library loads and accepts ABI 68.
std::string optixProblem()
{
    void* optix = dlopen("libnvoptix.so.1", RTLD_NOW);
    if (!optix)
        return std::string("libnvoptix.so.1 could not be loaded: ") + dlerror();
    std::string problem;
    const auto query =
        reinterpret_cast<OptixQueryFunctionTable_t>(dlsym(optix, "optixQueryFunctionTable"));
    OptixFunctionTable table = {};
    if (!query) {
        problem = std::string("libnvoptix.so.1 has no optixQueryFunctionTable: ") + dlerror();
    } else if (const OptixResult r = query(OPTIX_ABI_VERSION, 0, nullptr, nullptr, &table,
                                           sizeof(table))) {
        const char* name = r == OPTIX_ERROR_UNSUPPORTED_ABI_VERSION
                               ? "OPTIX_ERROR_UNSUPPORTED_ABI_VERSION: the driver does not "
                                 "offer OptiX ABI 68; update it to version 580 or newer"
                           : r == OPTIX_ERROR_FUNCTION_TABLE_SIZE_MISMATCH
                               ? "OPTIX_ERROR_FUNCTION_TABLE_SIZE_MISMATCH"
                               : "an unexpected result";
        problem = "optixQueryFunctionTable refused ABI " + std::to_string(OPTIX_ABI_VERSION) +
                  " with " + std::to_string(int(r)) + " (" + name + ")";
    }
    dlclose(optix);
    return problem;
}

} // namespace

int gpuCount(std::string& why)
{
    const int count = ApiGetDeviceCount();
    if (count > 0)
        return count;
    if (count == 0) {
        why = "No GPU: the CUDA driver reports no devices. Nothing to render on.";
    } else if (const std::string problem = optixProblem(); problem.empty()) {
        // -1 with a usable OptiX: CUDA did not start (the library printed why).
        why = "No GPU: CUDA could not start on this machine (see the message above). "
              "Nothing to render on.";
    } else {
        why = "No GPU or no OptiX: CUDA did not start, or OptiX is not usable: " + problem +
              ". Nothing to render on.";
    }
    return count;
}

} // namespace tools
