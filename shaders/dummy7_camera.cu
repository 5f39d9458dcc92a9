// Ray-generation program that traces nothing: with the miss program beside it,
// it lets a pipeline be linked and launched before the path tracer's programs
// exist. Each sample writes a value that tells its pixel, device and pass
// (dummy7_camera.h), so a launch can be checked pixel by pixel.

#include "shaders/dummy7_camera.h"
#include "shaders/params.h"

extern "C" __global__ void __raygen__dummy() { dummyCameraSample(params, optixGetLaunchIndex().x); }
