// The preprocessing kernels: one thread per primitive on a one-dimensional
// grid, no shared memory, no synchronisation. Built with flush-to-zero.

#include "preprocessing_kernels.h"

static __device__ inline unsigned primitiveIndex()
{
    return blockIdx.x * blockDim.x + threadIdx.x;
}

__global__ void _preprocessingParticleSet(unsigned n, CudaAabb* aabb, const float3* centres,
                                          const float* radii)
{
    const unsigned i = primitiveIndex();
    if (i >= n)
        return;
    particleSetElement(i, aabb, centres, radii);
}

__global__ void _preprocessingParticleSetTex(unsigned n, CudaAabb* aabb, const float3* centres,
                                             float3* axisA, float3* axisB, const float* radii)
{
    const unsigned i = primitiveIndex();
    if (i >= n)
        return;
    particleSetTexElement(i, aabb, centres, axisA, axisB, radii);
}

__global__ void _preprocessingBezier(unsigned n, CudaAabb* aabb, const float2* radii,
                                     const float3* p0, const float3* p1, const float3* p2,
                                     const float3* p3)
{
    const unsigned i = primitiveIndex();
    if (i >= n)
        return;
    bezierElement(i, aabb, radii, p0, p1, p2, p3);
}

__global__ void _preprocessingParallelograms(unsigned n, CudaAabb* aabb, const float3* corner,
                                             const float3* a, const float3* b)
{
    const unsigned i = primitiveIndex();
    if (i >= n)
        return;
    parallelogramElement(i, aabb, corner, a, b);
}

__global__ void _preprocessingParallelepipeds(unsigned n, CudaAabb* aabb, const float3* corner,
                                              const float3* a, const float3* b, const float3* c)
{
    const unsigned i = primitiveIndex();
    if (i >= n)
        return;
    parallelepipedElement(i, aabb, corner, a, b, c);
}

namespace {

// Every kernel takes the count first; the launch result is left to the stream's
// next checked call.
template <typename... Params, typename... Args>
void launch(void (*kernel)(unsigned, Params...), unsigned n, cudaStream_t stream, Args... args)
{
    if (n == 0)
        return;
    const unsigned block = get_block_size(n);
    kernel<<<get_grid_size(n, block), block, 0, stream>>>(n, args...);
}

} // namespace

void preprocessingParticleSet(unsigned n, cudaStream_t stream, CudaAabb* aabb,
                              const float3* centres, const float* radii)
{
    launch(_preprocessingParticleSet, n, stream, aabb, centres, radii);
}

void preprocessingParticleSetTex(unsigned n, cudaStream_t stream, CudaAabb* aabb,
                                 const float3* centres, float3* axisA, float3* axisB,
                                 const float* radii)
{
    launch(_preprocessingParticleSetTex, n, stream, aabb, centres, axisA, axisB, radii);
}

void preprocessingBezier(unsigned n, cudaStream_t stream, CudaAabb* aabb, const float2* radii,
                         const float3* p0, const float3* p1, const float3* p2, const float3* p3)
{
    launch(_preprocessingBezier, n, stream, aabb, radii, p0, p1, p2, p3);
}

void preprocessingParallelograms(unsigned n, cudaStream_t stream, CudaAabb* aabb,
                                 const float3* corner, const float3* a, const float3* b)
{
    launch(_preprocessingParallelograms, n, stream, aabb, corner, a, b);
}

void preprocessingParallelepipeds(unsigned n, cudaStream_t stream, CudaAabb* aabb,
                                  const float3* corner, const float3* a, const float3* b,
                                  const float3* c)
{
    launch(_preprocessingParallelepipeds, n, stream, aabb, corner, a, b, c);
}
