#pragma once
// What the camera programs compute besides tracing, on the host as on the
// device: the ray of a sample (api/trevix7_programs.h describes the camera
// values), the background's map, and what a sample leaves in the sample
// sums and the per-pixel images.

#include "sampling.h"
#include "api/trevix7_programs.h"
#include "core/Params.h"

// The image point of a pixel, jittered within the pixel filter (lens value 3).
T7_HOST_DEVICE inline float2 t7_filmPoint(const Params& p, int2 pixel, float u1, float u2)
{
    const float width = p.lens3 == 0.0f ? 1.0f : (p.lens3 < 0.0f ? 0.0f : p.lens3);
    const float jx = 0.5f + (u1 - 0.5f) * width, jy = 0.5f + (u2 - 0.5f) * width;
    return make_float2(2.0f * (float(pixel.x) + jx) / float(p.width) - 1.0f + p.center.x,
                       1.0f - 2.0f * (float(pixel.y) + jy) / float(p.height) + p.center.y);
}

// A point of the unit disc, or of the regular polygon with `blades` corners
// on the unit circle turned by `degrees`, uniform over its area.
T7_HOST_DEVICE inline float2 t7_lensPoint(float blades, float degrees, float u1, float u2)
{
    if (blades < 3.0f) {
        const float r = sqrtf(u1), phi = 2.0f * kT7Pi * u2;
        return make_float2(r * cosf(phi), r * sinf(phi));
    }
    // One of the equal triangles (centre, corner k, corner k + 1), then a
    // uniform point in it.
    const float n = floorf(blades);
    const float k = fminf(floorf(u1 * n), n - 1.0f), v = u1 * n - k; // v is uniform again
    const float a0 = degrees * (kT7Pi / 180.0f) + 2.0f * kT7Pi * k / n;
    const float a1 = a0 + 2.0f * kT7Pi / n;
    const float r = sqrtf(v);
    const float b0 = r * (1.0f - u2), b1 = r * u2;
    return make_float2(b0 * cosf(a0) + b1 * cosf(a1), b0 * sinf(a0) + b1 * sinf(a1));
}

// The ray through image point film; with thin set, from the lens point
// (in the unit disc) through the plane in focus.
T7_HOST_DEVICE inline void t7_cameraRay(const Params& p, float2 film, bool thin, float2 lens,
                                        float3& origin, float3& direction)
{
    const float3 pinhole =
        t7_add(t7_add(t7_scale(p.U, film.x), t7_scale(p.V, film.y)), p.W);
    origin = p.eye;
    direction = t7_normalize(pinhole);
    if (!thin || p.aperture <= 0.0f)
        return;
    // nU, nV and nW are the negated unit axes.
    const float3 forward = t7_scale(p.nW, -1.0f);
    const float focus = p.focus_distance > 0.0f ? p.focus_distance : t7_length(p.W);
    const float3 target =
        t7_add(p.eye, t7_scale(direction, focus / t7_dot(direction, forward)));
    origin = t7_sub(p.eye, t7_add(t7_scale(p.nU, p.aperture * lens.x),
                                  t7_scale(p.nV, p.aperture * lens.y)));
    direction = t7_normalize(t7_sub(target, origin));
}

// The background texture's coordinates for a unit direction.
T7_HOST_DEVICE inline float2 t7_environmentUv(float3 d)
{
    const float y = fminf(1.0f, fmaxf(-1.0f, d.y));
    return make_float2(0.5f + atan2f(d.x, -d.z) / (2.0f * kT7Pi), acosf(y) / kT7Pi);
}

// A world normal in camera space, as the denoiser takes it: x right, y up,
// z towards the eye.
T7_HOST_DEVICE inline float3 t7_cameraNormal(const Params& p, float3 n)
{
    return make_float3(-t7_dot(n, p.nU), -t7_dot(n, p.nV), t7_dot(n, p.nW));
}

T7_HOST_DEVICE inline uint2 t7_idWords(unsigned kind, unsigned id, unsigned primitive)
{
    return make_uint2((id & TREVIX7_ID_MASK) | kind << TREVIX7_ID_KIND_SHIFT, primitive);
}

// What one path found: its colour, and at its first point what the guides
// and the per-pixel images take.
struct T7PathResult {
    float3 radiance;
    float3 albedo;
    float3 normal;   // world, unit; 0 for the background
    float4 position; // first point and its distance; 0 for the background
    uint2 id;
};

// Adds v to sums[s], starting afresh on the first pass of a batch; no-op
// for a buffer that is not kept.
T7_HOST_DEVICE inline void t7_accumulate(float4* sums, unsigned s, float4 v, bool first)
{
    if (!sums)
        return;
    const float4 p = first ? make_float4(0.0f, 0.0f, 0.0f, 0.0f) : sums[s];
    sums[s] = make_float4(p.x + v.x, p.y + v.y, p.z + v.z, p.w + v.w);
}

// Sample s of the pass: its sums start afresh on pass 0 of a batch, and the
// last pass of the batch writes the pixel's position and id.
T7_HOST_DEVICE inline void t7_storeSample(const Params& p, unsigned s, int2 pixel,
                                          const T7PathResult& r)
{
    const bool first = p.subframe_index == 0;
    const float3 n = t7_cameraNormal(p, r.normal);
    t7_accumulate(p.sample_accum, s, make_float4(r.radiance.x, r.radiance.y, r.radiance.z, 1), first);
    t7_accumulate(p.albedo_accum, s, make_float4(r.albedo.x, r.albedo.y, r.albedo.z, 1), first);
    // w = 0: the gather normalises all four components.
    t7_accumulate(p.normal_accum, s, make_float4(n.x, n.y, n.z, 0), first);
    if (!p.last_pass || unsigned(pixel.x) >= p.width || unsigned(pixel.y) >= p.height)
        return;
    const unsigned i = unsigned(pixel.y) * p.width + unsigned(pixel.x);
    if (p.hit_pos)
        p.hit_pos[i] = r.position;
    if (p.geom_id)
        p.geom_id[i] = r.id;
}
