#pragma once
// What our device programs share on the device only: the launch parameters,
// the radiance payload (the address of the tracer's T7Hit in two words, so
// that the closest-hit and miss programs write the hit in place) and the
// texture lookups.

#include "shaders/params.h"
#include "shaders/path.h"
#include "shaders/surface.h"
#include "programs/BindingTable.h"

__forceinline__ __device__ T7Hit* t7_payloadHit()
{
    const unsigned long long lo = optixGetPayload_0(), hi = optixGetPayload_1();
    return reinterpret_cast<T7Hit*>(lo | hi << 32);
}

__forceinline__ __device__ float4 t7_texel(cudaTextureObject_t texture, float2 uv)
{
    return tex2D<float4>(texture, uv.x, uv.y);
}

__forceinline__ __device__ float3 t7_rgb(float4 c) { return make_float3(c.x, c.y, c.z); }

// bg_color, or the background texture as an equirectangular map.
__forceinline__ __device__ float3 t7_background(const Params& p, float3 d)
{
    if (!p.bg_texture)
        return p.bg_color;
    return t7_rgb(t7_texel(p.bg_texture, t7_environmentUv(t7_normalize(d))));
}
