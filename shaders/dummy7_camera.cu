// Ray-generation program that traces nothing: with the miss program beside it,
// it lets a pipeline be linked and launched before the path tracer's programs
// exist. The samples keep what the buffers held.

#include "shaders/optix7_device.h"

extern "C" __global__ void __raygen__dummy() {}
