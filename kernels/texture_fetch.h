#pragma once
// A 2D fetch of four floats from a texture object: the device's texture unit,
// or, where the kernels run on the host (the simulated device), a host
// function that filters as the texture unit does for the library's textures.

#include "vector_math.h"

#include <cuda_runtime.h>

#if !defined(__CUDA_ARCH__)
float4 t7_hostTex2D(cudaTextureObject_t texture, float u, float v);
#endif

T7_HOST_DEVICE inline float4 t7_tex2D(cudaTextureObject_t texture, float u, float v)
{
#if defined(__CUDA_ARCH__)
    return tex2D<float4>(texture, u, v);
#else
    return t7_hostTex2D(texture, u, v);
#endif
}
