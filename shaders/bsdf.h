#pragma once
// Scattering functions for the project's device programs, on the host as on
// the device, in the local frame of the shading normal (+z). A sample gives
// the incoming direction, its density (0 for a specular choice) and its
// weight f cos / pdf (or the specular factor), per colour channel.

#include "sampling.h"

struct T7BsdfSample {
    float3 wi;
    float pdf;     // per unit solid angle; 0 for a specular (delta) direction
    float3 weight; // f |cos wi| / pdf, or the specular factor
};

// Exact unpolarised Fresnel reflectance of a dielectric boundary for light
// arriving at cosine cosI (> 0) from the side of index 1 onto index eta
// (relative); 1 under total internal reflection.
T7_HOST_DEVICE inline float t7_fresnelDielectric(float cosI, float eta)
{
    const float sin2T = (1.0f - cosI * cosI) / (eta * eta);
    if (sin2T >= 1.0f)
        return 1.0f;
    const float cosT = sqrtf(1.0f - sin2T);
    const float rs = (cosI - eta * cosT) / (cosI + eta * cosT);
    const float rp = (eta * cosI - cosT) / (eta * cosI + cosT);
    return 0.5f * (rs * rs + rp * rp);
}

// Schlick's approximation for a conductor of normal reflectance f0.
T7_HOST_DEVICE inline float3 t7_fresnelSchlick(float3 f0, float cosI)
{
    const float m = 1.0f - fminf(1.0f, fmaxf(0.0f, cosI));
    const float m5 = m * m * m * m * m;
    return make_float3(f0.x + (1.0f - f0.x) * m5, f0.y + (1.0f - f0.y) * m5,
                       f0.z + (1.0f - f0.z) * m5);
}

// --- GGX (isotropic roughness alpha) ---

T7_HOST_DEVICE inline float t7_ggxD(float3 h, float alpha)
{
    if (h.z <= 0.0f)
        return 0.0f;
    const float a2 = alpha * alpha;
    const float d = h.z * h.z * (a2 - 1.0f) + 1.0f;
    return a2 / (kT7Pi * d * d);
}

// Smith's Lambda for direction w.
T7_HOST_DEVICE inline float t7_ggxLambda(float3 w, float alpha)
{
    const float z2 = w.z * w.z;
    if (z2 <= 0.0f)
        return 1e30f;
    const float tan2 = fmaxf(0.0f, 1.0f - z2) / z2;
    return 0.5f * (sqrtf(1.0f + alpha * alpha * tan2) - 1.0f);
}

T7_HOST_DEVICE inline float t7_ggxG1(float3 w, float alpha) { return 1.0f / (1.0f + t7_ggxLambda(w, alpha)); }

// Height-correlated masking and shadowing.
T7_HOST_DEVICE inline float t7_ggxG2(float3 wo, float3 wi, float alpha)
{
    return 1.0f / (1.0f + t7_ggxLambda(wo, alpha) + t7_ggxLambda(wi, alpha));
}

// A microfacet normal visible from wo (wo.z > 0), with density
// G1(wo) max(0, wo.h) D(h) / wo.z.
T7_HOST_DEVICE inline float3 t7_ggxSampleVisible(float3 wo, float alpha, float u1, float u2)
{
    const float3 vh = t7_normalize(make_float3(alpha * wo.x, alpha * wo.y, wo.z));
    const float lensq = vh.x * vh.x + vh.y * vh.y;
    const float3 t1 = lensq > 0.0f ? t7_scale(make_float3(-vh.y, vh.x, 0.0f), 1.0f / sqrtf(lensq))
                                   : make_float3(1.0f, 0.0f, 0.0f);
    const float3 t2 = t7_cross(vh, t1);
    const float r = sqrtf(u1), phi = 2.0f * kT7Pi * u2;
    const float p1 = r * cosf(phi);
    const float s = 0.5f * (1.0f + vh.z);
    const float p2 = (1.0f - s) * sqrtf(fmaxf(0.0f, 1.0f - p1 * p1)) + s * r * sinf(phi);
    const float3 nh = t7_add(t7_add(t7_scale(t1, p1), t7_scale(t2, p2)),
                             t7_scale(vh, sqrtf(fmaxf(0.0f, 1.0f - p1 * p1 - p2 * p2))));
    return t7_normalize(make_float3(alpha * nh.x, alpha * nh.y, fmaxf(0.0f, nh.z)));
}

T7_HOST_DEVICE inline float3 t7_reflect(float3 w, float3 n)
{
    return t7_sub(t7_scale(n, 2.0f * t7_dot(w, n)), w);
}

// --- Diffuse ---

T7_HOST_DEVICE inline float3 t7_diffuseEval(float3 albedo, float3 wo, float3 wi)
{
    return wo.z > 0.0f && wi.z > 0.0f ? t7_scale(albedo, 1.0f / kT7Pi) : make_float3(0, 0, 0);
}

T7_HOST_DEVICE inline T7BsdfSample t7_diffuseSample(float3 albedo, float u1, float u2)
{
    const float3 wi = t7_sampleCosine(u1, u2);
    return {wi, t7_cosinePdf(wi), albedo};
}

// --- Rough conductor: GGX with Schlick's Fresnel of reflectance f0 ---

T7_HOST_DEVICE inline float3 t7_conductorEval(float3 f0, float alpha, float3 wo, float3 wi)
{
    if (wo.z <= 0.0f || wi.z <= 0.0f)
        return make_float3(0, 0, 0);
    const float3 h = t7_normalize(t7_add(wo, wi));
    const float k = t7_ggxD(h, alpha) * t7_ggxG2(wo, wi, alpha) / (4.0f * wo.z * wi.z);
    return t7_scale(t7_fresnelSchlick(f0, t7_dot(wo, h)), k);
}

T7_HOST_DEVICE inline float t7_conductorPdf(float alpha, float3 wo, float3 wi)
{
    if (wo.z <= 0.0f || wi.z <= 0.0f)
        return 0.0f;
    const float3 h = t7_normalize(t7_add(wo, wi));
    return t7_ggxG1(wo, alpha) * t7_ggxD(h, alpha) / (4.0f * wo.z);
}

// Visible-normal sampling: the weight is F G2 / G1(wo); below the surface, 0.
T7_HOST_DEVICE inline T7BsdfSample t7_conductorSample(float3 f0, float alpha, float3 wo, float u1,
                                                      float u2)
{
    const float3 h = t7_ggxSampleVisible(wo, alpha, u1, u2);
    const float3 wi = t7_reflect(wo, h);
    if (wi.z <= 0.0f)
        return {wi, 0.0f, make_float3(0, 0, 0)};
    const float g = t7_ggxG2(wo, wi, alpha) / t7_ggxG1(wo, alpha);
    return {wi, t7_conductorPdf(alpha, wo, wi), t7_scale(t7_fresnelSchlick(f0, t7_dot(wo, h)), g)};
}

// --- Smooth dielectric of relative index eta (inside over outside) ---

// Reflection with the Fresnel probability, else refraction; wo on either
// side. The weight is 1 either way: the choice carries the Fresnel factor.
T7_HOST_DEVICE inline T7BsdfSample t7_dielectricSample(float eta, float3 wo, float u)
{
    const bool entering = wo.z > 0.0f;
    const float e = entering ? eta : 1.0f / eta;
    const float cosI = fabsf(wo.z);
    const float f = t7_fresnelDielectric(cosI, e);
    if (u < f)
        return {make_float3(-wo.x, -wo.y, wo.z), 0.0f, make_float3(1, 1, 1)};
    const float cosT = sqrtf(fmaxf(0.0f, 1.0f - (1.0f - cosI * cosI) / (e * e)));
    const float3 wi = make_float3(-wo.x / e, -wo.y / e, entering ? -cosT : cosT);
    return {wi, 0.0f, make_float3(1, 1, 1)};
}
