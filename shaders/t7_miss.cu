// Miss program of radiance rays: the ray sees the background. (Occlusion
// rays that miss run no program: the tracer's "not occluded" stays.)

#include "shaders/device.h"

extern "C" __global__ void __miss__environment()
{
    T7Hit& hit = *t7_payloadHit();
    hit.t = -1.0f;
    hit.background = t7_background(params, optixGetWorldRayDirection());
}
