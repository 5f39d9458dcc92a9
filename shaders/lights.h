#pragma once
// The lights of api/trevix7_programs.h as the device programs sample them,
// on the host as on the device. A sample from point p gives the direction
// towards the light, the distance to it, what arrives and the density per
// unit solid angle: for the point, spot and directional lights the density
// is 0 and `radiance` is already what reaches p (a delta), for the sphere
// and the parallelogram it is the radiance leaving the light.

#include "intersect.h"
#include "sampling.h"
#include "api/trevix7_programs.h"

struct T7Light {
    unsigned type;
    float3 emission;
    float3 position;
    float radius;
    float3 direction;
    float cosInner;
    float3 u;
    float cosOuter;
    float3 v;
    unsigned flags;
};
static_assert(sizeof(T7Light) == sizeof(trevix7_light) &&
                  offsetof(T7Light, direction) == offsetof(trevix7_light, direction) &&
                  offsetof(T7Light, v) == offsetof(trevix7_light, v),
              "T7Light is trevix7_light");

struct T7LightSample {
    float3 wi;
    float distance; // 1e30 for the directional light
    float3 radiance;
    float pdf; // per unit solid angle; 0 for a delta light
};

constexpr float kT7Far = 1e30f;

// 1 - cos of the half-angle of the cone a sphere subtends from p, or 2 from
// inside it. With s = r^2 / d^2, 1 - sqrt(1 - s) = s / (1 + sqrt(1 - s)),
// which does not cancel for small or distant spheres.
T7_HOST_DEVICE inline float t7_sphereCone(const T7Light& l, float3 p)
{
    const float d2 = t7_dot(t7_sub(l.position, p), t7_sub(l.position, p));
    const float s = l.radius * l.radius / d2;
    return s < 1.0f ? s / (1.0f + sqrtf(1.0f - s)) : 2.0f;
}

T7_HOST_DEVICE inline T7LightSample t7_sampleLight(const T7Light& l, float3 p, float u1, float u2)
{
    const float3 none = make_float3(0, 0, 0);
    if (l.type == TREVIX7_LIGHT_DIRECTIONAL)
        return {t7_scale(t7_normalize(l.direction), -1.0f), kT7Far, l.emission, 0.0f};
    if (l.type == TREVIX7_LIGHT_POINT || l.type == TREVIX7_LIGHT_SPOT) {
        const float3 to = t7_sub(l.position, p);
        const float d2 = t7_dot(to, to), d = sqrtf(d2);
        const float3 wi = t7_scale(to, 1.0f / d);
        float k = 1.0f / d2;
        if (l.type == TREVIX7_LIGHT_SPOT) {
            const float c = -t7_dot(wi, t7_normalize(l.direction));
            const float x = fminf(1.0f, fmaxf(0.0f, (c - l.cosOuter) / (l.cosInner - l.cosOuter)));
            k *= x * x * (3.0f - 2.0f * x);
        }
        return {wi, d, t7_scale(l.emission, k), 0.0f};
    }
    if (l.type == TREVIX7_LIGHT_SPHERE) {
        const float cone = t7_sphereCone(l, p);
        float3 axis = t7_normalize(t7_sub(l.position, p)), t, b;
        t7_frame(axis, t, b);
        const float3 wi = t7_toWorld(t7_sampleCone(u1, u2, cone), t, b, axis);
        const float dist = t7_hitSphere(p, wi, l.position, l.radius, 0.0f);
        // Every direction of the cone is the light's, even where rounding
        // lets the ray graze past it.
        return {wi, dist > 0.0f ? dist : t7_dot(t7_sub(l.position, p), wi), l.emission,
                t7_coneDensity(cone)};
    }
    // Parallelogram: uniform over its area, one-sided.
    const float3 q = t7_add(l.position, t7_add(t7_scale(l.u, u1), t7_scale(l.v, u2)));
    const float3 n = t7_cross(l.u, l.v);
    const float3 to = t7_sub(q, p);
    const float d2 = t7_dot(to, to), d = sqrtf(d2);
    const float3 wi = t7_scale(to, 1.0f / d);
    const float cosL = -t7_dot(wi, n) / t7_length(n);
    if (cosL <= 0.0f)
        return {wi, d, none, 0.0f};
    return {wi, d, l.emission, d2 / (cosL * t7_length(n))};
}

// The density with which t7_sampleLight from p picks the direction wi that
// meets the light at distance t (found by the caller's own intersection): 0
// for the delta lights and for the back of a parallelogram.
T7_HOST_DEVICE inline float t7_lightHitPdf(const T7Light& l, float3 p, float3 wi, float t)
{
    if (l.type == TREVIX7_LIGHT_SPHERE)
        return t7_coneDensity(t7_sphereCone(l, p));
    if (l.type != TREVIX7_LIGHT_PARALLELOGRAM)
        return 0.0f;
    const float3 n = t7_cross(l.u, l.v);
    const float cosL = -t7_dot(wi, n) / t7_length(n);
    return cosL > 0.0f ? t * t / (cosL * t7_length(n)) : 0.0f;
}

// The same for any direction from p: 0 where it misses the light.
T7_HOST_DEVICE inline float t7_lightPdf(const T7Light& l, float3 p, float3 wi)
{
    float t = -1.0f;
    if (l.type == TREVIX7_LIGHT_SPHERE)
        t = t7_hitSphere(p, wi, l.position, l.radius, 0.0f);
    else if (l.type == TREVIX7_LIGHT_PARALLELOGRAM)
        t = t7_hitParallelogram(p, wi, l.position, l.u, l.v, 0.0f);
    return t > 0.0f ? t7_lightHitPdf(l, p, wi, t) : 0.0f;
}
