#pragma once
// The launch parameters as every module of ours sees them. The block defines
// "params" (a visible .const of sizeof(Params) bytes): OptiX links the
// pipeline's launch parameters to the modules that define it, and a module
// that only declared it would never receive them. In host builds (the CPU
// device) each thread running a launch holds its own copy.

#include "core/Params.h"
#include "shaders/optix7_device.h"

#if defined(__CUDACC__)
extern "C" {
__constant__ Params params;
}
#else
extern thread_local Params params;
#endif
