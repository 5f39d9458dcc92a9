#include "DriverApi.h"

#include <cuda_runtime.h>

namespace {

// The driver's function `symbol` as of CUDA 12.0, or null.
template <typename Function> Function* entryPoint(const char* symbol)
{
    void* function = nullptr;
    cudaDriverEntryPointQueryResult found = cudaDriverEntryPointSymbolNotFound;
    if (cudaGetDriverEntryPointByVersion(symbol, &function, 12000, cudaEnableDefault, &found) !=
            cudaSuccess ||
        found != cudaDriverEntryPointSuccess)
        return nullptr;
    return reinterpret_cast<Function*>(function);
}

} // namespace

namespace driver {

CUresult cuMemAlloc(CUdeviceptr* dptr, size_t bytesize)
{
    static auto* const function = entryPoint<CUresult(CUdeviceptr*, size_t)>("cuMemAlloc");
    return function ? function(dptr, bytesize) : CUDA_ERROR_NOT_FOUND;
}

CUresult cuMemFree(CUdeviceptr dptr)
{
    static auto* const function = entryPoint<CUresult(CUdeviceptr)>("cuMemFree");
    return function ? function(dptr) : CUDA_ERROR_NOT_FOUND;
}

} // namespace driver
