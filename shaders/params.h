#pragma once
// The launch parameters as every module of ours sees them. The block defines
// "params" (a visible .const of sizeof(Params) bytes): OptiX links the
// pipeline's launch parameters to the modules that define it, and a module
// that only declared it would never receive them.

#include "core/Params.h"
#include "shaders/optix7_device.h"

extern "C" {
__constant__ Params params;
}
