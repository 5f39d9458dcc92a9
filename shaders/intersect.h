#pragma once
// Ray intersections of the custom primitive kinds and the area lights, on
// the host as on the device. Rays are o + t d; each routine gives the
// nearest t above tmin, or -1.

#include "kernels/vector_math.h"

#include <cmath>

// The sphere of centre c and radius r; d unit.
T7_HOST_DEVICE inline float t7_hitSphere(float3 o, float3 d, float3 c, float r, float tmin)
{
    const float3 oc = t7_sub(o, c);
    const float b = t7_dot(oc, d);
    const float disc = b * b - (t7_dot(oc, oc) - r * r);
    if (disc < 0.0f)
        return -1.0f;
    const float s = sqrtf(disc);
    return -b - s > tmin ? -b - s : (-b + s > tmin ? -b + s : -1.0f);
}

// The parallelogram corner + a u + b v, a and b in [0, 1].
T7_HOST_DEVICE inline float t7_hitParallelogram(float3 o, float3 d, float3 corner, float3 u,
                                                float3 v, float tmin)
{
    const float3 n = t7_cross(u, v);
    const float den = t7_dot(n, d);
    if (den == 0.0f)
        return -1.0f;
    const float t = t7_dot(n, t7_sub(corner, o)) / den;
    const float3 q = t7_sub(t7_add(o, t7_scale(d, t)), corner);
    const float nn = t7_dot(n, n);
    const float a = t7_dot(t7_cross(q, v), n) / nn, b = t7_dot(t7_cross(u, q), n) / nn;
    return t > tmin && a >= 0.0f && a <= 1.0f && b >= 0.0f && b <= 1.0f ? t : -1.0f;
}

// The parallelepiped corner + a e0 + b e1 + c e2, a, b and c in [0, 1]
// (edges spanning a volume). From inside, the exit. `normal` gets the unit
// outward normal of the face reached.
T7_HOST_DEVICE inline float t7_hitParallelepiped(float3 o, float3 d, float3 corner, float3 e0,
                                                 float3 e1, float3 e2, float tmin, float3& normal)
{
    // Each pair of faces is a slab between two parallel planes.
    const float3 n[3] = {t7_cross(e1, e2), t7_cross(e2, e0), t7_cross(e0, e1)};
    const float3 e[3] = {e0, e1, e2};
    float tNear = -1e30f, tFar = 1e30f;
    int faceNear = 0, faceFar = 0;
    for (int k = 0; k < 3; ++k) {
        const float height = t7_dot(n[k], e[k]); // signed: the slab is [0, height] along n
        const float start = t7_dot(n[k], t7_sub(o, corner)), speed = t7_dot(n[k], d);
        if (speed == 0.0f) {
            if ((start < 0.0f) != (start < height) || start == height)
                continue; // inside this slab for every t
            return -1.0f;
        }
        float t0 = -start / speed, t1 = (height - start) / speed;
        int f0 = 2 * k, f1 = 2 * k + 1; // the face through the corner, the one opposite
        if (t0 > t1) {
            const float t = t0;
            t0 = t1;
            t1 = t;
            f0 = 2 * k + 1;
            f1 = 2 * k;
        }
        if (t0 > tNear) {
            tNear = t0;
            faceNear = f0;
        }
        if (t1 < tFar) {
            tFar = t1;
            faceFar = f1;
        }
    }
    if (tNear > tFar)
        return -1.0f;
    const float t = tNear > tmin ? tNear : tFar;
    if (t <= tmin)
        return -1.0f;
    const int face = tNear > tmin ? faceNear : faceFar;
    // Outward: away from the opposite face.
    const float3 axis = t7_normalize(n[face / 2]);
    const float sign = (face % 2 == 1) == (t7_dot(n[face / 2], e[face / 2]) > 0.0f) ? 1.0f : -1.0f;
    normal = t7_scale(axis, sign);
    return t;
}
