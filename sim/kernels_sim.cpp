// The library's preprocessing launchers on the simulated device: the kernels'
// per-element code in plain host loops. Device pointers are host pointers here
// and the work is done at once, so there is nothing for the stream to order.

#include "kernels/preprocessing_kernels.h"

void preprocessingParticleSet(unsigned n, cudaStream_t, CudaAabb* aabb, const float3* centres,
                              const float* radii)
{
    for (unsigned i = 0; i < n; ++i)
        particleSetElement(i, aabb, centres, radii);
}

void preprocessingParticleSetTex(unsigned n, cudaStream_t, CudaAabb* aabb, const float3* centres,
                                 float3* axisA, float3* axisB, const float* radii)
{
    for (unsigned i = 0; i < n; ++i)
        particleSetTexElement(i, aabb, centres, axisA, axisB, radii);
}

void preprocessingBezier(unsigned n, cudaStream_t, CudaAabb* aabb, const float2* radii,
                         const float3* p0, const float3* p1, const float3* p2, const float3* p3)
{
    for (unsigned i = 0; i < n; ++i)
        bezierElement(i, aabb, radii, p0, p1, p2, p3);
}

void preprocessingParallelograms(unsigned n, cudaStream_t, CudaAabb* aabb, const float3* corner,
                                 const float3* a, const float3* b)
{
    for (unsigned i = 0; i < n; ++i)
        parallelogramElement(i, aabb, corner, a, b);
}

void preprocessingParallelepipeds(unsigned n, cudaStream_t, CudaAabb* aabb, const float3* corner,
                                  const float3* a, const float3* b, const float3* c)
{
    for (unsigned i = 0; i < n; ++i)
        parallelepipedElement(i, aabb, corner, a, b, c);
}
