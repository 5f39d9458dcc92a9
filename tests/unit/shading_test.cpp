// The device programs' sampling and scattering arithmetic, on the host:
// random numbers, frames, densities that integrate to one, every material's
// sampling against its evaluation (a furnace by two estimators), Fresnel,
// intersections and lights.

#include "shaders/material.h"
#include "shaders/intersect.h"
#include "shaders/lights.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace {

constexpr int kN = 200000;

// A uniform direction on the sphere and its density.
float3 uniform(unsigned& s)
{
    return t7_sampleCone(t7_random(s), t7_random(s), 2.0f);
}
constexpr float kUniformPdf = 1.0f / (4.0f * kT7Pi);

float3 at(float degrees)
{
    const float t = degrees * kT7Pi / 180.0f;
    return make_float3(sinf(t), 0.0f, cosf(t));
}

TEST(Shading, RandomNumbersAndFrames)
{
    unsigned s = t7_seed(3, 4, 5);
    double sum = 0;
    for (int i = 0; i < kN; ++i) {
        const float r = t7_random(s);
        ASSERT_TRUE(r >= 0.0f && r < 1.0f);
        sum += r;
    }
    EXPECT_NEAR(sum / kN, 0.5, 0.005);
    EXPECT_TRUE(t7_seed(3, 4, 5) != t7_seed(4, 3, 5) && t7_seed(3, 4, 5) != t7_seed(3, 4, 6));
    for (float3 n : {make_float3(0, 0, 1), make_float3(0, 0, -1), t7_normalize(make_float3(1, -2, 0.3f))}) {
        float3 t, b;
        t7_frame(n, t, b);
        EXPECT_TRUE(fabsf(t7_dot(t, n)) + fabsf(t7_dot(b, n)) + fabsf(t7_dot(t, b)) < 1e-6f &&
                    fabsf(t7_dot(t7_cross(t, b), n) - 1) < 1e-6f) << "orthonormal, right-handed";
    }
}

// The cosine and cone densities integrate to one over the sphere.
TEST(Shading, DirectionDensitiesIntegrateToOne)
{
    unsigned s = 7;
    double cosine = 0, cone = 0;
    for (int i = 0; i < kN; ++i) {
        const float3 w = uniform(s);
        cosine += t7_cosinePdf(w) / kUniformPdf;
        cone += t7_conePdf(w, 0.2f) / kUniformPdf;
    }
    EXPECT_NEAR(cosine / kN, 1.0, 0.01);
    EXPECT_NEAR(cone / kN, 1.0, 0.02);
}

T7Material material(unsigned model, float roughness, float metalness = -1, float coat = 1,
                    float3 color = {1, 1, 1})
{
    MaterialData d;
    d.flags = model;
    d.base_roughness = roughness;
    d.reflectivity_index = coat;
    d.base_color = {color.x, color.y, color.z, 1};
    d.refraction_index = {1.5f, 1.5f, 1.5f};
    T7TextureValues t = t7_noTextures();
    t.metalness = metalness;
    return t7_material(d, {1, 1, 1}, t);
}

// Every model, from a direction at 50 degrees (and from inside the glass):
// each sample's density and weight are what evaluation says; the density
// integrates to the share of samples that are not deltas; the albedo by the
// sampler's weights never exceeds 1 and, without deltas, agrees with the
// integral of the evaluation (a furnace by two estimators).
TEST(Shading, MaterialsSampleWhatTheyEvaluate)
{
    struct Case {
        const char* what;
        T7Material m;
        bool inside;
        double low, high; // the albedo
    };
    const Case cases[] = {
        {"diffuse", material(TREVIX7_MATERIAL_DIFFUSE, 0), false, 1, 1},
        {"coloured diffuse", material(TREVIX7_MATERIAL_DIFFUSE, 0, -1, 1, {0.2f, 0.5f, 0.9f}), false, 0.2, 0.2},
        {"rough coat", material(TREVIX7_MATERIAL_DIFFUSE, 0.4f, -1, 1.5f), false, 0.95, 1},
        {"smooth coat", material(TREVIX7_MATERIAL_DIFFUSE, 0, -1, 1.5f), false, 0.99, 1},
        {"rough conductor", material(TREVIX7_MATERIAL_CONDUCTOR, 0.6f), false, 0.75, 1}, // single scattering
        {"smooth conductor", material(TREVIX7_MATERIAL_CONDUCTOR, 0), false, 1, 1},
        {"half metal", material(TREVIX7_MATERIAL_DIFFUSE, 0.5f, 0.5f), false, 0.9, 1},
        {"rough glass", material(TREVIX7_MATERIAL_DIELECTRIC, 0.3f), false, 0.95, 1},
        {"rough glass inside", material(TREVIX7_MATERIAL_DIELECTRIC, 0.3f), true, 0.9, 1},
        {"smooth glass", material(TREVIX7_MATERIAL_DIELECTRIC, 0), false, 1, 1},
        {"emitter", material(TREVIX7_MATERIAL_EMITTER, 0), false, 0, 0},
    };
    for (const Case& c : cases) {
        float3 wo = at(50);
        wo.z = c.inside ? -wo.z : wo.z;
        unsigned s = 13;
        double albedo = 0, spread = 0, evaluated = 0, integral = 0;
        for (int i = 0; i < kN; ++i) {
            const T7BsdfSample b = t7_bsdfSample(c.m, wo, t7_random(s), t7_random(s), t7_random(s));
            albedo += b.weight.x;
            if (b.pdf > 0.0f) {
                spread += 1;
                float pdf;
                const float3 f = t7_bsdfEval(c.m, wo, b.wi, pdf);
                ASSERT_NEAR(pdf, b.pdf, 1e-3f * pdf) << c.what;
                ASSERT_NEAR(f.x * fabsf(b.wi.z) / pdf, b.weight.x, 1e-3f * b.weight.x + 1e-6f) << c.what;
            }
            float pdf;
            const float3 w = uniform(s);
            evaluated += t7_bsdfEval(c.m, wo, w, pdf).x * fabsf(w.z) / kUniformPdf;
            integral += pdf / kUniformPdf;
        }
        EXPECT_NEAR(integral / kN, spread / kN, 0.02) << c.what;
        EXPECT_GE(albedo / kN, c.low - 0.01) << c.what;
        EXPECT_LE(albedo / kN, c.high + 0.005) << c.what;
        if (spread == kN) {
            EXPECT_NEAR(evaluated / kN, albedo / kN, 0.02) << c.what;
        }
    }
}

// The record's fields as the material takes them.
TEST(Shading, MaterialRecordMeaning)
{
    MaterialData d;
    d.base_color = {0.5f, 1, 1, 0};
    d.light_emission = 4;
    d.subsurface_color = {0.25f, 1, 1};
    d.radiation_length = 2;
    d.base_roughness = 0.5f;
    T7TextureValues t = t7_noTextures();
    t.color = {1, 0.5f, 1};
    t.roughness = 0.5f;
    T7Material m = t7_material(d, {1, 1, 0.25f}, t);
    EXPECT_TRUE(m.model == TREVIX7_MATERIAL_DIFFUSE && m.metalness == 0 && !m.twoSided) << "default flags";
    EXPECT_TRUE(m.color.x == 0.5f && m.color.y == 0.5f && m.color.z == 0.25f) << "record x constant x texture";
    EXPECT_TRUE(m.emission.x == 2 && m.emission.z == 1);
    EXPECT_NEAR(m.alpha, 0.0625f, 1e-7f) << "roughness squared";
    EXPECT_NEAR(m.absorption.x, logf(4) / 2, 1e-6f) << "a quarter left after two lengths";
    EXPECT_EQ(m.absorption.y, 0.0f);
    d.flags = TREVIX7_MATERIAL_CONDUCTOR | TREVIX7_MATERIAL_TWO_SIDED;
    d.base_roughness = 0.02f;
    d.radiation_length = 0;
    m = t7_material(d, {1, 1, 1}, t7_noTextures());
    EXPECT_TRUE(m.metalness == 1 && m.twoSided && m.alpha == 0 && m.absorption.x == 0);
}

TEST(Shading, FresnelAndSmoothDielectric)
{
    EXPECT_NEAR(t7_fresnelDielectric(1.0f, 1.5f), 0.04f, 1e-6f);
    EXPECT_EQ(t7_fresnelDielectric(0.5f, 1 / 1.5f), 1.0f) << "total internal reflection";
    EXPECT_NEAR(t7_fresnelSchlick({0.5f, 0, 1}, 0.0f).y, 1.0f, 1e-6f);
    EXPECT_NEAR(t7_fresnelSchlick({0.5f, 0, 1}, 0.5f).x, 0.5f + 0.5f / 32, 1e-6f) << "(1 - cos)^5";
    const float3 wo = at(40);
    int reflected = 0;
    unsigned s = 5;
    for (int i = 0; i < kN; ++i) {
        const T7BsdfSample b = t7_dielectricSample(1.5f, wo, t7_random(s));
        reflected += b.wi.z > 0.0f;
        if (b.wi.z < 0.0f) { // Snell: sin i = eta sin t, in the plane of incidence
            ASSERT_NEAR(sinf(40 * kT7Pi / 180), -1.5f * b.wi.x, 1e-5f);
        }
    }
    EXPECT_NEAR(double(reflected) / kN, t7_fresnelDielectric(wo.z, 1.5f), 0.003);
    const T7BsdfSample out = t7_dielectricSample(1.5f, make_float3(0.6f, 0, -0.8f), 0.99f);
    EXPECT_NEAR(out.wi.x, -0.9f, 1e-5f) << "leaving the denser side bends away";
}

T7Light light(unsigned type, float3 emission, float3 position)
{
    T7Light l = {};
    l.type = type;
    l.emission = emission;
    l.position = position;
    return l;
}

// Each intersection against a march along the ray in steps of 1e-3: random
// rays from outside and inside, and rays grazing the sphere.
TEST(Shading, IntersectionsAgreeWithAMarchAlongTheRay)
{
    const float3 c = {0.2f, -0.1f, 0.3f}, e0 = {1.0f, 0.2f, 0}, e1 = {0.1f, 0.8f, 0.3f},
                 e2 = {0, -0.2f, 0.7f};
    const float r = 0.6f, step = 1e-3f;
    // Inside each solid (grown by eps), by its own coordinates.
    auto inBox = [&](float3 x, float eps) {
        const float3 q = t7_sub(x, c);
        const float3 n[3] = {t7_cross(e1, e2), t7_cross(e2, e0), t7_cross(e0, e1)};
        const float3 e[3] = {e0, e1, e2};
        for (int k = 0; k < 3; ++k) {
            const float a = t7_dot(q, n[k]) / t7_dot(e[k], n[k]);
            if (a < -eps || a > 1 + eps)
                return false;
        }
        return true;
    };
    auto inSphere = [&](float3 x, float eps) { return t7_length(t7_sub(x, c)) <= r + eps; };
    // The first change of `inside` along the ray, or -1.
    auto march = [&](float3 o, float3 d, auto inside) {
        const bool start = inside(o, 0.0f);
        for (float t = step; t < 6.0f; t += step)
            if (inside(t7_add(o, t7_scale(d, t)), 0.0f) != start)
                return t;
        return -1.0f;
    };
    unsigned s = 21;
    int hits = 0;
    for (int i = 0; i < 3000; ++i) {
        const float3 o = {4 * t7_random(s) - 2, 4 * t7_random(s) - 2, 4 * t7_random(s) - 2};
        float3 d = uniform(s);
        if (i % 10 == 0) { // grazing the sphere, just inside or just outside
            float3 t, b;
            const float3 toC = t7_normalize(t7_sub(c, o));
            t7_frame(toC, t, b);
            const float sinA = fminf(1.0f, r / t7_length(t7_sub(c, o)) * (i % 20 ? 1.001f : 0.999f));
            d = t7_normalize(t7_add(t7_scale(toC, sqrtf(1 - sinA * sinA)), t7_scale(t, sinA)));
        }
        float3 normal;
        const float got[2] = {t7_hitParallelepiped(o, d, c, e0, e1, e2, 0.0f, normal),
                              t7_hitSphere(o, d, c, r, 0.0f)};
        const float want[2] = {march(o, d, inBox), march(o, d, inSphere)};
        for (int k = 0; k < 2; ++k) {
            const float3 x = t7_add(o, t7_scale(d, got[k]));
            if (want[k] > 0.0f) {
                ASSERT_NEAR(got[k], want[k], 2 * step) << i;
            } else { // a miss, or a chord shorter than a step
                ASSERT_TRUE(got[k] < 0.0f || (k ? inSphere(x, 1e-4f) : inBox(x, 1e-4f))) << i;
            }
            hits += want[k] > 0.0f;
        }
        if (got[0] > 0.0f) { // outward: against the ray entering, along it leaving
            ASSERT_EQ(t7_dot(normal, d) < 0.0f, !inBox(o, 0.0f)) << i;
        }
    }
    EXPECT_GT(hits, 500);
}

// The area lights' densities integrate to one over the directions towards
// them, and say what their sampler does; the delta lights give what arrives.
TEST(Shading, LightsSampleWhatTheirDensitiesSay)
{
    T7Light sphere = light(TREVIX7_LIGHT_SPHERE, {2, 2, 2}, {0, 0, 3});
    sphere.radius = 1.0f;
    T7Light quad = light(TREVIX7_LIGHT_PARALLELOGRAM, {1, 1, 1}, {-1, -1, 2});
    quad.u = {0, 3, 0}; // 3 x 2 at height 2, facing down (u x v is -z)
    quad.v = {2, 0, 0};
    const std::pair<T7Light, float3> cases[] = {
        {sphere, {0, 0, 0}}, {sphere, {0.5f, 0.2f, 3.1f}} /* inside */, {quad, {0.3f, -0.4f, 0}}};
    for (const auto& c : cases) {
        unsigned s = 9;
        double integral = 0;
        for (int i = 0; i < kN; ++i)
            integral += t7_lightPdf(c.first, c.second, uniform(s)) / kUniformPdf;
        EXPECT_NEAR(integral / kN, 1.0, 0.02) << c.first.type;
        for (int i = 0; i < 1000; ++i) {
            const T7LightSample l = t7_sampleLight(c.first, c.second, t7_random(s), t7_random(s));
            ASSERT_NEAR(t7_lightPdf(c.first, c.second, l.wi), l.pdf, 1e-3f * l.pdf) << c.first.type;
            ASSERT_TRUE(l.radiance.x == c.first.emission.x && l.distance > 0.0f);
        }
    }
    const T7LightSample behind = t7_sampleLight(quad, {0, 0, 5}, 0.5f, 0.5f);
    EXPECT_TRUE(behind.radiance.x == 0 && behind.pdf == 0 && t7_lightPdf(quad, {0, 0, 5}, {0, 0, -1}) == 0);

    const T7Light point = light(TREVIX7_LIGHT_POINT, {4, 4, 4}, {0, 0, 2});
    EXPECT_TRUE(t7_sampleLight(point, {0, 0, 0}, 0, 0).radiance.y == 1.0f &&
                t7_sampleLight(point, {0, 0, 0}, 0, 0).pdf == 0.0f) << "I / d^2, a delta";
    T7Light spot = light(TREVIX7_LIGHT_SPOT, {4, 4, 4}, {0, 0, 2});
    spot.direction = {0, 0, -1};
    spot.cosInner = 0.9f;
    spot.cosOuter = 0.8f;
    EXPECT_EQ(t7_sampleLight(spot, {0, 0, 0}, 0, 0).radiance.z, 1.0f) << "on the axis";
    EXPECT_EQ(t7_sampleLight(spot, {10, 0, 0}, 0, 0).radiance.z, 0.0f) << "outside the cone";
    T7Light sun = light(TREVIX7_LIGHT_DIRECTIONAL, {3, 3, 3}, {});
    sun.direction = {0, 0, -2};
    const T7LightSample l = t7_sampleLight(sun, {1, 2, 3}, 0, 0);
    EXPECT_TRUE(l.wi.z == 1.0f && l.distance == kT7Far && l.radiance.x == 3.0f);
}

// Pearson's chi-square of `observed` against `expected` counts, bins with
// fewer than 5 expected merged into one; false when it is far above its
// degrees of freedom (z above 5 by the Wilson-Hilferty transform).
bool chiSquareFits(const std::vector<double>& observed, const std::vector<double>& expected,
                   std::string& report)
{
    double chi2 = 0, restO = 0, restE = 0;
    int dof = -1;
    for (size_t k = 0; k < observed.size(); ++k) {
        if (expected[k] < 5) {
            restO += observed[k];
            restE += expected[k];
            continue;
        }
        chi2 += (observed[k] - expected[k]) * (observed[k] - expected[k]) / expected[k];
        ++dof;
    }
    if (restE > 0) {
        chi2 += (restO - restE) * (restO - restE) / restE;
        ++dof;
    }
    const double k = dof, z = (std::cbrt(chi2 / k) - (1 - 2 / (9 * k))) / std::sqrt(2 / (9 * k));
    report = "chi2 " + std::to_string(chi2) + " for " + std::to_string(dof) + " degrees, z " +
             std::to_string(z);
    return z < 5;
}

// The rough dielectric's sampled directions follow the density its
// evaluation gives, from outside and from inside, at normal to grazing
// angles and up to roughness 1: a chi-square fit over the whole sphere of
// directions (10 x 20 bins in cos theta and phi, the density integrated over
// each bin on a 24 x 24 grid). Samples that would leave through the wrong side
// are discarded by the sampler, as they must be.
TEST(Shading, RoughDielectricSamplesFollowItsDensityFromBothSides)
{
    constexpr int kTheta = 10, kPhi = 20, kSub = 24, kSamples = 200000;
    for (float roughness : {0.5f, 1.0f})
        for (float degrees : {20.0f, 80.0f})
            for (bool inside : {false, true}) {
                const T7Material m = material(TREVIX7_MATERIAL_DIELECTRIC, roughness);
                float3 wo = at(degrees);
                wo.z = inside ? -wo.z : wo.z;
                auto bin = [&](float3 w) {
                    const int t = std::min(kTheta - 1, int((w.z + 1) / 2 * kTheta));
                    const float phi = atan2f(w.y, w.x) + kT7Pi;
                    return t * kPhi + std::min(kPhi - 1, int(phi / (2 * kT7Pi) * kPhi));
                };
                std::vector<double> observed(kTheta * kPhi, 0), expected(kTheta * kPhi, 0);
                unsigned s = 77;
                for (int i = 0; i < kSamples; ++i) {
                    const T7BsdfSample b = t7_bsdfSample(m, wo, t7_random(s), t7_random(s), t7_random(s));
                    if (b.pdf > 0.0f)
                        observed[bin(b.wi)] += 1;
                }
                const double dz = 2.0 / kTheta / kSub, dphi = 2 * kT7Pi / kPhi / kSub;
                for (int t = 0; t < kTheta * kSub; ++t)
                    for (int f = 0; f < kPhi * kSub; ++f) {
                        const float z = float(-1 + (t + 0.5) * dz), phi = float((f + 0.5) * dphi - kT7Pi);
                        const float r = sqrtf(std::max(0.0f, 1 - z * z));
                        const float3 w = {r * cosf(phi), r * sinf(phi), z};
                        float pdf;
                        t7_bsdfEval(m, wo, w, pdf);
                        expected[bin(w)] += pdf * dz * dphi * kSamples;
                    }
                std::string report;
                EXPECT_TRUE(chiSquareFits(observed, expected, report))
                    << "roughness " << roughness << " at " << degrees << (inside ? " from inside: " : ": ") << report;
            }
}

// The GGX distribution keeps its precision at small roughness: against the
// same formula in double precision.
TEST(Shading, GgxDistributionIsPreciseAtSmallRoughness)
{
    for (float roughness : {0.03f, 0.05f, 0.2f, 1.0f})
        for (float degrees : {0.0f, 0.5f, 1.0f, 2.0f, 5.0f, 30.0f, 70.0f}) {
            const double a = double(roughness) * roughness, t = degrees * 3.14159265358979 / 180;
            const double c = std::cos(t), s2 = std::sin(t) * std::sin(t);
            const double d = a * a / (3.14159265358979 * std::pow(a * a * c * c + s2, 2));
            const float3 h = at(degrees);
            EXPECT_NEAR(t7_ggxD(h, float(a)) / d, 1.0, 1e-4) << roughness << " at " << degrees;
        }
}

// Light sampling of a sphere seen under a tiny angle (the sun's is r/d =
// 4.65e-3) gives its exact irradiance: L pi (r / d)^2 for a surface facing it.
TEST(Shading, SmallAndDistantSphereLightsGiveTheirIrradiance)
{
    for (float ratio : {1e-2f, 1e-3f, 1e-4f, 1e-5f}) {
        T7Light sun = light(TREVIX7_LIGHT_SPHERE, {5, 5, 5}, {0, 0, 1000});
        sun.radius = 1000 * ratio;
        unsigned s = 11;
        double sum = 0;
        const int n = 20000;
        for (int i = 0; i < n; ++i) {
            const T7LightSample l = t7_sampleLight(sun, {0, 0, 0}, t7_random(s), t7_random(s));
            ASSERT_TRUE(std::isfinite(l.pdf) && l.pdf > 0) << ratio;
            sum += l.radiance.x * l.wi.z / l.pdf;
        }
        const double exact = 5 * 3.14159265358979 * double(ratio) * ratio;
        EXPECT_NEAR(sum / n / exact, 1.0, 1e-3) << ratio;
    }
}

} // namespace
