// Intersection programs of the custom primitive kinds. Each reports the hit
// with hit kind 0 (entering from outside) or 1 (leaving from inside) and five
// attribute words: the unit outward normal and the texture coordinate.

#include "shaders/device.h"

__forceinline__ __device__ void t7_report(const T7CustomHit& h)
{
    if (h.t < 0.0f)
        return;
    optixReportIntersection(h.t, h.inside ? 1u : 0u, __float_as_uint(h.normal.x),
                            __float_as_uint(h.normal.y), __float_as_uint(h.normal.z),
                            __float_as_uint(h.uv.x), __float_as_uint(h.uv.y));
}

template <T7CustomHit (*Hit)(const GeometryData&, unsigned, float3, float3, float)>
__forceinline__ __device__ void t7_intersect()
{
    const GeometryData& g = reinterpret_cast<const HitGroupData*>(optixGetSbtDataPointer())->geometry;
    t7_report(Hit(g, optixGetPrimitiveIndex(), optixGetObjectRayOrigin(),
                  optixGetObjectRayDirection(), optixGetRayTmin()));
}

extern "C" __global__ void __intersection__particles() { t7_intersect<t7_hitParticle>(); }
extern "C" __global__ void __intersection__particles_tex() { t7_intersect<t7_hitParticle>(); }
extern "C" __global__ void __intersection__bezier() { t7_intersect<t7_hitBezierPrim>(); }
extern "C" __global__ void __intersection__parallelograms() { t7_intersect<t7_hitParallelogramPrim>(); }
extern "C" __global__ void __intersection__parallelepipeds() { t7_intersect<t7_hitParallelepipedPrim>(); }
