#pragma once
// Random numbers, local frames and direction sampling for the project's
// device programs, on the host as on the device. Directions in a local frame
// have the normal (or the sampled axis) along +z; every density is per unit
// solid angle.

#include "kernels/vector_math.h"

#include <cmath>

constexpr float kT7Pi = 3.14159265358979f;

// A 32-bit hash (a permuted congruential step) with good avalanche.
T7_HOST_DEVICE inline unsigned t7_hash(unsigned v)
{
    const unsigned state = v * 747796405u + 2891336453u;
    const unsigned word = ((state >> ((state >> 28u) + 4u)) ^ state) * 277803737u;
    return (word >> 22u) ^ word;
}

// The generator state of one sample, from its pixel and the total-frame
// counter, so that every pass and every device draws different numbers.
T7_HOST_DEVICE inline unsigned t7_seed(unsigned x, unsigned y, unsigned frame)
{
    return t7_hash(x ^ t7_hash(y ^ t7_hash(frame)));
}

// The next number in [0, 1), with 24 bits.
T7_HOST_DEVICE inline float t7_random(unsigned& state)
{
    state = t7_hash(state);
    return float(state >> 8) * (1.0f / 16777216.0f);
}

// Tangent t and bitangent b completing the unit vector n to a right-handed
// orthonormal frame, without a branch on the direction of n.
T7_HOST_DEVICE inline void t7_frame(float3 n, float3& t, float3& b)
{
    const float s = n.z >= 0.0f ? 1.0f : -1.0f;
    const float a = -1.0f / (s + n.z);
    const float c = n.x * n.y * a;
    t = make_float3(1.0f + s * n.x * n.x * a, s * c, -s * n.x);
    b = make_float3(c, s + n.y * n.y * a, -n.y);
}

T7_HOST_DEVICE inline float3 t7_toLocal(float3 v, float3 t, float3 b, float3 n)
{
    return make_float3(t7_dot(v, t), t7_dot(v, b), t7_dot(v, n));
}

T7_HOST_DEVICE inline float3 t7_toWorld(float3 v, float3 t, float3 b, float3 n)
{
    return t7_add(t7_add(t7_scale(t, v.x), t7_scale(b, v.y)), t7_scale(n, v.z));
}

// Cosine-weighted over the hemisphere of +z: density z / pi.
T7_HOST_DEVICE inline float3 t7_sampleCosine(float u1, float u2)
{
    const float r = sqrtf(u1), phi = 2.0f * kT7Pi * u2;
    return make_float3(r * cosf(phi), r * sinf(phi), sqrtf(fmaxf(0.0f, 1.0f - u1)));
}

T7_HOST_DEVICE inline float t7_cosinePdf(float3 w) { return w.z > 0.0f ? w.z / kT7Pi : 0.0f; }

// Uniform over the cone around +z of half-angle theta, given by
// 1 - cos(theta) (2 gives the whole sphere), which keeps tiny cones exact:
// density 1 / (2 pi (1 - cos theta)) inside.
T7_HOST_DEVICE inline float3 t7_sampleCone(float u1, float u2, float oneMinusCos)
{
    const float a = u1 * oneMinusCos; // 1 - z
    const float z = 1.0f - a;
    const float r = sqrtf(fmaxf(0.0f, a * (2.0f - a))), phi = 2.0f * kT7Pi * u2;
    return make_float3(r * cosf(phi), r * sinf(phi), z);
}

T7_HOST_DEVICE inline float t7_coneDensity(float oneMinusCos)
{
    return 1.0f / (2.0f * kT7Pi * oneMinusCos);
}

T7_HOST_DEVICE inline float t7_conePdf(float3 w, float oneMinusCos)
{
    return 1.0f - w.z <= oneMinusCos ? t7_coneDensity(oneMinusCos) : 0.0f;
}
