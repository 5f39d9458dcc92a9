// The scene reader's C interface (trevix7_scene.h).

#include "SceneJson.h"
#include "SceneLoader.h"

#include <cstdio>
#include <cstring>
#include <memory>

struct trevix7_scene {
    scene::Description description;
};

namespace {

void report(char* error, const char* text)
{
    if (error)
        std::snprintf(error, 4096, "%s", text);
}

// The call's result, or its failure's text in `error`.
template <typename T, typename F> T guarded(char* error, T failed, F&& body)
{
    try {
        return body();
    } catch (const std::exception& e) {
        report(error, e.what());
    } catch (...) {
        report(error, "the scene could not be loaded");
    }
    return failed;
}

void warnings(const scene::Description& d)
{
    for (const std::string& w : d.warnings)
        std::fprintf(stderr, "warning: %s\n", w.c_str());
}

void settingsOut(trevix7_scene_settings* out, const scene::Settings& s)
{
    if (!out)
        return;
    out->width = s.width;
    out->height = s.height;
    out->frames = s.frames;
    out->denoise = s.denoise;
}

trevix7_scene_settings overridesOf(const trevix7_scene_settings* settings)
{
    trevix7_scene_settings s;
    SceneDefaultSettings(&s);
    return settings ? *settings : s;
}

} // namespace

void SceneDefaultSettings(trevix7_scene_settings* settings)
{
    if (!settings)
        return;
    std::memset(settings, 0, sizeof(*settings));
    settings->denoise = -1;
    settings->display = 1;
    settings->camera_index = -1;
}

trevix7_scene* SceneRead(const char* path, trevix7_scene_settings* settings, char* error)
{
    return guarded<trevix7_scene*>(error, nullptr, [&] {
        auto s = std::make_unique<trevix7_scene>();
        s->description = scene::read(path ? path : "", overridesOf(settings));
        warnings(s->description);
        settingsOut(settings, s->description.settings);
        return s.release();
    });
}

unsigned int SceneBuild(const trevix7_scene* scene, trevix7_scene_settings* settings, char* error)
{
    if (!scene) {
        report(error, "scene must not be null.");
        return 0;
    }
    return guarded<unsigned>(error, 0u, [&] {
        const scene::Loaded l = scene::build(scene->description);
        if (settings)
            settings->camera = l.camera;
        return l.handle;
    });
}

void SceneFree(trevix7_scene* scene)
{
    delete scene;
}

unsigned int SceneLoadFile(const char* path, trevix7_scene_settings* settings, char* error)
{
    return guarded<unsigned>(error, 0u, [&] {
        const scene::Description d = scene::read(path ? path : "", overridesOf(settings));
        warnings(d);
        const scene::Loaded l = scene::build(d);
        settingsOut(settings, l.settings);
        if (settings)
            settings->camera = l.camera;
        return l.handle;
    });
}

void SceneSummary(const trevix7_scene* scene, char* text, unsigned int size)
{
    if (!scene || !text || !size)
        return;
    const scene::Description& d = scene->description;
    auto count = [](size_t n, const char* one, const char* many) {
        return std::to_string(n) + " " + (n == 1 ? one : many);
    };
    const std::string line = std::to_string(d.settings.width) + " x " + std::to_string(d.settings.height) + ", " +
                             count(d.settings.frames, "frame", "frames") + ", " +
                             count(d.geometry.size(), "geometry", "geometries") + ", " +
                             count(d.materials.size(), "material", "materials") + ", " +
                             count(d.textures.size(), "texture", "textures") + ", " +
                             count(d.lights.size(), "light", "lights");
    std::snprintf(text, size, "%s", line.c_str());
}
