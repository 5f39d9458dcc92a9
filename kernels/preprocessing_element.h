#pragma once
// Per-primitive arithmetic of the preprocessing kernels: one axis-aligned box
// per custom primitive, and the in-place axis normalisation of textured
// particles. The CUDA kernels and the simulated device's host loops both call
// these functions, so the two builds compute the same boxes.

#include "vector_math.h"

#include <cstddef>

// Same layout as OptixAabb, so the box array feeds the acceleration build as is.
struct CudaAabb {
    float minX, minY, minZ;
    float maxX, maxY, maxZ;
};
static_assert(sizeof(CudaAabb) == 24, "CudaAabb must match OptixAabb");
static_assert(offsetof(CudaAabb, maxX) == 12, "CudaAabb must match OptixAabb");

// --- Boxes ------------------------------------------------------------------

T7_HOST_DEVICE inline CudaAabb t7_pointBox(float3 p)
{
    return CudaAabb{p.x, p.y, p.z, p.x, p.y, p.z};
}

T7_HOST_DEVICE inline void t7_extend(CudaAabb& box, float3 p)
{
    box.minX = fminf(box.minX, p.x);
    box.minY = fminf(box.minY, p.y);
    box.minZ = fminf(box.minZ, p.z);
    box.maxX = fmaxf(box.maxX, p.x);
    box.maxY = fmaxf(box.maxY, p.y);
    box.maxZ = fmaxf(box.maxZ, p.z);
}

T7_HOST_DEVICE inline CudaAabb sphereBox(float3 centre, float radius)
{
    return CudaAabb{centre.x - radius, centre.y - radius, centre.z - radius,
                    centre.x + radius, centre.y + radius, centre.z + radius};
}

// Makes a unit length, then b a unit vector orthogonal to a (one Gram-Schmidt step).
T7_HOST_DEVICE inline void normaliseAxes(float3& a, float3& b)
{
    a = t7_scale(a, t7_rsqrt(t7_dot(a, a)));
    b = t7_sub(b, t7_scale(a, t7_dot(a, b)));
    b = t7_scale(b, t7_rsqrt(t7_dot(b, b)));
}

// The curve lies in the hull of its control points; negative radii count as 0.
T7_HOST_DEVICE inline CudaAabb bezierBox(float3 p0, float3 p1, float3 p2, float3 p3, float2 radius)
{
    const float r = fmaxf(0.0f, fmaxf(radius.x, radius.y));
    CudaAabb box = t7_pointBox(p0);
    t7_extend(box, p1);
    t7_extend(box, p2);
    t7_extend(box, p3);
    box.minX -= r;
    box.minY -= r;
    box.minZ -= r;
    box.maxX += r;
    box.maxY += r;
    box.maxZ += r;
    return box;
}

T7_HOST_DEVICE inline CudaAabb parallelogramBox(float3 p, float3 a, float3 b)
{
    CudaAabb box = t7_pointBox(p);
    t7_extend(box, t7_add(p, a));
    t7_extend(box, t7_add(p, b));
    t7_extend(box, t7_add(t7_add(p, a), b));
    return box;
}

T7_HOST_DEVICE inline CudaAabb parallelepipedBox(float3 p, float3 a, float3 b, float3 c)
{
    // The far face is the parallelogram at p + c.
    CudaAabb box = parallelogramBox(p, a, b);
    const CudaAabb top = parallelogramBox(t7_add(p, c), a, b);
    t7_extend(box, make_float3(top.minX, top.minY, top.minZ));
    t7_extend(box, make_float3(top.maxX, top.maxY, top.maxZ));
    return box;
}

// --- One primitive i of each kind, in the slot order of its launcher --------

T7_HOST_DEVICE inline void particleSetElement(unsigned i, CudaAabb* aabb, const float3* centres,
                                              const float* radii)
{
    aabb[i] = sphereBox(centres[i], radii[i]);
}

// The axes are written back normalised; the box depends on centre and radius only.
T7_HOST_DEVICE inline void particleSetTexElement(unsigned i, CudaAabb* aabb, const float3* centres,
                                                 float3* axisA, float3* axisB, const float* radii)
{
    float3 a = axisA[i];
    float3 b = axisB[i];
    normaliseAxes(a, b);
    axisA[i] = a;
    axisB[i] = b;
    aabb[i] = sphereBox(centres[i], radii[i]);
}

T7_HOST_DEVICE inline void bezierElement(unsigned i, CudaAabb* aabb, const float2* radii,
                                         const float3* p0, const float3* p1, const float3* p2,
                                         const float3* p3)
{
    aabb[i] = bezierBox(p0[i], p1[i], p2[i], p3[i], radii[i]);
}

T7_HOST_DEVICE inline void parallelogramElement(unsigned i, CudaAabb* aabb, const float3* corner,
                                                const float3* a, const float3* b)
{
    aabb[i] = parallelogramBox(corner[i], a[i], b[i]);
}

T7_HOST_DEVICE inline void parallelepipedElement(unsigned i, CudaAabb* aabb, const float3* corner,
                                                 const float3* a, const float3* b, const float3* c)
{
    aabb[i] = parallelepipedBox(corner[i], a[i], b[i], c[i]);
}
