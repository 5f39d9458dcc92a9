// Miss program of radiance rays that leaves the payload as it is.

#include "shaders/optix7_device.h"

extern "C" __global__ void __miss__dummy() {}
