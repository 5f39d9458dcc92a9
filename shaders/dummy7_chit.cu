// Closest-hit program of the default material: an empty scene never reaches it,
// and it leaves the payload as it is.

#include "shaders/optix7_device.h"

extern "C" __global__ void __closesthit__dummy() {}
