// Scene files: every kind of bad input gives its message naming the place
// and leaves nothing behind; a good file with an OBJ mesh, an image texture
// and a transform reaches the library as written; image files written by the
// renderer read back as they were.

#include "support.h"
#include "tools/render/ImageFiles.h"
#include "tools/scene/SceneJson.h"
#include "tools/scene/SceneLoader.h"

#include <stb/stb_image.h>
#include <tinyexr.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <memory>

namespace {

std::string dir()
{
    return testing::TempDir();
}

std::string write(const std::string& name, const std::string& text)
{
    const std::string path = dir() + name;
    std::ofstream(path) << text;
    return path;
}

// The message of loading `text` as a scene file, or "" when it loads.
std::string complaint(const std::string& text)
{
    const std::string path = write("bad.json", text);
    trevix7_scene_settings s;
    SceneDefaultSettings(&s);
    std::string message;
    t7test::printed([&] {
        ApiSetupLibraryDir(TREVIX7_BUILD_DIR);
        try {
            ApiDestroyPathTracer(scene::load(path, s).handle, nullptr);
        } catch (const scene::SceneError& e) {
            message = e.what();
        }
    });
    return message;
}

class SceneFile : public t7test::BooksAtZero {};

TEST_F(SceneFile, BadInputNamesItsPlaceAndReleasesTheInstance)
{
    const std::string cam = R"("camera": {"eye": [0, 0, 5]})";
    const std::pair<std::string, std::string> cases[] = {
        {"{\n  \"camera\": {,}\n}", "bad.json:2:14: JSON error: syntax error"},
        {"[1, 2", "bad.json:1:6: JSON error:"},
        {R"({"camrea": {}})", "bad.json: top level: unknown key \"camrea\""},
        {R"({"render": {"size": [0, 10]}, )" + cam + "}", "render.size: the size must not be zero"},
        {R"({"render": {"denoise": "strong"}, )" + cam + "}",
         "render.denoise: \"strong\" is not one of \"none\", \"ldr\", \"hdr\", \"up2\""},
        {R"({"render": {"frames": 0}, )" + cam + "}", "render.frames: at least one frame"},
        {R"({"variables": {"tonemap_gamma": 2}, )" + cam + "}", "variables: unknown variable \"tonemap_gamma\""},
        {R"({"textures": {"t": {"size": [1, 1], "pixels": [[1, 1, 1]]}}, "materials": {"m": {"textures": {"color": [], "normal": ["t"]}}}, )" + cam + "}",
         "materials.m.textures.normal: every texture array needs the same number of textures"},
        {R"({"lights": [{"type": "sphere", "emission": [1, 1, 1]}], )" + cam + "}",
         "lights[0]: missing key \"radius\""},
        {R"({"variables": {"bg_colour": [1, 1, 1]}, )" + cam + "}",
         "variables: unknown variable \"bg_colour\""},
        {R"({"variables": {"path_seg_range": [2, -1]}, )" + cam + "}",
         "variables.path_seg_range[1]: expected a whole number"},
        {R"({"materials": {"m": {"colour": [1, 0, 0]}}, )" + cam + "}",
         "materials.m: unknown key \"colour\""},
        {R"({"materials": {"m": {"base_color": [1, 0]}}, )" + cam + "}",
         "materials.m.base_color: expected 3 numbers"},
        {R"({"materials": {"m": {"model": "plastic"}}, )" + cam + "}",
         "materials.m.model: \"plastic\" is not one of \"emitter\", \"conductor\", \"diffuse\", \"dielectric\""},
        {R"({"textures": {"t": {"file": "missing.png"}}, )" + cam + "}",
         "textures.t.file: cannot read image \"" + dir() + "missing.png\": Unable to open file"},
        {R"({"textures": {"t": {"size": [2, 2], "pixels": [[1, 1, 1]]}}, )" + cam + "}",
         "textures.t.pixels: expected width x height = 4 colours"},
        {R"({"geometry": [{"type": "mesh", "file": "missing.obj"}], )" + cam + "}",
         "geometry[0].file: cannot load OBJ \"" + dir() + "missing.obj\""},
        {R"({"geometry": [{"type": "mesh", "vertices": [[0, 0, 0], [1, 0, 0], [0, 1, 0]], "faces": [[0, 1, 3]]}], )" + cam + "}",
         "geometry[0].faces[0]: an index is past the 3 entries it indexes"},
        {R"({"geometry": [{"type": "particles", "material": "x", "centers": [[0, 0, 0]], "radius": 1}], )" + cam + "}",
         "geometry[0].material: no material named \"x\""},
        {R"({"geometry": [{"type": "particles", "centers": [[0, 0, 0]], "radii": [1, 2]}], )" + cam + "}",
         "geometry[0].radii: expected 1 radii"},
        {R"({"geometry": [{"type": "curves", "points": [[0, 0, 0], [1, 0, 0]], "radius": 1, "segments": [1]}], )" + cam + "}",
         "geometry[0].segments: segment 1 runs past the last point"},
        {R"({"geometry": [{"type": "cone"}], )" + cam + "}", "geometry[0].type: \"cone\" is not one of"},
        {R"({"lights": [{"type": "point", "emission": [1, 1, 1], "radius": 2}], )" + cam + "}",
         "lights[0]: unknown key \"radius\""},
        {R"({"postprocessing": [{"stage": "gamma", "gama": 2}], )" + cam + "}",
         "postprocessing[0]: unknown key \"gama\""},
        {R"({"camera": {"fov": "wide"}})", "camera.fov: expected a number"},
        {R"({"camera": {"miss": "nothing.cu::__miss__x"}})", "bad.json: camera: "},
        {"{}", "bad.json: top level: missing key \"camera\""},
    };
    for (const auto& c : cases)
        EXPECT_NE(complaint(c.first).find(c.second), std::string::npos)
            << "scene: " << c.first << "\nmessage: " << complaint(c.first) << "\nwanted: " << c.second;
    EXPECT_EQ(complaint("{" + cam + "}"), "");

    // The C entry point reports through its buffer.
    char error[4096] = {};
    EXPECT_EQ(SceneLoadFile((dir() + "nothing.json").c_str(), nullptr, error), 0u);
    EXPECT_EQ(std::string(error), "cannot open scene file \"" + dir() + "nothing.json\": No such file or directory");
}

TEST_F(SceneFile, MeshesAndTexturesReachTheLibraryAsWritten)
{
    // A quad in OBJ with texture coordinates and normals; a box scaled by 2,
    // turned 90 degrees about z and moved.
    write("quad.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
                      "vn 0 0 1\nf 1/1/1 2/2/1 3/3/1 4/4/1\n");
    const unsigned char rgba[] = {255, 0, 0, 255, 0, 255, 0, 255};
    std::string error;
    ASSERT_TRUE(render::writePng(dir() + "tex.png", 2, 1, 4, 8, rgba, error)) << error;
    write("good.json", R"({
      "render": {"size": [32, 16], "frames": 3},
      "textures": {"t": {"file": "tex.png"}},
      "materials": {"m": {"model": "conductor", "base_roughness": 0.2, "textures": {"color": ["t"]}}},
      "geometry": [{"type": "mesh", "name": "quad", "material": "m", "file": "quad.obj"},
                   {"type": "parallelepipeds", "name": "box", "corners": [[1, 1, 0]],
                    "a": [[1, 0, 0]], "b": [[0, 1, 0]], "c": [[0, 0, 1]],
                    "transform": {"scale": 2, "rotate": [90, 0, 0, 1], "translate": [0, -1, 1]}},
                   {"type": "parallelograms", "name": "mirrored", "corners": [[0, 0, 0]],
                    "a": [[1, 0, 0]], "b": [[0, 1, 0]], "transform": {"scale": [-1, 1, 1]}}],
      "camera": {"program": "thinlens", "aperture": 0.1}
    })");
    trevix7_scene_settings s;
    SceneDefaultSettings(&s);
    s.frames = 7;
    scene::Loaded l;
    t7test::printed([&] {
        ApiSetupLibraryDir(TREVIX7_BUILD_DIR);
        l = scene::load(dir() + "good.json", s);
    });
    ASSERT_NE(l.handle, 0u);
    const std::unique_ptr<void, std::function<void(void*)>> guard(
        &l, [&](void*) { ApiDestroyPathTracer(l.handle, nullptr); });
    char message[4096] = {};
    EXPECT_EQ(l.settings.width, 32u);
    EXPECT_EQ(l.settings.frames, 7u); // the caller's count wins
    ASSERT_EQ(l.geometry.size(), 3u);
    EXPECT_NE(l.geometry["quad"], l.geometry["box"]);

    // The transform moves points and turns edge vectors.
    float corner[3] = {}, a[3] = {};
    ASSERT_TRUE(ApiDownloadGeometryBuffer(l.handle, l.geometry["box"], 0, 1, corner, message)) << message;
    ASSERT_TRUE(ApiDownloadGeometryBuffer(l.handle, l.geometry["box"], 2, 1, a, message)) << message;
    const float wantCorner[3] = {-2, 1, 1}, wantA[3] = {0, 2, 0};
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(corner[i], wantCorner[i], 1e-6) << i;
        EXPECT_NEAR(a[i], wantA[i], 1e-6) << i;
    }
    // A mirror swaps the edges, so a x b still faces +z.
    ASSERT_TRUE(ApiDownloadGeometryBuffer(l.handle, l.geometry["mirrored"], 2, 1, a, message)) << message;
    EXPECT_TRUE(a[0] == 0 && a[1] == 1 && a[2] == 0) << a[0] << " " << a[1] << " " << a[2];
    EXPECT_GE(ApiLaunch(l.handle, 1, 0xFFFFFFFFu, message), 0) << message;
}

TEST(ImageFiles, PngAndExrReadBackAsWritten)
{
    std::string error;
    const unsigned char rgba8[] = {1, 2, 3, 4, 250, 251, 252, 253};
    ASSERT_TRUE(render::writePng(dir() + "8.png", 1, 2, 4, 8, rgba8, error)) << error;
    int w = 0, h = 0, c = 0;
    unsigned char* p8 = stbi_load((dir() + "8.png").c_str(), &w, &h, &c, 4);
    ASSERT_NE(p8, nullptr);
    EXPECT_EQ(w * 10 + h, 12);
    EXPECT_EQ(std::vector<unsigned char>(p8, p8 + 8), std::vector<unsigned char>(rgba8, rgba8 + 8));
    stbi_image_free(p8);

    const unsigned short grey16[] = {0x0102, 0xFFFE}; // host order in, big-endian in the file
    ASSERT_TRUE(render::writePng(dir() + "16.png", 2, 1, 1, 16, grey16, error)) << error;
    unsigned short* p16 = stbi_load_16((dir() + "16.png").c_str(), &w, &h, &c, 1);
    ASSERT_NE(p16, nullptr);
    EXPECT_EQ(p16[0], 0x0102);
    EXPECT_EQ(p16[1], 0xFFFE);
    stbi_image_free(p16);

    const float f[] = {0.5f, -1, 1e6f, 1, 0.25f, 2, 3, 0};
    ASSERT_TRUE(render::writeExr(dir() + "f.exr", 2, 1, f, error)) << error;
    float* back = nullptr;
    const char* message = nullptr;
    ASSERT_EQ(LoadEXR(&back, &w, &h, (dir() + "f.exr").c_str(), &message), TINYEXR_SUCCESS);
    EXPECT_EQ(std::vector<float>(back, back + 8), std::vector<float>(f, f + 8));
    free(back);

    EXPECT_FALSE(render::writePng("/nonexistent/x.png", 1, 1, 4, 8, rgba8, error));
    EXPECT_EQ(error, "cannot write \"/nonexistent/x.png\": No such file or directory");
}

} // namespace
