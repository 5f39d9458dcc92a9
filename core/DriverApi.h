#pragma once
// The driver-API calls the library makes, reached through the runtime's
// entry-point query at first use: the library never links the driver
// library, so it loads on a machine without one. The names are the driver's,
// so that checked calls quote them as written.

#include <cuda.h>

#undef cuMemAlloc
#undef cuMemFree

namespace driver {
// CUDA_ERROR_NOT_FOUND when the runtime cannot provide the function.
CUresult cuMemAlloc(CUdeviceptr* dptr, size_t bytesize);
CUresult cuMemFree(CUdeviceptr dptr);
} // namespace driver

using driver::cuMemAlloc;
using driver::cuMemFree;
