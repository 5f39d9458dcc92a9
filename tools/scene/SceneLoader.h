#pragma once
// Reads a scene file into a new renderer instance through the library's
// exported interface.

#include "trevix7_scene.h"

#include <map>
#include <string>
#include <vector>

namespace scene {

// The file's render settings, after the caller's overrides.
struct Settings {
    unsigned width = 640, height = 480, frames = 64;
    std::vector<unsigned> devices; // empty: every capable GPU
    int denoise = 0;               // 0 or POSTPROC_DENOISER_*
    OptixDenoiserInputKind denoiseGuides = OPTIX_DENOISER_INPUT_RGB_ALBEDO_NORMAL;
    unsigned denoiseStart = 1;
    float denoiseBlend = 0;
};

struct Loaded {
    unsigned handle = 0;
    unsigned camera = 0;
    Settings settings;
    std::map<std::string, unsigned> geometry; // named geometries' ids
};

// Throws SceneError; on failure the instance is destroyed again.
Loaded load(const std::string& path, const trevix7_scene_settings& overrides);

} // namespace scene
