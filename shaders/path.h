#pragma once
// The path tracer itself, on the host as on the device: it asks a scene for
// the nearest surface along a ray, for occlusion and for the background,
// and does everything else here. The camera program's scene traces with
// OptiX; the unit tests' scene intersects spheres and planes directly.
//
// Scene interface:
//   void trace(float3 o, float3 d, T7Hit& hit) const;   hit.t < 0 on a miss,
//                                                       with hit.background set
//   bool occluded(float3 o, float3 d, float tmax) const;
//   float3 background(float3 d) const;

#include "camera.h"
#include "lights.h"
#include "material.h"

// The nearest surface point along a ray, as the closest-hit program leaves it.
struct T7Hit {
    float t;              // -1: nothing was hit
    float3 position;
    float3 normal;        // shading normal, unit, outward
    float3 geometric;     // geometric normal, unit, outward
    unsigned front;       // the ray arrived from outside
    unsigned geometryId;
    unsigned primitive;
    T7Material material;
    float3 background;    // on a miss: what the ray sees
};

// The sphere or parallelogram light that a ray meets before tmax.
struct T7LightHit {
    int index; // -1: none
    float t;
    float3 radiance;
};

T7_HOST_DEVICE inline const T7Light& t7_light(const Params& p, unsigned k)
{
    return reinterpret_cast<const T7Light*>(p.lights)[k];
}

T7_HOST_DEVICE inline T7LightHit t7_hitLights(const Params& p, float3 o, float3 d, float tmax)
{
    T7LightHit hit = {-1, tmax, make_float3(0, 0, 0)};
    for (unsigned k = 0; k < p.num_lights; ++k) {
        const T7Light& l = t7_light(p, k);
        float t = -1.0f;
        bool lit = true;
        if (l.type == TREVIX7_LIGHT_SPHERE) {
            t = t7_hitSphere(o, d, l.position, l.radius, 0.0f);
        } else if (l.type == TREVIX7_LIGHT_PARALLELOGRAM) {
            t = t7_hitParallelogram(o, d, l.position, l.u, l.v, 0.0f);
            lit = t7_dot(t7_cross(l.u, l.v), d) < 0.0f; // its back is black
        }
        if (t > 0.0f && t < hit.t)
            hit = {int(k), t, lit ? l.emission : make_float3(0, 0, 0)};
    }
    return hit;
}

T7_HOST_DEVICE inline bool t7_hasBackground(const Params& p)
{
    return p.bg_texture != 0 || t7_max3(p.bg_color) > 0.0f;
}

// The power heuristic.
T7_HOST_DEVICE inline float t7_mis(float a, float b) { return a * a / (a * a + b * b); }

T7_HOST_DEVICE inline bool t7_finite(float3 v)
{
#if defined(__CUDA_ARCH__)
    return isfinite(v.x) && isfinite(v.y) && isfinite(v.z);
#else
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
#endif
}

// What is left after `length` in a medium of absorption coefficients a.
T7_HOST_DEVICE inline float3 t7_transmittance(float3 a, float length)
{
    return make_float3(expf(-a.x * length), expf(-a.y * length), expf(-a.z * length));
}

// A ray origin scene_epsilon off the surface, on the side of direction d.
T7_HOST_DEVICE inline float3 t7_offset(const Params& p, float3 x, float3 ng, float3 d)
{
    return t7_add(x, t7_scale(ng, t7_dot(ng, d) > 0.0f ? p.scene_epsilon : -p.scene_epsilon));
}

// Lights and the background are seen as colours of at most 1 in the guide.
T7_HOST_DEVICE inline float3 t7_guideColor(float3 c)
{
    return make_float3(t7_saturate(c.x), t7_saturate(c.y), t7_saturate(c.z));
}

template <class Scene>
T7_HOST_DEVICE T7PathResult t7_tracePath(const Params& p, const Scene& scene, float3 o, float3 d,
                                         unsigned& rng)
{
    T7PathResult r = {make_float3(0, 0, 0), make_float3(0, 0, 0), make_float3(0, 0, 0),
                      make_float4(0, 0, 0, 0), t7_idWords(TREVIX7_ID_BACKGROUND, 0, 0)};
    const bool background = t7_hasBackground(p);
    const unsigned lights = p.num_lights + (background ? 1u : 0u); // the background is one
    const unsigned segments = p.path_seg_range.y > 0 ? p.path_seg_range.y : 1u;
    float3 L = make_float3(0, 0, 0), beta = make_float3(1, 1, 1);
    float3 absorption = make_float3(0, 0, 0); // of the dielectric the path is in
    float3 from = o, side = make_float3(0, 0, 0); // the last point and its normal there
    float scatterPdf = 0.0f;                       // 0: the camera or a delta
    int channel = -1;                              // the one channel followed, if any
    for (unsigned seg = 0; seg < segments; ++seg) {
        T7Hit hit;
        scene.trace(o, d, hit);
        // Lights are found from the surface point itself, not from the
        // offset origin the scene needs: light sampling works from that point
        // too, so both cover the same directions, and the hit found is
        // weighted by its own distance. The surface hit, from the origin
        // scene_epsilon off, is as far again at most.
        const float shift = seg == 0 ? 0.0f : p.scene_epsilon;
        const T7LightHit lit = t7_hitLights(p, from, d, hit.t < 0.0f ? kT7Far : hit.t + shift);
        if (lit.index >= 0) {
            const float w = scatterPdf > 0.0f
                                ? t7_mis(scatterPdf,
                                         t7_lightHitPdf(t7_light(p, lit.index), from, d, lit.t) / lights)
                                : 1.0f;
            const float3 seen = t7_mul(lit.radiance, t7_transmittance(absorption, lit.t));
            L = t7_add(L, t7_scale(t7_mul(beta, seen), w));
            if (seg == 0) {
                r.albedo = t7_guideColor(lit.radiance);
                r.position = make_float4(from.x + lit.t * d.x, from.y + lit.t * d.y,
                                         from.z + lit.t * d.z, lit.t);
                r.id = t7_idWords(TREVIX7_ID_LIGHT, unsigned(lit.index), 0);
            }
            break;
        }
        if (hit.t < 0.0f) {
            // The background is sampled like a light over the cosine lobe of
            // the last surface's side.
            const float cosB = t7_dot(d, side);
            const float w = scatterPdf > 0.0f && cosB > 0.0f
                                ? t7_mis(scatterPdf, cosB / kT7Pi / lights)
                                : 1.0f;
            L = t7_add(L, t7_scale(t7_mul(beta, hit.background), w));
            if (seg == 0)
                r.albedo = t7_guideColor(hit.background);
            break;
        }
        beta = t7_mul(beta, t7_transmittance(absorption, hit.t));
        T7Material m = hit.material;
        if (seg == 0) {
            r.albedo = m.color;
            r.normal = hit.normal;
            r.position = make_float4(hit.position.x, hit.position.y, hit.position.z, hit.t);
            r.id = t7_idWords(hit.front ? TREVIX7_ID_FRONT : TREVIX7_ID_BACK, hit.geometryId,
                              hit.primitive);
        }
        // Emissive surfaces are found by scattering only.
        if (hit.front || m.twoSided)
            L = t7_add(L, t7_mul(beta, m.emission));
        if (seg + 1 == segments) {
            L = t7_add(L, t7_mul(beta, t7_mul(m.color, p.ambient_color)));
            break;
        }
        if (t7_isDielectric(m)) {
            const bool dispersive = m.ior.x != m.ior.y || m.ior.x != m.ior.z;
            if (dispersive && channel < 0) {
                channel = int(fminf(2.0f, floorf(3.0f * t7_random(rng))));
                beta = t7_mul(beta, make_float3(channel == 0 ? 3.0f : 0.0f,
                                                channel == 1 ? 3.0f : 0.0f,
                                                channel == 2 ? 3.0f : 0.0f));
            }
            const float eta = channel == 1 ? m.ior.y : (channel == 2 ? m.ior.z : m.ior.x);
            m.ior = make_float3(eta, eta, eta);
        }
        // Opaque surfaces are lit on the side the ray came from.
        float3 n = hit.normal, ng = hit.geometric;
        if (!t7_isDielectric(m) && t7_dot(ng, d) > 0.0f) {
            n = t7_scale(n, -1.0f);
            ng = t7_scale(ng, -1.0f);
        }
        float3 tu, tv;
        t7_frame(n, tu, tv);
        const float3 wo = t7_toLocal(t7_scale(d, -1.0f), tu, tv, n);
        const float3 x = hit.position;
        // One light (or the background), by a shadow ray.
        if (lights > 0 && t7_hasDensity(m)) {
            const unsigned k = unsigned(fminf(float(lights - 1), floorf(t7_random(rng) * lights)));
            const float u1 = t7_random(rng), u2 = t7_random(rng);
            T7LightSample ls;
            if (k < p.num_lights) {
                ls = t7_sampleLight(t7_light(p, k), x, u1, u2);
            } else {
                const float3 up = wo.z >= 0.0f ? n : t7_scale(n, -1.0f);
                float3 bu, bv;
                t7_frame(up, bu, bv);
                const float3 local = t7_sampleCosine(u1, u2);
                ls.wi = t7_toWorld(local, bu, bv, up);
                ls.distance = kT7Far;
                ls.radiance = scene.background(ls.wi);
                ls.pdf = t7_cosinePdf(local);
            }
            const bool delta = ls.pdf == 0.0f && k < p.num_lights;
            if (t7_max3(ls.radiance) > 0.0f && (delta || ls.pdf > 0.0f)) {
                float bsdfPdf;
                const float3 wi = t7_toLocal(ls.wi, tu, tv, n);
                const float3 f = t7_bsdfEval(m, wo, wi, bsdfPdf);
                const float3 start = t7_offset(p, x, ng, ls.wi);
                if (t7_max3(f) > 0.0f &&
                    !scene.occluded(start, ls.wi, ls.distance * (1.0f - 1e-4f) - p.scene_epsilon)) {
                    const float lightPdf = ls.pdf / lights;
                    // The shadow ray's medium: inside a dielectric when it
                    // leaves into it, else the one the path arrived in.
                    const float3 medium =
                        t7_isDielectric(m) ? (t7_dot(ls.wi, hit.geometric) < 0.0f ? m.absorption
                                                                                 : make_float3(0, 0, 0))
                                           : absorption;
                    const float3 arriving =
                        t7_mul(ls.radiance, t7_transmittance(medium, ls.distance));
                    const float3 c = t7_scale(t7_mul(t7_mul(beta, f), arriving), fabsf(wi.z));
                    L = t7_add(L, delta ? t7_scale(c, float(lights))
                                        : t7_scale(c, t7_mis(lightPdf, bsdfPdf) / lightPdf));
                }
            }
        }
        // Scatter.
        const float u1 = t7_random(rng), u2 = t7_random(rng), u3 = t7_random(rng);
        const T7BsdfSample s = t7_bsdfSample(m, wo, u1, u2, u3);
        if (t7_max3(s.weight) <= 0.0f)
            break;
        const float3 wi = t7_toWorld(s.wi, tu, tv, n);
        if (!t7_isDielectric(m) && t7_dot(wi, ng) <= 0.0f)
            break; // the shading normal sent it into the surface
        if (t7_isDielectric(m) && wo.z * s.wi.z < 0.0f)
            absorption = wo.z > 0.0f ? m.absorption : make_float3(0, 0, 0);
        beta = t7_mul(beta, s.weight);
        scatterPdf = s.pdf;
        from = x;
        side = wo.z >= 0.0f ? n : t7_scale(n, -1.0f);
        if (seg + 1 >= p.path_seg_range.x) { // Russian roulette
            const float q = fminf(0.95f, t7_max3(beta));
            if (t7_random(rng) >= q)
                break;
            beta = t7_scale(beta, 1.0f / q);
        }
        o = t7_offset(p, x, ng, wi);
        d = wi;
    }
    r.radiance = t7_finite(L) ? L : p.bad_color;
    return r;
}
