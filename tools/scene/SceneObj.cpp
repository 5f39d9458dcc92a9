// OBJ meshes with their MTL materials.

#include "SceneImport.h"
#include "SceneReader.h"
#include "SceneTransform.h"

#include <tiny_obj_loader.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace scene {

namespace {

float largest(const tinyobj::real_t* c)
{
    return std::max(c[0], std::max(c[1], c[2]));
}

f3 colour(const tinyobj::real_t* c)
{
    return {c[0], c[1], c[2]};
}

// A Blinn-Phong exponent as our roughness: the microfacet width r * r is
// sqrt(2 / (Ns + 2)), the usual match of the two lobes.
float roughness(float shininess)
{
    return std::pow(2.0f / (std::max(shininess, 0.0f) + 2.0f), 0.25f);
}

// An MTL material as ours: emitters (Ke), glass (d < 1, or the refracting
// illumination models), metal (Ks at least Kd, or illum 3), diffuse under a
// clear coat (some Ks), or plain diffuse; map_Kd, and map_Bump (a height
// map, made a normal map) or norm.
Material material(Reader& r, const Node& file, const tinyobj::material_t& m, const std::string& dir)
{
    Material x;
    x.place = file.place() + " (material \"" + m.name + "\")";
    const bool glass = m.dissolve < 1 || m.illum == 4 || m.illum == 6 || m.illum == 7 || m.illum == 9;
    if (largest(m.emission) > 0) {
        const float e = largest(m.emission);
        x.flags = TREVIX7_MATERIAL_EMITTER;
        x.set("base_color", f3{m.emission[0] / e, m.emission[1] / e, m.emission[2] / e});
        x.set("light_emission", e);
    } else if (glass) {
        x.flags = TREVIX7_MATERIAL_DIELECTRIC;
        const float ior = m.ior > 1 ? m.ior : 1.5f;
        x.set("refraction_index", f3{ior, ior, ior});
        x.set("base_color", largest(m.transmittance) > 0 ? colour(m.transmittance) : f3{1, 1, 1});
        // The reader's Ns is 1 when the file gives none: glass is smooth unless it says.
        x.set("base_roughness", m.shininess > 1 ? roughness(m.shininess) : 0.0f);
    } else if (largest(m.specular) > 0 && (m.illum == 3 || largest(m.specular) >= largest(m.diffuse))) {
        x.flags = TREVIX7_MATERIAL_CONDUCTOR;
        x.set("base_color", colour(m.specular));
        x.set("base_roughness", roughness(m.shininess));
    } else {
        x.set("base_color", colour(m.diffuse));
        if (largest(m.specular) > 0) {
            x.set("reflectivity_index", 1.5f);
            x.set("base_roughness", roughness(m.shininess));
        }
    }
    auto image = [&](const std::string& name) { return dir + name; };
    if (!m.diffuse_texname.empty() && x.flags != TREVIX7_MATERIAL_EMITTER)
        x.textures[kColorTextures] = {r.imageFile(file, image(m.diffuse_texname), ImageUse::Colour)};
    if (!m.normal_texname.empty())
        x.textures[kNormalTextures] = {r.imageFile(file, image(m.normal_texname), ImageUse::Normal)};
    else if (!m.bump_texname.empty())
        x.textures[kNormalTextures] = {
            r.imageFile(file, image(m.bump_texname), ImageUse::Height, m.bump_texopt.bump_multiplier)};
    if (!x.textures[kColorTextures].empty() || !x.textures[kNormalTextures].empty())
        x.textureCount = 1;
    return x;
}

// The faces of `m` listed, with only the vertices, normals and coordinates they use.
Mesh part(const Mesh& m, const std::vector<size_t>& faces)
{
    Mesh out;
    std::map<unsigned, unsigned> v, n, t;
    auto take = [](std::map<unsigned, unsigned>& seen, unsigned i, auto& to, const auto& from) {
        const auto [it, added] = seen.emplace(i, unsigned(to.size()));
        if (added)
            to.push_back(from[i]);
        return it->second;
    };
    for (size_t f : faces) {
        const trevix7_uint3 a = m.faces[f];
        out.faces.push_back({take(v, a.x, out.vertices, m.vertices), take(v, a.y, out.vertices, m.vertices),
                             take(v, a.z, out.vertices, m.vertices)});
        if (!m.normals.empty()) {
            const trevix7_uint3 b = m.normalFaces[f];
            out.normalFaces.push_back({take(n, b.x, out.normals, m.normals), take(n, b.y, out.normals, m.normals),
                                       take(n, b.z, out.normals, m.normals)});
        }
        if (!m.uvs.empty()) {
            const trevix7_uint3 c = m.uvFaces[f];
            out.uvFaces.push_back({take(t, c.x, out.uvs, m.uvs), take(t, c.y, out.uvs, m.uvs),
                                   take(t, c.z, out.uvs, m.uvs)});
        }
    }
    return out;
}

} // namespace

// The OBJ file's triangles (polygons are split), with its normals and
// texture coordinates (v turned so that 0 is the image's top row), one
// geometry for each material its faces use.
void importObj(Reader& r, const Node& file, const std::string& path, const Transform& t,
               const Geometry& base)
{
    tinyobj::ObjReader reader;
    tinyobj::ObjReaderConfig config;
    config.triangulate = true;
    if (!reader.ParseFromFile(path, config))
        file.fail("cannot load OBJ \"" + path + "\": " + reader.Error());
    // A missing MTL file is only a warning to the reader: say so.
    const std::string& warning = reader.Warning();
    for (size_t at = warning.find("Material file [ "); at != std::string::npos;
         at = warning.find("Material file [ ", at + 1)) {
        const size_t name = at + 16, end = warning.find(" ]", name);
        r.d.warn(file.place() + ": the material file \"" + warning.substr(name, end - name) +
                 "\" of \"" + path + "\" was not found: its faces are grey");
    }
    const tinyobj::attrib_t& a = reader.GetAttrib();
    Mesh m;
    for (size_t i = 0; i + 2 < a.vertices.size(); i += 3)
        m.vertices.push_back({a.vertices[i], a.vertices[i + 1], a.vertices[i + 2]});
    for (size_t i = 0; i + 2 < a.normals.size(); i += 3)
        m.normals.push_back({a.normals[i], a.normals[i + 1], a.normals[i + 2]});
    for (size_t i = 0; i + 1 < a.texcoords.size(); i += 2)
        m.uvs.push_back({a.texcoords[i], 1 - a.texcoords[i + 1]});
    bool allNormals = !m.normals.empty(), allUvs = !m.uvs.empty();
    std::vector<int> materialOf;
    for (const tinyobj::shape_t& s : reader.GetShapes())
        for (size_t i = 0; i + 2 < s.mesh.indices.size(); i += 3) {
            const tinyobj::index_t* x = &s.mesh.indices[i];
            m.faces.push_back({unsigned(x[0].vertex_index), unsigned(x[1].vertex_index),
                               unsigned(x[2].vertex_index)});
            allNormals = allNormals && x[0].normal_index >= 0 && x[1].normal_index >= 0 && x[2].normal_index >= 0;
            allUvs = allUvs && x[0].texcoord_index >= 0 && x[1].texcoord_index >= 0 && x[2].texcoord_index >= 0;
            m.normalFaces.push_back({unsigned(x[0].normal_index), unsigned(x[1].normal_index),
                                     unsigned(x[2].normal_index)});
            m.uvFaces.push_back({unsigned(x[0].texcoord_index), unsigned(x[1].texcoord_index),
                                 unsigned(x[2].texcoord_index)});
            materialOf.push_back(s.mesh.material_ids.empty() ? -1 : s.mesh.material_ids[i / 3]);
        }
    if (m.faces.empty())
        file.fail("the OBJ file \"" + path + "\" has no faces");
    if (!allNormals)
        m.normals.clear(), m.normalFaces.clear();
    if (!allUvs)
        m.uvs.clear(), m.uvFaces.clear();
    // The reader only warns about indices past their arrays.
    const std::pair<const std::vector<trevix7_uint3>*, std::pair<size_t, const char*>> indexed[] = {
        {&m.faces, {m.vertices.size(), "vertices"}},
        {&m.normalFaces, {m.normals.size(), "normals"}},
        {&m.uvFaces, {m.uvs.size(), "texture coordinates"}}};
    for (const auto& [faces, limit] : indexed)
        for (const trevix7_uint3& f : *faces)
            if (std::max(f.x, std::max(f.y, f.z)) >= limit.first)
                file.fail("the OBJ file \"" + path + "\" has a face past its " +
                          std::to_string(limit.first) + " " + limit.second);
    transformMesh(t, m);

    // One part for each material used, in the order the file defines them;
    // a material the scene gives replaces them all.
    const std::vector<tinyobj::material_t>& materials = reader.GetMaterials();
    std::map<int, std::vector<size_t>> parts;
    for (size_t f = 0; f < m.faces.size(); ++f) {
        const int k = materialOf[f];
        parts[base.material >= 0 || k < 0 || size_t(k) >= materials.size() ? -1 : k].push_back(f);
    }
    const std::string dir = path.substr(0, path.rfind('/') + 1);
    bool first = true;
    for (const auto& [k, faces] : parts) {
        Geometry g = base;
        if (k >= 0) {
            r.d.materials.push_back(material(r, file, materials[size_t(k)], dir));
            g.material = int(r.d.materials.size() - 1);
        }
        if (!first && !base.name.empty())
            g.name = base.name + "." + (k >= 0 ? materials[size_t(k)].name : std::string("default"));
        g.mesh = parts.size() == 1 ? m : part(m, faces);
        r.d.geometry.push_back(std::move(g));
        first = false;
    }
}

std::string extension(const std::string& path)
{
    const size_t dot = path.rfind('.'), slash = path.rfind('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return "";
    std::string ext = path.substr(dot + 1);
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return ext;
}

void importMeshes(Reader& r, const Node& file, const std::string& path, const Transform& t,
                  const Geometry& base)
{
    const std::string ext = extension(path);
    if (ext == "gltf" || ext == "glb")
        importGltf(r, file, path, t, base);
    else
        importObj(r, file, path, t, base);
}

} // namespace scene
