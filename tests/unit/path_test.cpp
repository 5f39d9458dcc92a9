// The path tracer of our device programs, on the host: curve bases and the
// Bezier tube against brute force, surface points, camera rays and what a
// sample stores, and whole paths in small scenes with analytic answers.

#include "kernels/work_distribution_element.h"
#include "shaders/path.h"
#include "shaders/surface.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(PathTracer, CurveBasesInterpolate)
{
    const float4 q[4] = {{0, 0, 0, 1}, {1, 2, 0, 2}, {2, 2, 1, 3}, {3, 0, 1, 4}};
    for (unsigned type : {11u, 12u, 13u, 15u})
        for (float u = 0; u <= 1.0f; u += 0.125f) {
            float w[4];
            t7_curveWeights(type, u, w);
            EXPECT_NEAR(w[0] + w[1] + w[2] + w[3], 1.0f, 1e-6f) << type << " at " << u;
        }
    auto same = [](float4 a, float4 b) {
        return fabsf(a.x - b.x) + fabsf(a.y - b.y) + fabsf(a.z - b.z) + fabsf(a.w - b.w) < 1e-5f;
    };
    EXPECT_TRUE(same(t7_curvePoint(11, q, 1), q[1]) && same(t7_curvePoint(14, q, 0), q[0]));
    EXPECT_TRUE(same(t7_curvePoint(15, q, 0), q[1]) && same(t7_curvePoint(15, q, 1), q[2]))
        << "Catmull-Rom passes through its inner points";
    EXPECT_TRUE(same(t7_curvePoint(12, q, 0), make_float4(0.5f, 1, 0, 1.5f)));
    EXPECT_TRUE(same(t7_curvePoint(13, q, 0), make_float4(1, 10.0f / 6, 1.0f / 6, 2)));
}

// The true swept-sphere tube of a thin, strongly bent Bezier segment: the
// reported point lies on its surface within the chain's tolerance, and the
// ray does not enter the tube before it; rays from inside leave it.
TEST(PathTracer, BezierTubeAgreesWithAMarchAlongTheRay)
{
    const float3 p[4] = {{0, 0, 0}, {1, 1.5f, 0}, {2, -1.5f, 0.5f}, {3, 0, 0}};
    const float r0 = 0.05f, r1 = 0.02f;
    // Signed distance to the tube: a coarse search, then a ternary refinement.
    auto distance = [&](float3 x) {
        auto f = [&](float t) {
            return t7_length(t7_sub(x, t7_bezierPoint(p, t))) - (r0 + (r1 - r0) * t);
        };
        int best = 0;
        for (int k = 1; k <= 64; ++k)
            best = f(k / 64.0f) < f(best / 64.0f) ? k : best;
        float lo = fmaxf(0, (best - 1) / 64.0f), hi = fminf(1, (best + 1) / 64.0f);
        for (int i = 0; i < 30; ++i) {
            const float a = lo + (hi - lo) / 3, b = hi - (hi - lo) / 3;
            (f(a) < f(b) ? hi : lo) = f(a) < f(b) ? b : a;
        }
        return f(0.5f * (lo + hi));
    };
    const float tol = 0.06f * r1, step = 2e-3f;
    unsigned s = 17;
    int hits = 0, from_inside = 0;
    for (int i = 0; i < 400; ++i) {
        const float at = t7_random(s);
        const float3 onCurve = t7_bezierPoint(p, at);
        float3 o, d;
        const bool inside = i % 8 == 0;
        if (inside) { // near the axis, in any direction
            o = t7_add(onCurve, t7_scale(t7_sampleCone(t7_random(s), t7_random(s), 2), 0.3f * r1));
            d = t7_sampleCone(t7_random(s), t7_random(s), 2);
        } else { // from afar at a point near the tube, some grazing it
            o = {4 * t7_random(s) - 0.5f, 6 * t7_random(s) - 3, 2 + t7_random(s)};
            const float3 aim = t7_add(onCurve, t7_scale(t7_sampleCone(t7_random(s), t7_random(s), 2),
                                                        2 * r0 * t7_random(s)));
            d = t7_normalize(t7_sub(aim, o));
        }
        const T7TubeHit h = t7_hitBezier(o, d, p, r0, r1, 0.0f);
        float first = -1; // where the march first crosses the surface
        for (float t = step; t < 8 && first < 0; t += step)
            if ((distance(t7_add(o, t7_scale(d, t))) < 0) != inside)
                first = t;
        if (h.t < 0) { // a miss only where the ray at most grazes the tube
            ASSERT_FALSE(inside) << i;
            for (float t = step; t < 8; t += step)
                ASSERT_GT(distance(t7_add(o, t7_scale(d, t))), -tol) << i;
            continue;
        }
        hits += 1;
        from_inside += inside;
        ASSERT_EQ(h.inside, inside) << i;
        ASSERT_NEAR(distance(t7_add(o, t7_scale(d, h.t))), 0.0f, tol) << i;
        for (float t = step; t < h.t - step; t += step) // nothing crossed before it
            ASSERT_TRUE(inside ? distance(t7_add(o, t7_scale(d, t))) < tol
                               : distance(t7_add(o, t7_scale(d, t))) > -tol) << i;
        if (first > 0 && !inside) { // non-grazing: the same crossing
            ASSERT_LT(h.t, first + step) << i;
        }
        ASSERT_EQ(t7_dot(h.normal, d) < 0, !inside) << "outward " << i;
    }
    EXPECT_GT(hits, 200);
    EXPECT_EQ(from_inside, 50);
    EXPECT_GT(t7_bezierPieces(p, r0, r1), kT7BezierPieces / 2) << "a bend that needs many pieces";
}

GeometryData geometry(geoPrimirivesType type, std::vector<const void*> slots)
{
    GeometryData g;
    g.type = type;
    for (size_t k = 0; k < slots.size(); ++k)
        g.buffers[k] = reinterpret_cast<uint64_t>(slots[k]);
    return g;
}

bool near(float3 a, float3 b, float eps = 1e-5f) { return t7_length(t7_sub(a, b)) < eps; }

TEST(PathTracer, SurfacePoints)
{
    // A triangle with its own normal indices and texture coordinates.
    const float3 v[3] = {{0, 0, 0}, {2, 0, 0}, {0, 2, 0}};
    const uint3 f[1] = {{0, 1, 2}};
    const float3 n[2] = {{0, 0, 1}, {1, 0, 1}};
    const uint3 ni[1] = {{0, 0, 1}};
    const float2 uv[3] = {{0, 0}, {0, 1}, {1, 0}}; // u runs along +y
    GeometryData tri = geometry(geoPrimitives0, {v, nullptr, f, n, ni, uv, nullptr});
    T7Surface s = t7_triangleSurface(tri, 0, {0.25f, 0.5f});
    EXPECT_TRUE(near(s.position, {0.5f, 1, 0}) && near(s.geometric, {0, 0, 1}));
    EXPECT_TRUE(near(s.normal, t7_normalize({0.5f, 0, 1}))) << "interpolated by the normal indices";
    EXPECT_TRUE(s.uv.x == 0.5f && s.uv.y == 0.25f);
    EXPECT_NEAR(t7_dot(s.tangent, {0, 1, 0}), 1.0f, 1e-5f) << "along u";

    // A unit cube from the origin: a ray along -x reaches the face x = 1.
    const float3 corner[1] = {{0, 0, 0}}, ex[1] = {{1, 0, 0}}, ey[1] = {{0, 1, 0}}, ez[1] = {{0, 0, 1}};
    GeometryData box = geometry(geoParallelepipeds, {corner, nullptr, ex, ey, ez});
    T7CustomHit h = t7_hitParallelepipedPrim(box, 0, {3, 0.25f, 0.75f}, {-1, 0, 0}, 0);
    EXPECT_TRUE(h.t == 2 && near(h.normal, {1, 0, 0}) && !h.inside && h.uv.x == 0.25f && h.uv.y == 0.75f);
    h = t7_hitParallelepipedPrim(box, 0, {0.5f, 0.5f, 0.5f}, {0, 0, 1}, 0);
    EXPECT_TRUE(h.inside && h.t == 0.5f && near(h.normal, {0, 0, 1}));

    // A textured particle: the point along its third axis has v = 0.
    const float3 c[1] = {{1, 1, 1}}, a[1] = {{0, 1, 0}}, b[1] = {{0, 0, 1}};
    const float r[1] = {0.5f};
    GeometryData ball = geometry(geoParticleSetTex, {c, nullptr, a, b, r});
    h = t7_hitParticle(ball, 0, {5, 1, 1}, {-1, 0, 0}, 0);
    EXPECT_TRUE(h.t == 3.5f && near(h.normal, {1, 0, 0}) && h.uv.y < 1e-3f) << h.uv.y;

    // A linear curve along x: the normal points away from the axis.
    const float3 cv[2] = {{0, 0, 0}, {4, 0, 0}};
    const unsigned seg[1] = {0};
    const float w[2] = {0.5f, 0.5f};
    GeometryData curve = geometry(geoBSplineLinear, {cv, nullptr, seg, nullptr, w});
    s = t7_curveSurface(curve, 0, 0.25f, {1, 0, 0.5f});
    EXPECT_TRUE(near(s.normal, {0, 0, 1}) && near(s.tangent, {1, 0, 0}));

    float2 at = {2.25f, 0.5f};
    EXPECT_EQ(t7_textureIndex(at, 4), 2u);
    EXPECT_EQ(at.x, 0.25f);
    at = {7.5f, 0};
    EXPECT_EQ(t7_textureIndex(at, 4), 3u) << "clamped to the last texture";
}

Params params()
{
    Params p = {};
    p.width = 4;
    p.height = 2;
    p.eye = {0, 0, 0};
    p.U = {2, 0, 0};
    p.V = {0, 1, 0};
    p.W = {0, 0, -4};
    p.nU = {-1, 0, 0};
    p.nV = {0, -1, 0};
    p.nW = {0, 0, 1};
    p.scene_epsilon = 1e-4f;
    p.path_seg_range = {2, 6};
    p.bad_color = {1, 0, 1};
    return p;
}

TEST(PathTracer, CameraRaysAndWhatASampleStores)
{
    Params p = params();
    p.lens3 = -1; // pixel centres
    float2 film = t7_filmPoint(p, {0, 0}, 0.9f, 0.1f);
    EXPECT_TRUE(film.x == -0.75f && film.y == 0.5f) << "row 0 is the top";
    p.lens3 = 0;
    p.center = {0.5f, 0};
    film = t7_filmPoint(p, {3, 1}, 1, 1);
    EXPECT_TRUE(film.x == 1.5f && film.y == -1) << "the whole pixel, shifted by cxy";
    float3 o, d;
    t7_cameraRay(p, {0, 0}, false, {0, 0}, o, d);
    EXPECT_TRUE(near(o, p.eye) && near(d, {0, 0, -1}));
    // A thin lens: every lens point's ray meets the pinhole ray in the plane in focus.
    p.aperture = 0.5f;
    p.focus_distance = 8;
    t7_cameraRay(p, {0.5f, 0.5f}, false, {0, 0}, o, d);
    const float3 focus = t7_scale(d, 8 / -d.z);
    for (float2 lens : {make_float2(1, 0), make_float2(-0.3f, 0.7f)}) {
        t7_cameraRay(p, {0.5f, 0.5f}, true, lens, o, d);
        EXPECT_TRUE(near(o, {0.5f * lens.x, 0.5f * lens.y, 0}) && near(t7_add(o, t7_scale(d, 8 / -d.z)), focus, 1e-4f));
    }
    // Six blades: uniform over the hexagon.
    unsigned s = 5;
    double mean = 0;
    for (int i = 0; i < 10000; ++i) {
        const float2 q = t7_lensPoint(6, 30, t7_random(s), t7_random(s));
        const float angle = atan2f(q.y, q.x) - 30 * kT7Pi / 180;
        const float sector = angle - (kT7Pi / 3) * floorf(angle / (kT7Pi / 3)) - kT7Pi / 6;
        ASSERT_LE(sqrtf(q.x * q.x + q.y * q.y) * cosf(sector), cosf(kT7Pi / 6) + 1e-5f) << "inside the hexagon";
        mean += q.x;
    }
    EXPECT_NEAR(mean / 10000, 0, 0.01);
    const float2 up = t7_environmentUv({0, 1, 0}), ahead = t7_environmentUv({0, 0, -1});
    EXPECT_TRUE(up.y == 0 && ahead.x == 0.5f && ahead.y == 0.5f);

    // Sums start afresh on pass 0; the last pass writes position and id.
    float4 sums[1] = {{9, 9, 9, 9}}, normals[1] = {}, hits[8] = {};
    uint2 ids[8] = {};
    p.sample_accum = sums;
    p.normal_accum = normals;
    p.hit_pos = hits;
    p.geom_id = ids;
    const T7PathResult r = {{1, 2, 3}, {}, {0, 0, 1}, {4, 5, 6, 7}, t7_idWords(TREVIX7_ID_BACK, 42, 9)};
    for (unsigned pass = 0; pass < 2; ++pass) {
        p.subframe_index = pass;
        p.last_pass = pass == 1;
        t7_storeSample(p, 0, {1, 1}, r);
        EXPECT_EQ(hits[5].w, pass == 1 ? 7.0f : 0.0f) << "only on the last pass";
    }
    EXPECT_TRUE(sums[0].x == 2 && sums[0].z == 6 && sums[0].w == 2 && normals[0].z == 2) << "camera space";
    const float4 n = t7_normalize4(normals[0]); // as the gather normalises the sum
    EXPECT_TRUE(n.x == 0 && n.y == 0 && n.z == 1 && n.w == 0) << "a unit normal reaches the image";
    EXPECT_TRUE(ids[5].x == (42u | 2u << 30) && ids[5].y == 9);
}

// Spheres and one-sided parallelograms, intersected directly.
struct Ball {
    float3 c;
    float r;
    T7Material m;
};
struct Quad {
    float3 corner, u, v;
    T7Material m;
};
struct HostScene {
    std::vector<Ball> balls;
    std::vector<Quad> quads;
    float3 sky;

    void trace(float3 o, float3 d, T7Hit& hit) const
    {
        hit.t = -1;
        hit.background = sky;
        for (size_t k = 0; k < balls.size(); ++k) {
            const float t = t7_hitSphere(o, d, balls[k].c, balls[k].r, 0);
            if (t > 0 && (hit.t < 0 || t < hit.t))
                fill(hit, t, o, d, t7_normalize(t7_sub(t7_add(o, t7_scale(d, t)), balls[k].c)), k, balls[k].m);
        }
        for (size_t k = 0; k < quads.size(); ++k) {
            const float t = t7_hitParallelogram(o, d, quads[k].corner, quads[k].u, quads[k].v, 0);
            if (t > 0 && (hit.t < 0 || t < hit.t))
                fill(hit, t, o, d, t7_normalize(t7_cross(quads[k].u, quads[k].v)), 100 + k, quads[k].m);
        }
    }
    static void fill(T7Hit& hit, float t, float3 o, float3 d, float3 n, size_t id, const T7Material& m)
    {
        hit = {t, t7_add(o, t7_scale(d, t)), n, n, t7_dot(n, d) < 0 ? 1u : 0u, unsigned(id), 0, m, {}};
    }
    bool occluded(float3 o, float3 d, float tmax) const
    {
        T7Hit hit;
        trace(o, d, hit);
        return hit.t > 0 && hit.t < tmax;
    }
    float3 background(float3) const { return sky; }
};

T7Material diffuse(float albedo)
{
    MaterialData d;
    d.base_color = {albedo, albedo, albedo, 1};
    return t7_material(d, {1, 1, 1}, t7_noTextures());
}

// The mean of n paths from o along d, and the largest deviation of one.
std::pair<double, double> render(const Params& p, const HostScene& scene, float3 o, float3 d, int n)
{
    unsigned s = 99;
    double sum = 0, worst = 0;
    for (int i = 0; i < n; ++i) {
        const float x = t7_tracePath(p, scene, o, d, s).radiance.x;
        sum += x;
        worst = fmax(worst, fabs(x - 1.0));
    }
    return {sum / n, worst};
}

TEST(PathTracer, FurnacesGiveOne)
{
    Params p = params();
    p.bg_color = {1, 1, 1};
    // A white diffuse ball in a white sky: the shadow ray and the scattered
    // ray share each sample evenly, so every sample is 1.
    HostScene scene{{{{0, 0, -3}, 1, diffuse(1)}}, {}, {1, 1, 1}};
    for (float3 d : {make_float3(0, 0, -1), t7_normalize({0.3f, 0, -1}), t7_normalize({1, 0, 0})})
        EXPECT_LT(render(p, scene, {0, 0, 0}, d, 2000).second, 1e-4) << d.x;
    // A clear glass ball: every path leaves it into the sky (Russian roulette
    // keeps the mean).
    MaterialData glass;
    glass.flags = TREVIX7_MATERIAL_DIELECTRIC;
    glass.refraction_index = {1.5f, 1.6f, 1.7f}; // each path follows one channel
    scene.balls[0].m = t7_material(glass, {1, 1, 1}, t7_noTextures());
    p.path_seg_range = {3, 64};
    const auto g = render(p, scene, {0, 0, 0}, t7_normalize({0.2f, 0.1f, -1}), 40000);
    EXPECT_NEAR(g.first, 1.0, 0.05);
    // A rough white conductor ball can only lose light.
    MaterialData metal;
    metal.flags = TREVIX7_MATERIAL_CONDUCTOR;
    metal.base_roughness = 0.5f;
    scene.balls[0].m = t7_material(metal, {1, 1, 1}, t7_noTextures());
    EXPECT_LT(render(p, scene, {0, 0, 0}, t7_normalize({0.2f, 0.1f, -1}), 20000).first, 1.0);
}

// A diffuse floor of albedo 0.5 under a point light and under a sphere light,
// in a black sky: the radiance is albedo / pi x I cos / d^2, and albedo x L
// (r / d)^2 straight below the sphere (light sampling and hits on the light
// weighted against each other).
TEST(PathTracer, LightsOverADiffuseFloor)
{
    Params p = params();
    p.ambient_color = {0.1f, 0.1f, 0.1f};
    HostScene scene{{}, {{{-50, -50, 0}, {100, 0, 0}, {0, 100, 0}, diffuse(0.5f)}}, {0, 0, 0}};
    T7Light lights[2] = {};
    lights[0].type = TREVIX7_LIGHT_POINT;
    lights[0].position = {0, 0, 2};
    lights[0].emission = {8, 8, 8};
    p.lights = reinterpret_cast<LightData*>(lights);
    p.num_lights = 1;
    for (float x : {0.0f, 1.0f, 3.0f}) {
        const float d2 = x * x + 4, cosT = 2 / sqrtf(d2);
        unsigned s = 1;
        const float3 got = t7_tracePath(p, scene, {x, 0, 1}, {0, 0, -1}, s).radiance;
        EXPECT_NEAR(got.y, 0.5f / kT7Pi * 8 * cosT / d2, 1e-5f) << x;
    }
    lights[0].type = TREVIX7_LIGHT_SPHERE;
    lights[0].position = {0, 0, 4};
    lights[0].radius = 1;
    lights[0].emission = {2, 2, 2};
    unsigned s = 3;
    double sum = 0;
    const int n = 40000;
    for (int i = 0; i < n; ++i)
        sum += t7_tracePath(p, scene, {0, 0, 0.5f}, {0, 0, -1}, s).radiance.x;
    EXPECT_NEAR(sum / n, 0.5 * 2 / 16, 0.003);
    // Seen directly, the light gives its radiance and its id.
    const T7PathResult r = t7_tracePath(p, scene, {0, 0, 0.5f}, {0, 0, 1}, s);
    EXPECT_TRUE(r.radiance.x == 2 && r.id.x == (0u | TREVIX7_ID_LIGHT << 30) && r.position.w == 2.5f);
    // One segment: the floor's colour times the ambient colour stands for the rest.
    p.path_seg_range = {1, 1};
    EXPECT_NEAR(t7_tracePath(p, scene, {0, 0, 1}, {0, 0, -1}, s).radiance.z, 0.05f, 1e-7f);
    // A sample that comes out NaN becomes bad_color.
    scene.quads[0].m.color.x = NAN;
    const float3 bad = t7_tracePath(p, scene, {0, 0, 1}, {0, 0, -1}, s).radiance;
    EXPECT_TRUE(bad.x == 1 && bad.y == 0 && bad.z == 1);
}

// Light seen through an absorbing glass ball of index 1 (no refraction, no
// reflection): a light record inside it, hit by the path, and a point light
// inside it, reached by a shadow ray from a floor inside it, are dimmed by
// exp(-sigma length) as an emissive surface is.
TEST(PathTracer, AbsorbingGlassDimsLightsSeenThroughIt)
{
    Params p = params();
    p.ambient_color = {0, 0, 0};
    p.path_seg_range = {8, 3};
    MaterialData glass;
    glass.flags = TREVIX7_MATERIAL_DIELECTRIC;
    glass.refraction_index = {1, 1, 1};
    glass.subsurface_color = {0.25f, 0.5f, 1}; // left after one unit of length
    glass.radiation_length = 1;
    HostScene scene{{{{0, 0, -3}, 1, t7_material(glass, {1, 1, 1}, t7_noTextures())}}, {}, {0, 0, 0}};
    T7Light light = {};
    light.type = TREVIX7_LIGHT_PARALLELOGRAM;
    light.position = {-0.1f, -0.1f, -3.5f};
    light.u = {0.2f, 0, 0};
    light.v = {0, 0.2f, 0}; // u x v is +z: it faces the eye
    light.emission = {4, 4, 4};
    p.lights = reinterpret_cast<LightData*>(&light);
    p.num_lights = 1;
    unsigned s = 5;
    float3 got = t7_tracePath(p, scene, {0, 0, 0}, {0, 0, -1}, s).radiance;
    // (Within 1e-3: the path starts scene_epsilon inside the glass.)
    EXPECT_NEAR(got.x / (4 * powf(0.25f, 1.5f)), 1, 1e-3) << "1.5 units of glass";
    EXPECT_NEAR(got.y / (4 * powf(0.5f, 1.5f)), 1, 1e-3);
    EXPECT_NEAR(got.z / 4, 1, 1e-3);

    // A white floor at z = -3 inside the ball, lit by a point light 0.5 above
    // it inside the ball, seen from outside 1 unit of glass away.
    scene.quads.push_back({{-0.5f, -0.5f, -3}, {1, 0, 0}, {0, 1, 0}, diffuse(1)});
    light.type = TREVIX7_LIGHT_POINT;
    light.position = {0.3f, 0, -2.5f};
    s = 5;
    got = t7_tracePath(p, scene, {0, 0, 0}, {0, 0, -1}, s).radiance;
    const float d2 = 0.3f * 0.3f + 0.25f, d = sqrtf(d2), cosT = 0.5f / d;
    const float direct = 1 / kT7Pi * 4 * cosT / d2;
    EXPECT_NEAR(got.x / (0.25f * direct * powf(0.25f, d)), 1, 1e-3) << "1 unit in, d to the light";
    EXPECT_NEAR(got.z / direct, 1, 1e-3);
}

// Direct light on a floor under a square light, by light sampling and hits
// on the light weighted against each other, against the exact irradiance of
// the polygon (Lambert's formula), with a large scene_epsilon: the weight of
// a hit is that of the hit found, so no sliver of the light counts twice.
TEST(PathTracer, LightHitsAreWeightedWhereTheyWereFound)
{
    Params p = params();
    p.ambient_color = {0, 0, 0};
    p.path_seg_range = {8, 2};
    p.scene_epsilon = 0.05f;
    HostScene scene{{}, {{{-50, -50, 0}, {100, 0, 0}, {0, 100, 0}, diffuse(1)}}, {0, 0, 0}};
    T7Light light = {};
    light.type = TREVIX7_LIGHT_PARALLELOGRAM;
    light.position = {-0.5f, -0.5f, 0.6f};
    light.u = {0, 1, 0};
    light.v = {1, 0, 0}; // u x v is -z: it faces the floor
    light.emission = {1, 1, 1};
    p.lights = reinterpret_cast<LightData*>(&light);
    p.num_lights = 1;
    for (float x : {0.0f, 0.45f, 0.7f}) {
        // Lambert: E = L / 2 sum acos(r_i . r_i+1) n . unit(r_i x r_i+1).
        const float3 corners[4] = {{-0.5f, -0.5f, 0.6f}, {0.5f, -0.5f, 0.6f}, {0.5f, 0.5f, 0.6f}, {-0.5f, 0.5f, 0.6f}};
        double e = 0;
        for (int k = 0; k < 4; ++k) {
            const float3 a = t7_normalize(t7_sub(corners[k], {x, 0, 0}));
            const float3 b = t7_normalize(t7_sub(corners[(k + 1) % 4], {x, 0, 0}));
            e += std::acos(double(t7_dot(a, b))) * t7_normalize(t7_cross(a, b)).z;
        }
        const double exact = std::fabs(e) / 2 / kT7Pi; // albedo 1: E / pi
        unsigned s = 17;
        double sum = 0, sum2 = 0;
        const int n = 400000;
        for (int i = 0; i < n; ++i) {
            const double v = t7_tracePath(p, scene, {x, 0, 0.3f}, {0, 0, -1}, s).radiance.x;
            sum += v;
            sum2 += v * v;
        }
        const double mean = sum / n, error = std::sqrt((sum2 / n - mean * mean) / n);
        EXPECT_NEAR(mean, exact, 4 * error) << x << ": standard error " << error;
    }
}

} // namespace
