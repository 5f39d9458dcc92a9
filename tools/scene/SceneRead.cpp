// Reading a scene file into its description: the frame (render settings,
// shader variables, environment, camera, post-processing) here; textures,
// materials, lights and geometry in files of their own. No device is
// touched, so a scene can be checked anywhere.

#include "SceneImport.h"
#include "SceneLoader.h"
#include "SceneReader.h"

namespace scene {

namespace {

// The file's "render" object.
Settings settings(const Node& top)
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
    return s;
}

// The caller's overrides of the settings.
void override(Settings& s, const trevix7_scene_settings& o)
{
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
    s.display = o.display != 0;
}

bool isGltf(const std::string& path)
{
    const std::string ext = extension(path);
    return ext == "gltf" || ext == "glb";
}

} // namespace

void Reader::variables(const Node& n)
{
    // The variables no other key sets (the post-processing stages and the
    // denoiser keys set the rest).
    d.variablesPlace = n.place();
    for (const std::string& name : n.names()) {
        const Node v = n.member(name);
        if (name == "path_seg_range") {
            if (v.size() != 2)
                v.fail("expected 2 whole numbers");
            d.uint2Names.push_back(name);
            d.uint2s.push_back({v[0].count(), v[1].count()});
        } else if (name == "scene_epsilon") {
            d.floatNames.push_back(name);
            d.floats.push_back(v.number());
        } else if (name == "ambient_color" || name == "bg_color" || name == "bad_color") {
            d.float3Names.push_back(name);
            d.float3s.push_back(v.vec3());
        } else {
            n.fail("unknown variable \"" + name + "\"");
        }
    }
}

void Reader::environment(const Node& n)
{
    n.keys({"color", "texture", "ambient"});
    d.environmentPlace = n.place();
    d.background = n.vec3("color", {0, 0, 0});
    d.ambient = n.vec3("ambient", {0, 0, 0});
    if (n.has("texture"))
        d.environmentTexture = int(texture(n["texture"]));
}

void Reader::camera(const Node& n)
{
    n.keys({"program", "miss", "eye", "target", "up", "fov", "rxy", "cxy", "aperture", "focus",
            "blades", "blade_rotation", "filter", "blend", "textures"});
    Camera& c = d.camera;
    c.place = n.place();
    c.program = n.text("program", "pinhole");
    if (c.program == "pinhole" || c.program == "thinlens")
        c.program = "t7_camera.cu::__raygen__" + c.program;
    c.miss = n.text("miss", c.miss);
    if (n.has("textures"))
        for (size_t i = 0; i < n["textures"].size(); ++i)
            c.textures.push_back(texture(n["textures"][i]));
    c.eye = n.vec3("eye", c.eye);
    c.target = n.vec3("target", c.target);
    c.up = n.vec3("up", c.up);
    c.fov = n.number("fov", c.fov);
    c.rxy = n.number("rxy", c.rxy);
    c.cxy = n.vec2("cxy", c.cxy);
    c.aperture = n.number("aperture", 0);
    c.blades = n.number("blades", 0);
    c.focus = n.number("focus", 0);
    c.bladeRotation = n.number("blade_rotation", 0);
    c.filter = n.number("filter", 0);
    c.blend = n.number("blend", 0);
}

void Reader::postprocessing(const Node& n)
{
    for (size_t i = 0; i < n.size(); ++i) {
        const Node s = n[i];
        Stage x(s.place());
        const unsigned stage = s["stage"].choice(
            {"levels", "gamma", "tonemap_gray", "tonemap_rgb", "overlay_mul", "overlay_add"});
        x.algorithm = postprocAlgorithm(POSTPROC_LEVELS + stage);
        switch (x.algorithm) {
        case POSTPROC_LEVELS:
            s.keys({"stage", "low", "high"});
            x.low = s.vec3("low", {0, 0, 0});
            x.high = s.vec3("high", {1, 1, 1});
            break;
        case POSTPROC_GAMMA:
            s.keys({"stage", "gamma", "scale"});
            x.gamma = s.number("gamma", 2.2f);
            x.scale = s.number("scale", 1);
            break;
        case POSTPROC_TONEMAP_RGB:
            s.keys({"stage", "red", "green", "blue"});
            x.textures = {texture(s["red"]), texture(s["green"]), texture(s["blue"])};
            break;
        default: // the grey tone map and the overlays
            s.keys({"stage", "texture"});
            x.textures = {texture(s["texture"])};
            break;
        }
        d.stages.push_back(std::move(x));
    }
}

Description read(const std::string& path, const trevix7_scene_settings& overrides)
{
    if (isGltf(path)) {
        Description d = readGltfScene(path, overrides.camera_index);
        override(d.settings, overrides);
        return d;
    }
    const nlohmann::json json = parseFile(path);
    const Node top(json, path, "");
    top.keys({"render", "variables", "textures", "materials", "geometry", "lights",
              "environment", "camera", "postprocessing"});
    Description d;
    d.file = path;
    d.settings = settings(top);
    override(d.settings, overrides);
    const size_t slash = path.rfind('/');
    Reader r(d, slash == std::string::npos ? "" : path.substr(0, slash + 1));
    if (top.has("variables"))
        r.variables(top["variables"]);
    if (top.has("textures"))
        r.texturesSection(top["textures"]);
    r.environment(top.section("environment"));
    if (top.has("materials"))
        r.materialsSection(top["materials"]);
    if (top.has("geometry"))
        r.geometrySection(top["geometry"]);
    if (top.has("lights"))
        r.lights(top["lights"]);
    if (!top.has("camera"))
        top.fail("missing key \"camera\"");
    r.camera(top["camera"]);
    if (top.has("postprocessing"))
        r.postprocessing(top["postprocessing"]);
    else // the usual display gamma
        d.stages.push_back(Stage(top.place()));
    return d;
}

} // namespace scene
