// The device programs' sampling and scattering arithmetic, on the host:
// random numbers, frames, densities that integrate to one, sampling that
// agrees with evaluation (a furnace by two estimators) and Fresnel.

#include "shaders/bsdf.h"
#include "shaders/intersect.h"
#include "shaders/lights.h"

#include <gtest/gtest.h>

namespace {

constexpr int kN = 200000;

// A uniform direction on the sphere and its density.
float3 uniform(unsigned& s)
{
    return t7_sampleCone(t7_random(s), t7_random(s), -1.0f);
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

// Each density, integrated over the sphere (uniform directions), gives the
// share of its samples that it covers.
TEST(Shading, DensitiesIntegrateToTheirSamples)
{
    const float3 wo = at(60);
    struct Case {
        const char* what;
        float (*pdf)(float3, float3);
        float3 (*sample)(float3, float, float);
    };
    const Case cases[] = {
        {"cosine", [](float3, float3 w) { return t7_cosinePdf(w); },
         [](float3, float u1, float u2) { return t7_sampleCosine(u1, u2); }},
        {"cone", [](float3, float3 w) { return t7_conePdf(w, 0.8f); },
         [](float3, float u1, float u2) { return t7_sampleCone(u1, u2, 0.8f); }},
        {"ggx 0.3", [](float3 o, float3 w) { return t7_conductorPdf(0.3f, o, w); },
         [](float3 o, float u1, float u2) { return t7_conductorSample({1, 1, 1}, 0.3f, o, u1, u2).wi; }},
        {"ggx 0.8", [](float3 o, float3 w) { return t7_conductorPdf(0.8f, o, w); },
         [](float3 o, float u1, float u2) { return t7_conductorSample({1, 1, 1}, 0.8f, o, u1, u2).wi; }},
    };
    for (const Case& c : cases) {
        unsigned s = 7;
        double integral = 0, covered = 0;
        for (int i = 0; i < kN; ++i) {
            integral += c.pdf(wo, uniform(s)) / kUniformPdf;
            covered += c.pdf(wo, c.sample(wo, t7_random(s), t7_random(s))) > 0.0f;
        }
        EXPECT_NEAR(integral / kN, covered / kN, 0.02) << c.what;
        EXPECT_GT(covered / kN, 0.7) << c.what; // rough lobes lose some below the horizon
    }
}

// The directional albedo by the sampler's weights and by cosine sampling of
// the evaluation agree, and never exceed 1 for a white surface.
TEST(Shading, SamplingAgreesWithEvaluation)
{
    const float3 white = {1, 1, 1};
    for (float alpha : {0.3f, 0.8f})
        for (float theta : {0.0f, 45.0f, 75.0f}) {
            const float3 wo = at(theta);
            unsigned s = 11;
            double sampled = 0, evaluated = 0;
            for (int i = 0; i < kN; ++i) {
                sampled += t7_conductorSample(white, alpha, wo, t7_random(s), t7_random(s)).weight.x;
                const float3 wi = t7_sampleCosine(t7_random(s), t7_random(s));
                evaluated += t7_conductorEval(white, alpha, wo, wi).x * wi.z / t7_cosinePdf(wi);
            }
            EXPECT_NEAR(sampled / kN, evaluated / kN, 0.02) << alpha << " at " << theta;
            EXPECT_LE(sampled / kN, 1.0) << alpha << " at " << theta;
        }
    unsigned s = 3;
    const float3 albedo = {0.2f, 0.5f, 0.9f};
    double evaluated = 0;
    for (int i = 0; i < kN; ++i) {
        const float3 wi = uniform(s);
        evaluated += t7_diffuseEval(albedo, at(30), wi).y * fmaxf(0.0f, wi.z) / kUniformPdf;
    }
    EXPECT_NEAR(evaluated / kN, 0.5, 0.01);
    EXPECT_EQ(t7_diffuseSample(albedo, 0.3f, 0.6f).weight.z, 0.9f);
}

TEST(Shading, FresnelAndSmoothDielectric)
{
    EXPECT_NEAR(t7_fresnelDielectric(1.0f, 1.5f), 0.04f, 1e-6f);
    EXPECT_EQ(t7_fresnelDielectric(0.5f, 1 / 1.5f), 1.0f) << "total internal reflection";
    EXPECT_NEAR(t7_fresnelSchlick({0.5f, 0, 1}, 0.0f).y, 1.0f, 1e-6f);
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

} // namespace
