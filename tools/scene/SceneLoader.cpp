// The scene file's frame: render settings, instance, shader variables,
// environment, camera and post-processing; the other sections have files
// of their own.

#include "SceneBuilder.h"

#include "trevix7_programs.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace scene {

namespace {

// Settings from the file's "render" object, then the caller's overrides.
Settings settings(const Node& top, const trevix7_scene_settings& o)
{
    Settings s;
    const Node r = top.section("render");
    r.keys({"size", "frames", "devices", "denoise", "denoise_guides", "denoise_start",
            "denoise_blend"});
    if (r.has("size")) {
        const Node size = r["size"];
        if (size.size() != 2)
            size.fail("expected [width, height]");
        s.width = size[0].count();
        s.height = size[1].count();
        if (!s.width || !s.height)
            size.fail("the size must not be zero");
    }
    s.frames = r.count("frames", s.frames);
    if (!s.frames)
        r["frames"].fail("at least one frame");
    if (r.has("devices"))
        s.devices = r["devices"].counts();
    if (r.has("denoise")) {
        const unsigned k = r["denoise"].choice({"none", "ldr", "hdr", "up2"});
        s.denoise = k ? int(POSTPROC_DENOISER_LDR + k - 1) : 0;
    }
    if (r.has("denoise_guides")) {
        static const OptixDenoiserInputKind kGuides[] = {OPTIX_DENOISER_INPUT_RGB,
                                                         OPTIX_DENOISER_INPUT_RGB_ALBEDO,
                                                         OPTIX_DENOISER_INPUT_RGB_ALBEDO_NORMAL};
        s.denoiseGuides = kGuides[r["denoise_guides"].choice({"none", "albedo", "albedo_normal"})];
    }
    s.denoiseStart = r.count("denoise_start", s.denoiseStart);
    s.denoiseBlend = r.number("denoise_blend", s.denoiseBlend);

    s.width = o.width ? o.width : s.width;
    s.height = o.height ? o.height : s.height;
    s.frames = o.frames ? o.frames : s.frames;
    if (o.devices)
        s.devices.assign(o.devices, o.devices + o.device_count);
    if (o.denoise >= 0) {
        if (o.denoise != 0 && (o.denoise < int(POSTPROC_DENOISER_LDR) || o.denoise > int(POSTPROC_DENOISER_UP2)))
            throw SceneError("the denoiser must be 0 or POSTPROC_DENOISER_LDR, _HDR or _UP2, not " +
                             std::to_string(o.denoise));
        s.denoise = o.denoise;
    }
    return s;
}

// The denoiser in front of the stages, with the guides it reads kept.
void denoiser(unsigned handle, const Settings& s)
{
    ApiSetPostprocDenoiser(handle, s.denoiseGuides, s.denoiseBlend, s.denoiseStart);
    ApiSetSaveAlbedoState(handle, s.denoiseGuides != OPTIX_DENOISER_INPUT_RGB);
    ApiSetSaveNormalsState(handle, s.denoiseGuides == OPTIX_DENOISER_INPUT_RGB_ALBEDO_NORMAL);
    ApiAddPostprocessing(handle, postprocAlgorithm(s.denoise));
}

} // namespace

void Builder::variables(const Node& n)
{
    // The variables no other key sets (the post-processing stages and the
    // denoiser keys set the rest).
    std::vector<const char*> uint2Names, floatNames, float3Names;
    std::vector<trevix7_uint2> uint2s;
    std::vector<float> floats;
    std::vector<trevix7_float3> float3s;
    const std::vector<std::string> names = n.names();
    for (const std::string& name : names) {
        const Node v = n.member(name);
        if (name == "path_seg_range") {
            if (v.size() != 2)
                v.fail("expected 2 whole numbers");
            uint2Names.push_back(name.c_str());
            uint2s.push_back({v[0].count(), v[1].count()});
        } else if (name == "scene_epsilon") {
            floatNames.push_back(name.c_str());
            floats.push_back(v.number());
        } else if (name == "ambient_color" || name == "bg_color" || name == "bad_color") {
            float3Names.push_back(name.c_str());
            float3s.push_back(v.vec3());
        } else {
            n.fail("unknown variable \"" + name + "\"");
        }
    }
    ApiUpdateVariables(handle, nullptr, nullptr, 0, nullptr, nullptr, 0, uint2Names.data(),
                       uint2s.data(), uint2s.size(), floatNames.data(), floats.data(),
                       floats.size(), nullptr, nullptr, 0, float3Names.data(), float3s.data(),
                       float3s.size());
}

void Builder::environmentColors(const Node& n)
{
    n.keys({"color", "texture", "ambient"});
    const char* names[] = {"bg_color", "ambient_color"};
    trevix7_float3 values[] = {n.vec3("color", {0, 0, 0}), n.vec3("ambient", {0, 0, 0})};
    ApiUpdateVariables(handle, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0,
                       nullptr, nullptr, 0, nullptr, nullptr, 0, names, values, 2);
}

void Builder::environmentTexture(const Node& n)
{
    if (n.has("texture"))
        check(ApiSetBackgroundTexture(handle, texture(n["texture"])), n["texture"]);
}

unsigned Builder::camera(const Node& n)
{
    n.keys({"program", "miss", "eye", "target", "up", "fov", "rxy", "cxy", "aperture", "focus",
            "blades", "blade_rotation", "filter", "blend", "textures"});
    std::string program = n.text("program", "pinhole");
    if (program == "pinhole" || program == "thinlens")
        program = "t7_camera.cu::__raygen__" + program;
    check(ApiSetMissProgram(handle, n.text("miss", "t7_miss.cu::__miss__environment").c_str(),
                            message),
          n);
    std::vector<unsigned> textures;
    if (n.has("textures"))
        for (size_t i = 0; i < n["textures"].size(); ++i)
            textures.push_back(texture(n["textures"][i]));
    const unsigned id = ApiSetupCamera(
        handle, program.c_str(), n.vec3("eye", {0, 0, 5}), n.vec3("target", {0, 0, 0}),
        n.vec3("up", {0, 1, 0}), n.number("fov", 45), n.number("rxy", 1), n.vec2("cxy", {0, 0}),
        n.number("aperture", 0), n.number("blades", 0), n.number("focus", 0),
        n.number("blade_rotation", 0), n.number("filter", 0), n.number("blend", 0), false,
        textures.data(), unsigned(textures.size()));
    check(id != 0 && ApiSetCurrentCamera(handle, id, message), n);
    return id;
}

void Builder::postprocessing(const Node& n)
{
    for (size_t i = 0; i < n.size(); ++i) {
        const Node s = n[i];
        const unsigned stage = s["stage"].choice(
            {"levels", "gamma", "tonemap_gray", "tonemap_rgb", "overlay_mul", "overlay_add"});
        const postprocAlgorithm algorithm = postprocAlgorithm(POSTPROC_LEVELS + stage);
        switch (algorithm) {
        case POSTPROC_LEVELS: {
            s.keys({"stage", "low", "high"});
            const trevix7_float3 low = s.vec3("low", {0, 0, 0}), high = s.vec3("high", {1, 1, 1});
            ApiSetPostprocLevels(handle, &low, &high);
            break;
        }
        case POSTPROC_GAMMA:
            s.keys({"stage", "gamma", "scale"});
            ApiSetPostprocGamma(handle, s.number("gamma", 2.2f), s.number("scale", 1));
            break;
        case POSTPROC_TONEMAP_GRAY:
            s.keys({"stage", "texture"});
            check(ApiSetPostprocTonemapGrayTexture(handle, texture(s["texture"])), s);
            break;
        case POSTPROC_TONEMAP_RGB:
            s.keys({"stage", "red", "green", "blue"});
            check(ApiSetPostprocTonemapRedTexture(handle, texture(s["red"])) &&
                      ApiSetPostprocTonemapGreenTexture(handle, texture(s["green"])) &&
                      ApiSetPostprocTonemapBlueTexture(handle, texture(s["blue"])),
                  s);
            break;
        case POSTPROC_OVERLAY_MUL:
            s.keys({"stage", "texture"});
            check(ApiSetPostprocMulTexture(handle, texture(s["texture"])), s);
            break;
        default:
            s.keys({"stage", "texture"});
            check(ApiSetPostprocAddTexture(handle, texture(s["texture"])), s);
            break;
        }
        ApiAddPostprocessing(handle, algorithm);
    }
}

Loaded load(const std::string& path, const trevix7_scene_settings& overrides)
{
    const nlohmann::json json = parseFile(path);
    const Node top(json, path, "");
    top.keys({"render", "variables", "textures", "materials", "geometry", "lights",
              "environment", "camera", "postprocessing"});
    Loaded out;
    out.settings = settings(top, overrides);
    const Settings& s = out.settings;

    Builder b;
    const size_t slash = path.rfind('/');
    b.dir = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    b.handle = ApiCreatePathTracer(s.width, s.height, READBACK_RGBA8, nullptr, nullptr, 0, nullptr,
                                   nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr,
                                   nullptr, 0, nullptr, nullptr, 0, s.devices.data(),
                                   unsigned(s.devices.size()), 0, b.message);
    if (!b.handle)
        throw SceneError(b.message[0] ? b.message : "the renderer could not be created");
    try {
        // The environment's colours (black unless given) before the
        // variables, which may name them too.
        const Node environment = top.section("environment");
        b.environmentColors(environment);
        if (top.has("variables"))
            b.variables(top["variables"]);
        if (top.has("textures"))
            b.texturesSection(top["textures"]);
        if (top.has("materials"))
            b.materialsSection(top["materials"]);
        if (top.has("geometry"))
            b.geometrySection(top["geometry"]);
        if (top.has("lights"))
            b.lights(top["lights"]);
        b.environmentTexture(environment);
        if (!top.has("camera"))
            top.fail("missing key \"camera\"");
        out.camera = b.camera(top["camera"]);
        if (s.denoise)
            denoiser(b.handle, s);
        if (top.has("postprocessing")) {
            b.postprocessing(top["postprocessing"]);
        } else { // the usual display gamma
            ApiSetPostprocGamma(b.handle, 2.2f, 1.0f);
            ApiAddPostprocessing(b.handle, POSTPROC_GAMMA);
        }
    } catch (...) {
        ApiDestroyPathTracer(b.handle, nullptr);
        throw;
    }
    out.handle = b.handle;
    out.geometry = b.geometry;
    return out;
}

} // namespace scene

void SceneDefaultSettings(trevix7_scene_settings* settings)
{
    if (!settings)
        return;
    std::memset(settings, 0, sizeof(*settings));
    settings->denoise = -1;
}

unsigned int SceneLoadFile(const char* path, trevix7_scene_settings* settings, char* error)
{
    trevix7_scene_settings defaults;
    SceneDefaultSettings(&defaults);
    try {
        const scene::Loaded l = scene::load(path ? path : "", settings ? *settings : defaults);
        if (settings) {
            settings->width = l.settings.width;
            settings->height = l.settings.height;
            settings->frames = l.settings.frames;
            settings->denoise = l.settings.denoise;
            settings->camera = l.camera;
        }
        return l.handle;
    } catch (const std::exception& e) {
        if (error)
            std::snprintf(error, 4096, "%s", e.what());
    } catch (...) {
        if (error)
            std::snprintf(error, 4096, "the scene could not be loaded");
    }
    return 0;
}
