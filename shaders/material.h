#pragma once
// A material as the path tracer sees it at one surface point (the record of
// MaterialData with its textures applied, as api/trevix7_programs.h
// describes), and its scattering function in the local frame of the shading
// normal, on the host as on the device.
//
// Opaque models see wo above the surface (the caller turns the frame to the
// side the ray came from); a dielectric sees wo on either side, +z outside.

#include "bsdf.h"
#include "api/trevix7_programs.h"
#include "scene/MaterialData.h"

constexpr float kT7SmoothRoughness = 0.03f; // below: a perfect mirror or window

struct T7Material {
    unsigned model;     // trevix7_material_model
    unsigned twoSided;  // emits from both sides
    float3 color;
    float3 emission;    // radiance leaving the surface
    float3 tint;        // of specular reflection off coats and dielectrics
    float3 ior;         // dielectric, per channel
    float alpha;        // microfacet width; 0: smooth
    float metalness;    // conductor share of the diffuse/conductor blend
    float coat;         // index of the clear coat over the diffuse share
    float edge;         // conductor reflectance at grazing incidence
    float3 absorption;  // per unit length inside a dielectric
};

// What a point's textures give: colour (1 without a texture), a roughness
// factor (1 without) and the metalness (negative without).
struct T7TextureValues {
    float3 color;
    float roughness;
    float metalness;
};

T7_HOST_DEVICE inline T7TextureValues t7_noTextures() { return {make_float3(1, 1, 1), 1.0f, -1.0f}; }

T7_HOST_DEVICE inline T7Material t7_material(const MaterialData& m, float3 constColor,
                                             const T7TextureValues& tex)
{
    T7Material r;
    r.model = m.flags & TREVIX7_MATERIAL_MODEL_MASK;
    r.twoSided = (m.flags & TREVIX7_MATERIAL_TWO_SIDED) ? 1u : 0u;
    r.color = t7_mul(t7_mul(make_float3(m.base_color.x, m.base_color.y, m.base_color.z),
                            constColor),
                     tex.color);
    r.emission = t7_scale(r.color, m.light_emission);
    r.tint = m.surface_albedo;
    r.ior = m.refraction_index;
    const float rough = fminf(1.0f, fmaxf(0.0f, m.base_roughness * tex.roughness));
    r.alpha = rough < kT7SmoothRoughness ? 0.0f : rough * rough;
    r.metalness = tex.metalness >= 0.0f ? fminf(1.0f, tex.metalness)
                                        : (r.model == TREVIX7_MATERIAL_CONDUCTOR ? 1.0f : 0.0f);
    r.coat = m.reflectivity_index;
    r.edge = m.reflectivity_range;
    const float3 keep = m.subsurface_color;
    const float k = m.radiation_length > 0.0f ? -1.0f / m.radiation_length : 0.0f;
    r.absorption = make_float3(k * logf(fmaxf(keep.x, 1e-6f)), k * logf(fmaxf(keep.y, 1e-6f)),
                               k * logf(fmaxf(keep.z, 1e-6f)));
    return r;
}

T7_HOST_DEVICE inline bool t7_isDielectric(const T7Material& m)
{
    return m.model == TREVIX7_MATERIAL_DIELECTRIC;
}

// The diffuse and conductor models are one blend: the conductor share is the
// metalness, the rest is diffuse under a clear coat of index `coat`.
T7_HOST_DEVICE inline bool t7_isSurface(const T7Material& m)
{
    return m.model == TREVIX7_MATERIAL_CONDUCTOR || m.model == TREVIX7_MATERIAL_DIFFUSE;
}

// Whether any part of the scattering has a density, so that light sampling
// can reach it.
T7_HOST_DEVICE inline bool t7_hasDensity(const T7Material& m)
{
    if (t7_isDielectric(m))
        return m.alpha > 0.0f;
    return t7_isSurface(m) && (m.alpha > 0.0f || m.metalness < 1.0f);
}

// --- The diffuse/conductor blend ---

T7_HOST_DEVICE inline float t7_coatReflectance(const T7Material& m, float cosO)
{
    return m.coat > 1.0f ? t7_fresnelDielectric(cosO, m.coat) : 0.0f;
}

// The specular share, decided by wo alone so that the blend conserves energy.
T7_HOST_DEVICE inline float t7_specularShare(const T7Material& m, float3 wo)
{
    return m.metalness + (1.0f - m.metalness) * t7_coatReflectance(m, wo.z);
}

// The specular reflectance at microfacet cosine c.
T7_HOST_DEVICE inline float3 t7_specularColor(const T7Material& m, float3 wo, float c)
{
    const float coat = (1.0f - m.metalness) * t7_coatReflectance(m, wo.z);
    return t7_add(t7_scale(t7_fresnelSchlick(m.color, c, m.edge), m.metalness),
                  t7_scale(m.tint, coat));
}

T7_HOST_DEVICE inline float3 t7_surfaceEval(const T7Material& m, float3 wo, float3 wi, float& pdf)
{
    pdf = 0.0f;
    if (wo.z <= 0.0f || wi.z <= 0.0f)
        return make_float3(0, 0, 0);
    const float share = t7_specularShare(m, wo);
    const float diffuse = (1.0f - m.metalness) * (1.0f - t7_coatReflectance(m, wo.z));
    float3 f = t7_scale(m.color, diffuse / kT7Pi);
    pdf = (1.0f - share) * wi.z / kT7Pi;
    if (m.alpha > 0.0f && share > 0.0f) {
        const float3 h = t7_normalize(t7_add(wo, wi));
        const float k = t7_ggxD(h, m.alpha) * t7_ggxG2(wo, wi, m.alpha) / (4.0f * wo.z * wi.z);
        f = t7_add(f, t7_scale(t7_specularColor(m, wo, t7_dot(wo, h)), k));
        pdf += share * t7_conductorPdf(m.alpha, wo, wi);
    }
    return f;
}

T7_HOST_DEVICE inline T7BsdfSample t7_surfaceSample(const T7Material& m, float3 wo, float u1,
                                                    float u2, float u3)
{
    const float3 none = make_float3(0, 0, 0);
    if (wo.z <= 0.0f)
        return {wo, 0.0f, none};
    const float share = t7_specularShare(m, wo);
    float3 wi;
    if (u3 < share) {
        if (m.alpha == 0.0f) // the mirror: a delta, weighted by its share
            return {make_float3(-wo.x, -wo.y, wo.z), 0.0f,
                    t7_scale(t7_specularColor(m, wo, wo.z), 1.0f / share)};
        wi = t7_reflect(wo, t7_ggxSampleVisible(wo, m.alpha, u1, u2));
    } else {
        wi = t7_sampleCosine(u1, u2);
    }
    float pdf;
    const float3 f = t7_surfaceEval(m, wo, wi, pdf);
    if (pdf <= 0.0f)
        return {wi, 0.0f, none};
    return {wi, pdf, t7_scale(f, wi.z / pdf)};
}

// --- Every model ---

// f (without the cosine) and the density with which t7_bsdfSample picks wi;
// the delta parts (mirrors, smooth glass) are not included.
T7_HOST_DEVICE inline float3 t7_bsdfEval(const T7Material& m, float3 wo, float3 wi, float& pdf)
{
    pdf = 0.0f;
    if (t7_isSurface(m))
        return t7_surfaceEval(m, wo, wi, pdf);
    if (!t7_isDielectric(m) || m.alpha == 0.0f)
        return make_float3(0, 0, 0);
    const float f = t7_roughDielectricEval(m.ior.x, m.alpha, wo, wi, pdf);
    return t7_scale(wo.z * wi.z > 0.0f ? m.tint : m.color, f);
}

// A scattered direction for three uniform numbers. A dielectric uses the
// index of the red channel (the path tracer puts the index of the channel
// it follows there). pdf 0 with a non-zero weight is a delta direction; a
// zero weight ends the path.
T7_HOST_DEVICE inline T7BsdfSample t7_bsdfSample(const T7Material& m, float3 wo, float u1, float u2,
                                                 float u3)
{
    if (t7_isSurface(m))
        return t7_surfaceSample(m, wo, u1, u2, u3);
    if (!t7_isDielectric(m))
        return {wo, 0.0f, make_float3(0, 0, 0)};
    T7BsdfSample s = m.alpha > 0.0f ? t7_roughDielectricSample(m.ior.x, m.alpha, wo, u1, u2, u3)
                                    : t7_dielectricSample(m.ior.x, wo, u3);
    s.weight = t7_mul(s.weight, wo.z * s.wi.z > 0.0f ? m.tint : m.color);
    return s;
}
