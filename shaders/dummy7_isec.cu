// Intersection program of the placeholder geometry: it reports no hit, so the
// placeholder box that keeps an empty scene's structure valid stays invisible.

#include "shaders/optix7_device.h"

extern "C" __global__ void __intersection__dummy() {}
