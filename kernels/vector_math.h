#pragma once
// Arithmetic shared by the host, the library's kernels, the simulated device
// and the project's own device programs: the host/device qualifier and the
// small vector helpers. Everything here compiles with g++ and with nvcc.

#include <vector_functions.h>
#include <vector_types.h>

#include <cmath>

#ifndef T7_HOST_DEVICE
#if defined(__CUDACC__)
#define T7_HOST_DEVICE __host__ __device__
#else
#define T7_HOST_DEVICE
#endif
#endif

T7_HOST_DEVICE inline float3 t7_add(float3 u, float3 v)
{
    return make_float3(u.x + v.x, u.y + v.y, u.z + v.z);
}

T7_HOST_DEVICE inline float3 t7_sub(float3 u, float3 v)
{
    return make_float3(u.x - v.x, u.y - v.y, u.z - v.z);
}

T7_HOST_DEVICE inline float3 t7_scale(float3 u, float s)
{
    return make_float3(u.x * s, u.y * s, u.z * s);
}

// Component by component.
T7_HOST_DEVICE inline float3 t7_mul(float3 u, float3 v)
{
    return make_float3(u.x * v.x, u.y * v.y, u.z * v.z);
}

T7_HOST_DEVICE inline float t7_max3(float3 u) { return fmaxf(u.x, fmaxf(u.y, u.z)); }

T7_HOST_DEVICE inline float t7_dot(float3 u, float3 v)
{
    return u.x * v.x + u.y * v.y + u.z * v.z;
}

// The device's fast reciprocal square root; the host takes the exact quotient.
// Neither guards against 0: a zero vector normalises to NaN.
T7_HOST_DEVICE inline float t7_rsqrt(float x)
{
#if defined(__CUDA_ARCH__)
    return rsqrtf(x);
#else
    return 1.0f / std::sqrt(x);
#endif
}

T7_HOST_DEVICE inline float t7_sqrt(float x)
{
#if defined(__CUDA_ARCH__)
    return sqrtf(x);
#else
    return std::sqrt(x);
#endif
}

T7_HOST_DEVICE inline float3 t7_cross(float3 a, float3 b)
{
    return make_float3(a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x);
}

T7_HOST_DEVICE inline float t7_length(float3 u) { return t7_sqrt(t7_dot(u, u)); }

// A zero vector gives NaN components (see t7_rsqrt).
T7_HOST_DEVICE inline float3 t7_normalize(float3 u) { return t7_scale(u, t7_rsqrt(t7_dot(u, u))); }

// Into [0, 1]; NaN gives 0.
T7_HOST_DEVICE inline float t7_saturate(float c)
{
#if defined(__CUDA_ARCH__)
    return __saturatef(c);
#else
    return c > 0.0f ? (c < 1.0f ? c : 1.0f) : 0.0f; // NaN fails both tests: 0
#endif
}

T7_HOST_DEVICE inline float4 t7_scale4(float4 u, float s)
{
    return make_float4(u.x * s, u.y * s, u.z * s, u.w * s);
}

// p + (q - p) * w, component by component.
T7_HOST_DEVICE inline float4 t7_blend4(float4 p, float4 q, float w)
{
    return make_float4(p.x + (q.x - p.x) * w, p.y + (q.y - p.y) * w, p.z + (q.z - p.z) * w,
                       p.w + (q.w - p.w) * w);
}
