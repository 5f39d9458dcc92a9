// Files from other tools: an OBJ with its MTL materials, and a glTF file with
// one mesh on two nodes, a textured metallic-roughness material, a camera
// and a point light, rendered on the simulated device (our programs on the
// CPU device) and checked against what the files say.

#include "support.h"
#include "tools/render/ImageFiles.h"
#include "tools/scene/SceneJson.h"
#include "tools/scene/SceneLoader.h"

#include <tinyexr.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>

namespace {

constexpr unsigned W = 64, H = 64;

std::string dir()
{
    return testing::TempDir();
}

std::string write(const std::string& name, const std::string& text)
{
    std::ofstream(dir() + name, std::ios::binary) << text;
    return dir() + name;
}

// An instance made from a file at W x H with linear output; destroyed when it goes.
struct Rendered {
    explicit Rendered(const std::string& path)
    {
        trevix7_scene_settings s;
        SceneDefaultSettings(&s);
        s.width = W;
        s.height = H;
        s.display = 0;
        t7test::printed([&] {
            ApiSetupLibraryDir(TREVIX7_BUILD_DIR);
            try {
                const scene::Description d = scene::read(path, s);
                warnings = d.warnings;
                loaded = scene::build(d);
            } catch (const std::exception& e) {
                message = e.what();
            }
        });
    }
    ~Rendered() { ApiDestroyPathTracer(loaded.handle, nullptr); }

    bool render(unsigned frames)
    {
        char error[4096] = {};
        ApiSetSaveAlbedoState(loaded.handle, true);
        const bool ok = ApiLaunch(loaded.handle, frames, 0xFFFFFFFFu, error) >= 0 && !error[0];
        message += error;
        return ok;
    }
    // Images, top row first.
    float4 raw(unsigned x, unsigned y) { return bottomUp(ApiGetRawOutputBuffer)[(H - 1 - y) * W + x]; }
    float4 albedo(unsigned x, unsigned y) { return bottomUp(ApiGetAlbedoBuffer)[(H - 1 - y) * W + x]; }
    const float4* hits() { return static_cast<const float4*>(buffer(ApiGetHitPosBuffer)); }
    const uint2* ids() { return static_cast<const uint2*>(buffer(ApiGetIdBuffer)); }
    unsigned id(unsigned x, unsigned y) { return ids()[y * W + x].x & TREVIX7_ID_MASK; }

    scene::Loaded loaded;
    std::string message;
    std::vector<std::string> warnings;

private:
    const void* buffer(bool (*get)(unsigned, void**, int*, char*))
    {
        void* data = nullptr;
        int size = 0;
        return get(loaded.handle, &data, &size, nullptr) ? data : nullptr;
    }
    const float4* bottomUp(bool (*get)(unsigned, void**, int*, char*))
    {
        return static_cast<const float4*>(buffer(get));
    }
};

class SceneImport : public t7test::BooksAtZero {};

// Four quads side by side, each with its MTL material: diffuse (Kd, with an
// sRGB map_Kd), metal
// (Ks at least Kd), glass (d < 1, with Tf) and a lamp (Ke).
TEST_F(SceneImport, ObjMaterialsComeFromItsMtl)
{
    const unsigned char grey[4] = {188, 188, 188, 255}; // sRGB: linear 0.5029
    std::string problem;
    ASSERT_TRUE(render::writePng(dir() + "grey.png", 1, 1, 4, 8, grey, problem)) << problem;
    write("parts.mtl", "newmtl red\nKd 0.8 0.1 0.1\nmap_Kd grey.png\n"
                       "newmtl metal\nKd 0.1 0.1 0.1\nKs 0.9 0.8 0.3\nNs 200\n"
                       "newmtl glass\nKd 1 1 1\nd 0.5\nNi 1.33\nTf 0.9 1 0.9\n"
                       "newmtl lamp\nKe 4 2 1\n");
    std::string obj = "mtllib parts.mtl\n";
    const char* names[] = {"red", "metal", "glass", "lamp"};
    for (int k = 0; k < 4; ++k) {
        const float x0 = -2 + k;
        for (float x : {x0, x0 + 0.9f})
            for (float y : {-0.5f, 0.5f})
                obj += "v " + std::to_string(x) + " " + std::to_string(y) + " 0\n";
    }
    for (int k = 0; k < 4; ++k) {
        const int b = 4 * k + 1;
        obj += std::string("usemtl ") + names[k] + "\nf " + std::to_string(b) + " " + std::to_string(b + 2) + " " +
               std::to_string(b + 3) + " " + std::to_string(b + 1) + "\n";
    }
    write("parts.obj", obj);
    const std::string scene = write("parts.json", R"({
      "geometry": [{"type": "mesh", "name": "q", "file": "parts.obj"}],
      "camera": {"eye": [0, 0, 6], "fov": 45, "filter": -1}, "postprocessing": []})");
    Rendered r(scene);
    ASSERT_NE(r.loaded.handle, 0u) << r.message;
    ASSERT_TRUE(r.render(1)) << r.message;
    const std::vector<std::string> parts = {"q", "q.metal", "q.glass", "q.lamp"};
    ASSERT_EQ(r.loaded.geometry.size(), 4u);
    const float grey8 = float(std::pow((188 / 255.0 + 0.055) / 1.055, 2.4)); // the texture, made linear
    const float4 want[] = {{0.8f * grey8, 0.1f * grey8, 0.1f * grey8, 0}, {0.9f, 0.8f, 0.3f, 0}, {0.9f, 1, 0.9f, 0},
                           {1, 0.5f, 0.25f, 0}};
    for (int k = 0; k < 4; ++k) {
        // The quad's middle, seen from the eye.
        const float t = std::tan(22.5f * float(M_PI) / 180), x = -1.55f + k;
        const unsigned col = unsigned((x / 6 / t + 1) / 2 * W), row = H / 2;
        EXPECT_EQ(r.id(col, row), r.loaded.geometry[parts[size_t(k)]]) << parts[size_t(k)];
        const float4 a = r.albedo(col, row);
        EXPECT_TRUE(std::fabs(a.x - want[k].x) < 1e-4f && std::fabs(a.y - want[k].y) < 1e-4f &&
                    std::fabs(a.z - want[k].z) < 1e-4f)
            << parts[size_t(k)] << ": albedo " << a.x << " " << a.y << " " << a.z;
    }
    // The lamp's radiance is its Ke.
    const float t = std::tan(22.5f * float(M_PI) / 180);
    const float4 lamp = r.raw(unsigned((1.45f / 6 / t + 1) / 2 * W), H / 2);
    EXPECT_TRUE(std::fabs(lamp.x - 4) < 1e-4f && std::fabs(lamp.y - 2) < 1e-4f && std::fabs(lamp.z - 1) < 1e-4f)
        << lamp.x << " " << lamp.y << " " << lamp.z;

    // A missing MTL file is said, once.
    write("lost.obj", "mtllib nowhere.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nusemtl x\nf 1 2 3\n");
    const std::string lost = write("lost.json", R"({"geometry": [{"type": "mesh", "file": "lost.obj"}],
                                                    "camera": {}})");
    Rendered l(lost);
    EXPECT_NE(l.loaded.handle, 0u) << l.message;
    EXPECT_EQ(l.warnings, std::vector<std::string>{lost + ": geometry[0].file: the material file \"nowhere.mtl\" of \"" +
                                                   dir() + "lost.obj\" was not found: its faces are grey"});
}

// Little-endian bytes of floats and shorts, for a glTF buffer.
template <typename T> void append(std::string& out, std::initializer_list<T> values)
{
    for (T v : values)
        out.append(reinterpret_cast<const char*>(&v), sizeof v);
}

// One tile mesh (a unit square in y = 0, facing up, u along x) on two nodes
// (one mirrored, scaled by 1.5 and moved to x = -1; one stretched along x,
// turned a quarter about y and moved to x = 1: 0.5 wide and 2 deep), a
// textured material (sRGB 188 everywhere; roughness 1; its metalness
// texture 0 in the first column and 1 in the second, clamped), a camera 4
// above looking down, and a point light of intensity 8 at height 2.
std::string writeGltf(const std::string& extra)
{
    std::string bin;
    append<float>(bin, {-0.5f, 0, -0.5f, -0.5f, 0, 0.5f, 0.5f, 0, 0.5f, 0.5f, 0, -0.5f}); // positions
    append<float>(bin, {0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0});                             // normals
    append<float>(bin, {0, 0, 0, 1, 1, 1, 1, 0});                                         // uv
    append<unsigned short>(bin, {0, 1, 2, 0, 2, 3});
    write("tile.bin", bin);
    std::string error;
    const unsigned char grey[16] = {188, 188, 188, 255, 188, 188, 188, 255, 188, 188, 188, 255, 188, 188, 188, 255};
    const unsigned char rough[16] = {0, 255, 0, 255, 0, 255, 255, 255, 0, 255, 0, 255, 0, 255, 255, 255};
    EXPECT_TRUE(render::writePng(dir() + "base.png", 2, 2, 4, 8, grey, error)) << error;
    EXPECT_TRUE(render::writePng(dir() + "mr.png", 2, 2, 4, 8, rough, error)) << error;
    return write("tiles.gltf", R"({
      "asset": {"version": "2.0"}, "scene": 0, "scenes": [{"nodes": [0, 1, 2, 3]}],
      "nodes": [
        {"name": "left", "mesh": 0, "translation": [-1, 0, 0], "scale": [-1.5, 1, 1.5]},
        {"name": "right", "mesh": 0, "translation": [1, 0, 0], "rotation": [0, 0.70710678, 0, 0.70710678],
         "scale": [2, 1, 0.5]},
        {"name": "eye", "camera": 0, "translation": [0, 4, 0], "rotation": [-0.70710678, 0, 0, 0.70710678]},
        {"name": "lamp", "translation": [0, 2, 0], "extensions": {"KHR_lights_punctual": {"light": 0}}}],
      "extensionsUsed": ["KHR_lights_punctual")" + extra + R"(],
      "extensions": {"KHR_lights_punctual": {"lights": [{"type": "point", "color": [1, 1, 1], "intensity": 8}]}},
      "cameras": [{"type": "perspective", "perspective": {"yfov": 1.0, "aspectRatio": 1.0, "znear": 0.1}}],
      "meshes": [{"primitives": [{"attributes": {"POSITION": 0, "NORMAL": 1, "TEXCOORD_0": 2}, "indices": 3,
                                  "material": 0}]}],
      "materials": [{"pbrMetallicRoughness": {"baseColorFactor": [1, 1, 1, 1], "baseColorTexture": {"index": 0},
                     "metallicFactor": 1, "roughnessFactor": 1, "metallicRoughnessTexture": {"index": 1}}}],
      "samplers": [{"wrapS": 33071, "wrapT": 33071}],
      "textures": [{"source": 0}, {"source": 1, "sampler": 0}],
      "images": [{"uri": "base.png"}, {"uri": "mr.png"}],
      "buffers": [{"uri": "tile.bin", "byteLength": 140}],
      "bufferViews": [{"buffer": 0, "byteOffset": 0, "byteLength": 48}, {"buffer": 0, "byteOffset": 48, "byteLength": 48},
                      {"buffer": 0, "byteOffset": 96, "byteLength": 32}, {"buffer": 0, "byteOffset": 128, "byteLength": 12}],
      "accessors": [
        {"bufferView": 0, "componentType": 5126, "count": 4, "type": "VEC3", "min": [-0.5, 0, -0.5], "max": [0.5, 0, 0.5]},
        {"bufferView": 1, "componentType": 5126, "count": 4, "type": "VEC3"},
        {"bufferView": 2, "componentType": 5126, "count": 4, "type": "VEC2"},
        {"bufferView": 3, "componentType": 5123, "count": 6, "type": "SCALAR"}]
    })");
}

TEST_F(SceneImport, AGltfFileRendersAsItSays)
{
    Rendered r(writeGltf(""));
    ASSERT_NE(r.loaded.handle, 0u) << r.message;
    // One pass: each pixel's value is the sample whose hit the image of hits holds.
    ASSERT_TRUE(r.render(1)) << r.message;
    EXPECT_EQ(r.warnings, std::vector<std::string>{});
    const unsigned left = r.loaded.geometry["left"], right = r.loaded.geometry["right"];
    ASSERT_TRUE(left && right && left != right);

    // The camera (image right is +x, up is -z): each tile where it projects,
    // the right one turned so that it is deep and narrow.
    const float t = std::tan(0.5f);
    auto at = [&](float x, float z) { return r.id(unsigned((x / 4 / t + 1) / 2 * W), unsigned((z / 4 / t + 1) / 2 * H)); };
    EXPECT_EQ(at(-1, 0), left);
    EXPECT_EQ(at(-1.6f, 0.6f), left);
    EXPECT_EQ(at(1, 0.9f), right);
    EXPECT_EQ(at(1.4f, 0), 0u);
    EXPECT_EQ(at(0, 0), 0u) << "between the tiles";

    // The light and the material: where the metalness texture is 0, a
    // Lambertian floor of albedo sRGB 188 (linear 0.5029), lit by intensity 8
    // from height 2; where it is 1, rough metal, which reflects far less.
    const double albedo = std::pow((188 / 255.0 + 0.055) / 1.055, 2.4);
    const float4* hits = r.hits();
    unsigned lit = 0, metal = 0;
    double worst = 0, closestMetal = 1;
    for (unsigned y = 0; y < H; ++y)
        for (unsigned x = 0; x < W; ++x) {
            const unsigned id = r.id(x, y);
            if (id != left && id != right)
                continue;
            const float4 p = hits[y * W + x];
            // Each tile's extent, from the node transforms.
            const bool inside = id == left ? std::fabs(p.x + 1) <= 0.75f + 1e-5f && std::fabs(p.z) <= 0.75f + 1e-5f
                                           : std::fabs(p.x - 1) <= 0.25f + 1e-5f && std::fabs(p.z) <= 1 + 1e-5f;
            EXPECT_TRUE(inside) << p.x << " " << p.z;
            const double d = std::sqrt(p.x * p.x + 4.0 + p.z * p.z);
            const double radiance = albedo / M_PI * 8 * 2 / (d * d * d);
            worst = std::fmax(worst, std::fabs(p.w - std::sqrt(p.x * p.x + 16.0 + p.z * p.z)) + std::fabs(p.y));
            // u from the node transforms (the left one mirrored).
            const double u = id == left ? 0.5 - (p.x + 1) / 1.5 : 0.5 - p.z / 2;
            if (u < 0.2) {
                worst = std::fmax(worst, std::fabs(r.raw(x, y).y - radiance) / radiance);
                ++lit;
            } else if (u > 0.8) {
                closestMetal = std::fmin(closestMetal, std::fabs(r.raw(x, y).y - radiance) / radiance);
                ++metal;
            }
        }
    EXPECT_GT(lit, 100u);
    EXPECT_GT(metal, 100u);
    EXPECT_LT(worst, 1e-3) << "largest relative error of the lit diffuse floor, or of a hit's place";
    EXPECT_GT(closestMetal, 0.3) << "the metal part reflects like the diffuse part";
}

// A normal map tilts the shading normal toward its green, the image's up:
// a quad facing +z, its normals tilted 45 degrees up, faces a light that
// comes down at 45 degrees from the front squarely.
TEST_F(SceneImport, ANormalMapLeansTowardItsGreen)
{
    std::string bin;
    append<float>(bin, {-1, -1, 0, 1, -1, 0, 1, 1, 0, -1, 1, 0});
    append<float>(bin, {0, 1, 1, 1, 1, 0, 0, 0}); // v = 0 at the image's top row
    append<unsigned short>(bin, {0, 1, 2, 0, 2, 3});
    write("quad.bin", bin);
    const unsigned char texel[4] = {128, 200, 200, 255};
    std::string problem;
    ASSERT_TRUE(render::writePng(dir() + "normal.png", 1, 1, 4, 8, texel, problem)) << problem;
    const std::string path = write("normal.gltf", R"({
      "asset": {"version": "2.0"}, "scenes": [{"nodes": [0, 1, 2]}],
      "nodes": [{"name": "quad", "mesh": 0}, {"camera": 0, "translation": [0, 0, 3]},
                {"rotation": [-0.38268343, 0, 0, 0.92387953], "extensions": {"KHR_lights_punctual": {"light": 0}}}],
      "extensionsUsed": ["KHR_lights_punctual"],
      "extensions": {"KHR_lights_punctual": {"lights": [{"type": "directional", "intensity": 2}]}},
      "cameras": [{"type": "perspective", "perspective": {"yfov": 0.5, "aspectRatio": 1.0, "znear": 0.1}}],
      "meshes": [{"primitives": [{"attributes": {"POSITION": 0, "TEXCOORD_0": 1}, "indices": 2, "material": 0}]}],
      "materials": [{"pbrMetallicRoughness": {"baseColorFactor": [0.5, 0.5, 0.5, 1], "metallicFactor": 0},
                     "normalTexture": {"index": 0}}],
      "textures": [{"source": 0}], "images": [{"uri": "normal.png"}],
      "buffers": [{"uri": "quad.bin", "byteLength": 92}],
      "bufferViews": [{"buffer": 0, "byteOffset": 0, "byteLength": 48}, {"buffer": 0, "byteOffset": 48, "byteLength": 32},
                      {"buffer": 0, "byteOffset": 80, "byteLength": 12}],
      "accessors": [{"bufferView": 0, "componentType": 5126, "count": 4, "type": "VEC3", "min": [-1, -1, 0], "max": [1, 1, 0]},
                    {"bufferView": 1, "componentType": 5126, "count": 4, "type": "VEC2"},
                    {"bufferView": 2, "componentType": 5123, "count": 6, "type": "SCALAR"}]
    })");
    Rendered r(path);
    ASSERT_NE(r.loaded.handle, 0u) << r.message;
    ASSERT_TRUE(r.render(1)) << r.message;
    // The light travels along (0, -1, -1) / sqrt 2: the node's -z, turned.
    const double x = 2 * 128 / 255.0 - 1, y = 2 * 200 / 255.0 - 1, z = 2 * 200 / 255.0 - 1;
    const double cosine = (y + z) / std::sqrt(2.0) / std::sqrt(x * x + y * y + z * z);
    const double want = 0.5 / M_PI * 2 * cosine;
    EXPECT_NEAR(r.raw(W / 2, H / 2).y, want, 1e-3 * want) << "flat would be " << 0.5 / M_PI * 2 / std::sqrt(2.0);
}

TEST_F(SceneImport, WhatCannotBeRenderedIsSaidOncePerKind)
{
    // An extension we do not render gives one line, which reading prints.
    const std::string path = writeGltf(R"(, "KHR_texture_transform")");
    testing::internal::CaptureStderr();
    char error[4096] = {};
    trevix7_scene* read = SceneRead(path.c_str(), nullptr, error);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "warning: " + path + ": top level: glTF \"" + path +
                                                           "\": the extension KHR_texture_transform is not rendered\n");
    EXPECT_NE(read, nullptr) << error;
    SceneFree(read);

    // A scene file takes a glTF file as geometry, its own material in place of the file's.
    const std::string scene = write("with_gltf.json", R"({
      "materials": {"m": {"base_color": [0.2, 0.4, 0.6]}},
      "geometry": [{"type": "mesh", "name": "tiles", "material": "m", "file": "tiles.gltf",
                    "transform": {"translate": [0, 1, 0]}}],
      "camera": {"eye": [0, 5, 0.01], "target": [0, 0, 0], "filter": -1}, "postprocessing": []})");
    Rendered s(scene);
    ASSERT_NE(s.loaded.handle, 0u) << s.message;
    ASSERT_TRUE(s.render(1)) << s.message;
    EXPECT_TRUE(s.loaded.geometry.count("tiles") && s.loaded.geometry.count("tiles.right"));
    EXPECT_NEAR(s.hits()[(H / 2) * W + W / 4].y, 1, 1e-6) << "moved up by the scene's transform";
    const float4 a = s.albedo(W / 4, H / 2);
    EXPECT_TRUE(std::fabs(a.x - 0.2f) < 1e-6f && std::fabs(a.z - 0.6f) < 1e-6f) << a.x << " " << a.z;

    // Bad files name their place.
    write("broken.gltf", R"({"asset": {"version": "2.0"}, "meshes": [{"primitives": [{"attributes": {"POSITION": 7}}]}],
                             "nodes": [{"mesh": 0}]})");
    Rendered b(write("broken.json", R"({"geometry": [{"type": "mesh", "file": "broken.gltf"}], "camera": {}})"));
    EXPECT_EQ(b.loaded.handle, 0u);
    EXPECT_NE(b.message.find("broken.json: geometry[0].file: "), std::string::npos) << b.message;
}

// trevix7-render's EXR image is the library's raw float image: linear
// radiance, unless --display asks for the scene's display stages too.
TEST_F(SceneImport, AnExrHoldsTheRawImage)
{
    const std::string demo = TREVIX7_SCENES_DIR "/demo.json";
    for (const bool display : {false, true}) {
        trevix7_scene_settings s;
        SceneDefaultSettings(&s);
        s.width = 24;
        s.height = 16;
        s.display = display;
        std::vector<float4> raw;
        t7test::printed([&] {
            ApiSetupLibraryDir(TREVIX7_BUILD_DIR);
            const scene::Loaded l = scene::build(scene::read(demo, s));
            // Two batches of one frame, as the renderer starts.
            ASSERT_GE(ApiLaunch(l.handle, 1, 0xFFFFFFFFu, nullptr), 0);
            ASSERT_GE(ApiLaunch(l.handle, 1, 0xFFFFFFFFu, nullptr), 0);
            raw = t7test::rawImage(l.handle);
            ApiDestroyPathTracer(l.handle, nullptr);
        });
        ASSERT_EQ(raw.size(), 24u * 16u);
        const std::string exr = dir() + (display ? "shown.exr" : "linear.exr");
        const std::string command = std::string(TREVIX7_RENDERER " ") + demo + " -o " + exr +
                                    " --size 24x16 --frames 2 -q" + (display ? " --display" : "") + " >/dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
        float* pixels = nullptr;
        int w = 0, h = 0;
        const char* error = nullptr;
        ASSERT_EQ(LoadEXR(&pixels, &w, &h, exr.c_str(), &error), TINYEXR_SUCCESS) << (error ? error : "");
        const std::unique_ptr<float, void (*)(void*)> guard(pixels, std::free);
        ASSERT_TRUE(w == 24 && h == 16);
        size_t differ = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const float4 want = raw[size_t(h - 1 - y) * 24 + size_t(x)]; // the raw image is bottom row first
                const float* got = &pixels[(size_t(y) * 24 + size_t(x)) * 4];
                differ += got[0] != want.x || got[1] != want.y || got[2] != want.z || got[3] != want.w;
            }
        EXPECT_EQ(differ, 0u) << (display ? "with the display stages" : "linear");
    }
}

} // namespace
