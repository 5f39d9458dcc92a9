#pragma once
// Meshes from other formats: OBJ with its MTL materials, and glTF 2.0
// (.gltf, .glb) with its materials, textures and punctual lights.

#include "SceneDescription.h"

#include <string>

namespace scene {

class Node;
struct Reader;
struct Transform;

// A file name's extension, in lower case, without its dot ("" for none).
std::string extension(const std::string& path);

// Points and normals through `t`; a mirror keeps the faces' winding.
void transformMesh(const Transform& t, Mesh& m);

// The meshes of the file at `path` (named at `file`), by its extension,
// through `t`, as geometries that take `base`'s name, material (when it has
// one: then it replaces the file's) and colour. A file of several parts
// names the first `name` and each other `name.<part>`.
void importMeshes(Reader& r, const Node& file, const std::string& path, const Transform& t,
                  const Geometry& base);

// OBJ: one geometry for each material its faces use.
void importObj(Reader& r, const Node& file, const std::string& path, const Transform& t,
               const Geometry& base);

// glTF: every mesh of the default scene's nodes, and its punctual lights.
void importGltf(Reader& r, const Node& file, const std::string& path, const Transform& t,
                const Geometry& base);

// A whole scene from a glTF file: its meshes, materials, lights and camera
// (`camera`: the camera's index in the file, or -1 for the first one), with
// a grey sky when it has no lights.
Description readGltfScene(const std::string& path, int camera);

} // namespace scene
