#pragma once
// Scene files into renderer instances through the library's exported
// interface, in two steps: reading (and checking) the files into a
// description, with no device touched; then building that in an instance.

#include "SceneDescription.h"
#include "trevix7_scene.h"

#include <map>
#include <string>

namespace scene {

struct Loaded {
    unsigned handle = 0;
    unsigned camera = 0;
    Settings settings;
    std::map<std::string, unsigned> geometry; // named geometries' ids
};

// A scene file (JSON, or a whole glTF file) with the caller's overrides.
// Throws SceneError.
Description read(const std::string& path, const trevix7_scene_settings& overrides);

// A new instance holding the scene, its camera current. Throws SceneError;
// on failure the instance is destroyed again.
Loaded build(const Description& d);

inline Loaded load(const std::string& path, const trevix7_scene_settings& overrides)
{
    return build(read(path, overrides));
}

} // namespace scene
