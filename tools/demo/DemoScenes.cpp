#include "DemoScenes.h"

#include "trevix7_programs.h"

#include <cmath>
#include <vector>

namespace demo {

const char* const kPinhole = "t7_camera.cu::__raygen__pinhole";
const char* const kThinLens = "t7_camera.cu::__raygen__thinlens";
const char* const kMiss = "t7_miss.cu::__miss__environment";
const char* const kRadiance = "t7_hit.cu::__closesthit__radiance";
const char* const kOcclusion = "t7_hit.cu::__closesthit__occlusion";

namespace {

using f3 = trevix7_float3;

// Each builder records the first failure; later calls are skipped.
struct Scene {
    unsigned handle;
    std::string& error;
    char message[4096] = {};

    bool ok(bool result)
    {
        if (!result && error.empty())
            error = message[0] ? message : "a call failed";
        return result && error.empty();
    }

    unsigned material(unsigned flags, f3 color, float roughness = 0, float emission = 0,
                      f3 ior = {1.5f, 1.5f, 1.5f}, float radiation = 0, f3 keep = {1, 1, 1},
                      const std::vector<unsigned>& colorTextures = {})
    {
        const char* uintNames[] = {"flags"};
        unsigned uints[] = {flags};
        const char* floatNames[] = {"base_roughness", "light_emission", "radiation_length"};
        float floats[] = {roughness, emission, radiation};
        const char* float3Names[] = {"base_color", "refraction_index", "subsurface_color"};
        f3 float3s[] = {color, ior, keep};
        const unsigned id = ApiSetupMaterial(
            handle, kRadiance, kOcclusion, uintNames, uints, 1, floatNames, floats, 3, float3Names,
            float3s, 3, nullptr, nullptr, 0, colorTextures.data(), unsigned(colorTextures.size()),
            nullptr, 0, nullptr, 0, nullptr, 0, colorTextures.size(), message);
        return ok(id != 0) ? id : 0;
    }

    // Custom primitives: one array per slot, count elements each.
    unsigned primitives(geoPrimirivesType type, const char* program, unsigned mat, unsigned count,
                        std::vector<unsigned> slots, std::vector<unsigned> sizes,
                        std::vector<void*> data)
    {
        if (!error.empty())
            return 0;
        const int id = ApiSetupPrimitivesGeometry(handle, type, program, slots.data(), sizes.data(),
                                                  unsigned(slots.size()), mat, message);
        if (!ok(id > 0) || !ok(ApiUploadGeometryBuffers(handle, unsigned(id), count, slots.data(),
                                                        data.data(), unsigned(slots.size()), message)))
            return 0;
        return unsigned(id);
    }

    unsigned mesh(unsigned mat, std::vector<f3> v, std::vector<trevix7_uint3> f,
                  std::vector<trevix7_float2> uv = {})
    {
        if (!error.empty())
            return 0;
        const unsigned slots[] = {0, 2, 5}, sizes[] = {12, 12, 8};
        const int id = ApiSetupTrianglesGeometry(handle, geoPrimitives0, slots, sizes,
                                                 uv.empty() ? 2 : 3, mat, message);
        if (!ok(id > 0) ||
            !ok(ApiUploadGeometryMeshFaces(handle, unsigned(id), v.data(), unsigned(v.size()),
                                           f.data(), unsigned(f.size()), message)) ||
            (!uv.empty() && !ok(ApiUploadGeometryMeshTexCoords(handle, unsigned(id), uv.data(),
                                                                unsigned(uv.size()), nullptr, 0,
                                                                message))))
            return 0;
        return unsigned(id);
    }

    // Curves of one kind: control points with radii, segments from each index.
    unsigned curves(geoPrimirivesType type, unsigned mat, std::vector<f3> points,
                    std::vector<float> radii, std::vector<unsigned> segments)
    {
        if (!error.empty())
            return 0;
        const unsigned slots[] = {0, 2, 4}, sizes[] = {12, 4, 4};
        const int id = ApiSetupBSplinesGeometry(handle, type, slots, sizes, 3, mat, message);
        const unsigned pointSlots[] = {0, 4};
        void* pointData[] = {points.data(), radii.data()};
        if (!ok(id > 0) ||
            !ok(ApiUploadGeometryBuffers(handle, unsigned(id), unsigned(points.size()), pointSlots,
                                         pointData, 2, message)) ||
            !ok(ApiUploadGeometryBSplineIdx(handle, unsigned(id), segments.data(),
                                            unsigned(segments.size()), message)))
            return 0;
        return unsigned(id);
    }

    unsigned sphere(unsigned mat, f3 centre, float radius)
    {
        f3 c[] = {centre};
        float r[] = {radius};
        return primitives(geoParticleSet, "t7_intersect.cu::__intersection__particles", mat, 1,
                          {0, 4}, {12, 4}, {c, r});
    }

    void background(f3 color, f3 ambient = {0, 0, 0})
    {
        const char* names[] = {"bg_color", "ambient_color"};
        f3 values[] = {color, ambient};
        ok(ApiUpdateVariables(handle, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr,
                              0, nullptr, nullptr, 0, nullptr, nullptr, 0, names, values, 2));
    }

    // A pixel filter of -1 sends every ray through its pixel's centre.
    unsigned camera(const char* program, f3 eye, f3 target, float fov, float aperture = 0,
                    float focus = 0, float filter = 0)
    {
        if (!error.empty() || !ok(ApiSetMissProgram(handle, kMiss, message)))
            return 0;
        const unsigned id = ApiSetupCamera(handle, program, eye, target, {0, 1, 0}, fov, 1,
                                           {0, 0}, aperture, 0, focus, 0, filter, 0, false, nullptr, 0);
        if (!ok(id != 0) || !ok(ApiSetCurrentCamera(handle, id, message)))
            return 0;
        return id;
    }
};


} // namespace

unsigned furnace(unsigned handle, std::string& error)
{
    Scene s{handle, error};
    s.sphere(s.material(TREVIX7_MATERIAL_DIFFUSE, {1, 1, 1}), {0, 0, 0}, 1);
    s.background({1, 1, 1});
    return s.camera(kPinhole, {0, 0, 4}, {0, 0, 0}, 40);
}

unsigned pointLightFloor(unsigned handle, std::string& error)
{
    Scene s{handle, error};
    const unsigned floor = s.material(TREVIX7_MATERIAL_DIFFUSE, {0.5f, 0.5f, 0.5f});
    s.mesh(floor, {{-20, -20, 0}, {20, -20, 0}, {20, 20, 0}, {-20, 20, 0}}, {{0, 1, 2}, {0, 2, 3}});
    trevix7_light_record light = {};
    light.light.type = TREVIX7_LIGHT_POINT;
    light.light.position = {0, 0, kFloorLightHeight};
    light.light.emission = {kFloorLight, kFloorLight, kFloorLight};
    s.ok(ApiSetupLights(handle, &light.data, 1));
    s.background({0, 0, 0});
    // Looking down the z axis from above the light: it hides no floor point.
    return s.camera(kPinhole, {0, 0, 6}, {0, 0, 0}, 60, 0, 0, -1);
}

unsigned kinds(unsigned handle, unsigned ids[6], std::string& error)
{
    Scene s{handle, error};
    const unsigned grey = s.material(TREVIX7_MATERIAL_DIFFUSE, {0.7f, 0.7f, 0.7f});
    ids[0] = s.sphere(grey, {0, 0, 0}, 1);
    f3 corner[] = {{1.5f, -0.5f, 0}}, a[] = {{1, 0, 0}}, b[] = {{0, 1, 0}}, c[] = {{0, 0, 1}};
    ids[1] = s.primitives(geoParallelograms, "t7_intersect.cu::__intersection__parallelograms",
                          grey, 1, {0, 2, 3}, {12, 12, 12}, {corner, a, b});
    f3 boxCorner[] = {{-2.5f, -0.5f, -0.5f}};
    ids[2] = s.primitives(geoParallelepipeds, "t7_intersect.cu::__intersection__parallelepipeds",
                          grey, 1, {0, 2, 3, 4}, {12, 12, 12, 12}, {boxCorner, a, b, c});
    f3 p0[] = {{-1, 1.6f, 0}}, p1[] = {{-0.3f, 2.4f, 0}}, p2[] = {{0.3f, 1.2f, 0}}, p3[] = {{1, 1.8f, 0}};
    trevix7_float2 radii[] = {{0.15f, 0.08f}};
    ids[3] = s.primitives(geoBezier, "t7_intersect.cu::__intersection__bezier", grey, 1,
                          {0, 3, 4, 5, 6}, {12, 12, 8, 12, 12}, {p0, p1, radii, p2, p3});
    ids[4] = s.mesh(grey, {{-1, -2.4f, 0}, {1, -2.4f, 0}, {0, -1.4f, 0}}, {{0, 1, 2}});
    ids[5] = s.curves(geoBSplineLinear, grey, {{1.5f, 1.5f, 0}, {2.5f, 2.2f, 0}}, {0.1f, 0.1f}, {0});
    s.background({0, 0, 0}, {0, 0, 0});
    return s.camera(kPinhole, {0, 0, 8}, {0, 0, 0}, 45, 0, 0, -1);
}

unsigned box(unsigned handle, std::string& error)
{
    Scene s{handle, error};
    const unsigned white = s.material(TREVIX7_MATERIAL_DIFFUSE, {0.75f, 0.75f, 0.75f});
    const unsigned red = s.material(TREVIX7_MATERIAL_DIFFUSE, {0.7f, 0.12f, 0.1f});
    const unsigned green = s.material(TREVIX7_MATERIAL_DIFFUSE, {0.15f, 0.6f, 0.15f});
    // Walls of the box [-2, 2] x [0, 4] x [-2, 2], open towards +z.
    s.mesh(white, {{-2, 0, -2}, {2, 0, -2}, {2, 0, 2}, {-2, 0, 2}, {-2, 4, -2}, {2, 4, -2}, {2, 4, 2}, {-2, 4, 2}},
           {{0, 2, 1}, {0, 3, 2}, {4, 5, 6}, {4, 6, 7}, {0, 1, 5}, {0, 5, 4}});
    s.mesh(red, {{-2, 0, -2}, {-2, 0, 2}, {-2, 4, 2}, {-2, 4, -2}}, {{0, 1, 2}, {0, 2, 3}});
    s.mesh(green, {{2, 0, -2}, {2, 4, -2}, {2, 4, 2}, {2, 0, 2}}, {{0, 1, 2}, {0, 2, 3}});
    // The light under the ceiling, facing down (u x v is -y).
    trevix7_light_record light = {};
    light.light.type = TREVIX7_LIGHT_PARALLELOGRAM;
    light.light.position = {-0.5f, 3.98f, -0.5f};
    light.light.u = {1, 0, 0};
    light.light.v = {0, 0, 1};
    light.light.emission = {12, 12, 12};
    s.ok(ApiSetupLights(handle, &light.data, 1));
    // Spheres of each material along the back.
    const unsigned mats[] = {
        s.material(TREVIX7_MATERIAL_DIFFUSE, {0.8f, 0.8f, 0.2f}),
        s.material(TREVIX7_MATERIAL_CONDUCTOR, {0.95f, 0.64f, 0.54f}, 0.35f),
        s.material(TREVIX7_MATERIAL_CONDUCTOR, {0.9f, 0.9f, 0.9f}),
        s.material(TREVIX7_MATERIAL_DIELECTRIC, {1, 1, 1}, 0.3f),
        s.material(TREVIX7_MATERIAL_DIELECTRIC, {1, 1, 1}, 0, 0, {1.5f, 1.52f, 1.54f}, 1.0f, {0.4f, 0.8f, 0.9f}),
        s.material(TREVIX7_MATERIAL_DIFFUSE, {1, 0.6f, 0.3f}, 0, 2)};
    for (int k = 0; k < 6; ++k)
        s.sphere(mats[k], {-1.5f + 0.6f * float(k), 0.3f, -1.3f}, 0.28f);
    // Hair: one strand of each curve kind.
    const unsigned hair = s.material(TREVIX7_MATERIAL_DIFFUSE, {0.35f, 0.2f, 0.1f});
    const geoPrimirivesType kinds[] = {geoBSplineLinear, geoBSplineQuadratic, geoBSplineCubic, geoBSplineCatmullRom};
    for (int k = 0; k < 4; ++k) {
        std::vector<f3> points;
        for (int i = 0; i < 6; ++i)
            points.push_back({-1.8f + 0.15f * float(k), 0.3f * float(i), 0.8f + 0.1f * std::sin(float(i + k))});
        std::vector<unsigned> segments;
        const unsigned per = k == 0 ? 2 : (k == 1 ? 3 : 4);
        for (unsigned i = 0; i + per <= points.size(); ++i)
            segments.push_back(i);
        s.curves(kinds[k], hair, points, std::vector<float>(points.size(), 0.02f), segments);
    }
    // Textured particles with their frames, a Bezier tube, parallelograms, a parallelepiped.
    f3 centres[] = {{0.8f, 0.25f, 0.6f}, {1.3f, 0.25f, 0.9f}}, axisA[] = {{1, 0, 0}, {0, 1, 0}},
       axisB[] = {{0, 1, 0}, {0, 0, 1}};
    float radii[] = {0.22f, 0.18f};
    s.primitives(geoParticleSetTex, "t7_intersect.cu::__intersection__particles_tex", mats[0], 2,
                 {0, 2, 3, 4}, {12, 12, 12, 4}, {centres, axisA, axisB, radii});
    f3 q0[] = {{-0.6f, 0.1f, 1.2f}}, q1[] = {{-0.2f, 1.5f, 0.6f}}, q2[] = {{0.3f, -0.4f, 0.9f}}, q3[] = {{0.7f, 1.0f, 1.3f}};
    trevix7_float2 tube[] = {{0.08f, 0.03f}};
    s.primitives(geoBezier, "t7_intersect.cu::__intersection__bezier", mats[1], 1,
                 {0, 3, 4, 5, 6}, {12, 12, 8, 12, 12}, {q0, q1, tube, q2, q3});
    f3 pc[] = {{-1.9f, 1.5f, -1.9f}, {1.0f, 2.0f, -1.95f}}, pa[] = {{0.8f, 0, 0}, {0.7f, 0, 0}},
       pb[] = {{0, 0.8f, 0.3f}, {0, 0.7f, 0}};
    s.primitives(geoParallelograms, "t7_intersect.cu::__intersection__parallelograms", red, 2,
                 {0, 2, 3}, {12, 12, 12}, {pc, pa, pb});
    f3 bc[] = {{0.9f, 0, -0.6f}}, be0[] = {{0.6f, 0, 0.2f}}, be1[] = {{0, 1.1f, 0}}, be2[] = {{-0.2f, 0, 0.6f}};
    s.primitives(geoParallelepipeds, "t7_intersect.cu::__intersection__parallelepipeds", mats[2],
                 1, {0, 2, 3, 4}, {12, 12, 12, 12}, {bc, be0, be1, be2});
    // A textured floor mat and an environment: 2 x 2 checker and a sky gradient.
    const unsigned char checker[] = {230, 230, 230, 255, 40, 40, 40, 255, 40, 40, 40, 255, 230, 230, 230, 255};
    const unsigned tex = ApiSetupTexture(handle, 2, 2, 4, 8, 0, checker, s.message);
    const unsigned mat = s.ok(tex != 0) ? s.material(TREVIX7_MATERIAL_DIFFUSE, {1, 1, 1}, 0, 0, {1.5f, 1.5f, 1.5f}, 0, {1, 1, 1}, {tex}) : 0;
    s.mesh(mat, {{-1.2f, 0.01f, -0.2f}, {0.4f, 0.01f, -0.2f}, {0.4f, 0.01f, 1.4f}, {-1.2f, 0.01f, 1.4f}},
           {{0, 2, 1}, {0, 3, 2}}, {{0, 0}, {4, 0}, {4, 4}, {0, 4}});
    std::vector<float> sky(16 * 8 * 4);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 16; ++x) {
            float* p = &sky[4 * (y * 16 + x)];
            const float up = 1.0f - float(y) / 7.0f;
            p[0] = 0.3f + 0.5f * up;
            p[1] = 0.4f + 0.5f * up;
            p[2] = 0.6f + 0.6f * up;
            p[3] = 1;
        }
    const unsigned env = ApiSetupTexture(handle, 16, 8, 4, 32, 0, sky.data(), s.message);
    s.ok(env != 0 && ApiSetBackgroundTexture(handle, env));
    s.background({0, 0, 0}, {0.02f, 0.02f, 0.02f});
    return s.camera(kThinLens, {0, 2, 7.5f}, {0, 1.6f, 0}, 42, 0.02f, 7.3f);
}

} // namespace demo
