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

// Schlick's approximation for a conductor of normal reflectance f0 and
// grazing reflectance f90.
T7_HOST_DEVICE inline float3 t7_fresnelSchlick(float3 f0, float cosI, float f90 = 1.0f)
{
    const float m = 1.0f - fminf(1.0f, fmaxf(0.0f, cosI));
    const float m5 = m * m * m * m * m;
    return make_float3(f0.x + (f90 - f0.x) * m5, f0.y + (f90 - f0.y) * m5,
                       f0.z + (f90 - f0.z) * m5);
}

// --- GGX (isotropic roughness alpha) ---

// For a unit h. The denominator is written as a2 z^2 + x^2 + y^2, not as
// z^2 (a2 - 1) + 1, which cancels for small roughness.
T7_HOST_DEVICE inline float t7_ggxD(float3 h, float alpha)
{
    if (h.z <= 0.0f)
        return 0.0f;
    const float a2 = alpha * alpha;
    const float d = a2 * h.z * h.z + h.x * h.x + h.y * h.y;
    return a2 / (kT7Pi * d * d);
}

// Smith's Lambda for direction w.
T7_HOST_DEVICE inline float t7_ggxLambda(float3 w, float alpha)
{
    const float z2 = w.z * w.z;
    if (z2 <= 0.0f)
        return 1e30f;
    const float tan2 = (w.x * w.x + w.y * w.y) / z2; // w unit
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

// The density of visible-normal sampling of a GGX reflection.
T7_HOST_DEVICE inline float t7_conductorPdf(float alpha, float3 wo, float3 wi)
{
    if (wo.z <= 0.0f || wi.z <= 0.0f)
        return 0.0f;
    const float3 h = t7_normalize(t7_add(wo, wi));
    return t7_ggxG1(wo, alpha) * t7_ggxD(h, alpha) / (4.0f * wo.z);
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

// Refraction of w (on the side h points to, w.h > 0) into a medium e times
// denser; false under total internal reflection.
T7_HOST_DEVICE inline bool t7_refract(float3 w, float3 h, float e, float3& wt)
{
    const float c = t7_dot(w, h);
    const float sin2T = (1.0f - c * c) / (e * e);
    if (sin2T >= 1.0f)
        return false;
    wt = t7_sub(t7_scale(h, c / e - sqrtf(1.0f - sin2T)), t7_scale(w, 1.0f / e));
    return true;
}

// --- Rough dielectric of relative index eta (inside over outside), GGX ---
// wo on either side. Refraction leaves out the (eta_o / eta_i)^2 scaling of
// radiance, as the smooth dielectric does: it cancels on the way out of a
// closed object, and without it the weight of every sample is G2 / G1(wo).

struct T7Sides {
    float s;     // 1 when wo is outside, else -1: flips both directions above
    float e;     // index beyond the surface over the index on wo's side
};

T7_HOST_DEVICE inline T7Sides t7_sides(float eta, float3 wo)
{
    return wo.z > 0.0f ? T7Sides{1.0f, eta} : T7Sides{-1.0f, 1.0f / eta};
}

// f (without the cosine) and, in pdf, the density of t7_roughDielectricSample.
T7_HOST_DEVICE inline float t7_roughDielectricEval(float eta, float alpha, float3 wo, float3 wi,
                                                   float& pdf)
{
    pdf = 0.0f;
    if (wo.z == 0.0f || wi.z == 0.0f)
        return 0.0f;
    const T7Sides side = t7_sides(eta, wo);
    const float3 o = t7_scale(wo, side.s), i = t7_scale(wi, side.s);
    const bool reflect = i.z > 0.0f;
    // The half vector: of reflection, or the generalised one of refraction.
    float3 h = reflect ? t7_add(o, i) : t7_add(o, t7_scale(i, side.e));
    h = t7_scale(t7_normalize(h), h.z < 0.0f ? -1.0f : 1.0f);
    const float oh = t7_dot(o, h), ih = t7_dot(i, h);
    if (oh <= 0.0f || (reflect ? ih <= 0.0f : ih >= 0.0f))
        return 0.0f;
    const float f = t7_fresnelDielectric(oh, side.e);
    const float d = t7_ggxD(h, alpha);
    const float visible = t7_ggxG1(o, alpha) * d / o.z; // density of h, over o.h
    const float g2 = t7_ggxG2(o, i, alpha);
    if (reflect) {
        pdf = f * visible / 4.0f;
        return f * d * g2 / (4.0f * o.z * i.z);
    }
    const float den = oh + side.e * ih;
    const float jacobian = side.e * side.e * -ih / (den * den);
    pdf = (1.0f - f) * visible * oh * jacobian;
    return (1.0f - f) * d * g2 * oh * jacobian / (o.z * -i.z);
}

// A visible microfacet normal, then reflection with the Fresnel probability,
// else refraction. Weight G2 / G1(wo), white; 0 when the direction leaves
// through the wrong side: a reflection below the surface or a refraction
// above it, which evaluation (deciding the lobe by the side) would take for
// the other lobe.
T7_HOST_DEVICE inline T7BsdfSample t7_roughDielectricSample(float eta, float alpha, float3 wo,
                                                            float u1, float u2, float u3)
{
    const T7Sides side = t7_sides(eta, wo);
    const float3 o = t7_scale(wo, side.s);
    const float3 h = t7_ggxSampleVisible(o, alpha, u1, u2);
    float3 i;
    bool reflect = u3 < t7_fresnelDielectric(t7_dot(o, h), side.e);
    if (reflect || !t7_refract(o, h, side.e, i)) {
        i = t7_reflect(o, h);
        reflect = true;
    }
    const float3 wi = t7_scale(i, side.s);
    if (reflect != (i.z > 0.0f))
        return {wi, 0.0f, make_float3(0, 0, 0)};
    float pdf;
    if (t7_roughDielectricEval(eta, alpha, wo, wi, pdf) <= 0.0f || pdf <= 0.0f)
        return {wi, 0.0f, make_float3(0, 0, 0)};
    const float g = t7_ggxG2(o, i, alpha) / t7_ggxG1(o, alpha);
    return {wi, pdf, make_float3(g, g, g)};
}
