// glTF 2.0 files (.gltf with its buffers and images, or .glb): the meshes of
// the default scene's nodes through their transforms, metallic-roughness
// materials with their textures, punctual lights and perspective cameras.
// What a file uses that we cannot render gets one warning for each kind.

#include "SceneImport.h"
#include "SceneReader.h"
#include "SceneTransform.h"

#include <tiny_gltf.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace scene {

namespace {

using tinygltf::Model;

Model load(const Node& file, const std::string& path);

// A file being imported: the model, and what was made of it once.
struct Import {
    Import(Reader& reader, const Node& at, const std::string& name)
        : r(reader), file(at), path(name), model(load(at, name))
    {
    }

    Reader& r;
    const Node& file;
    std::string path;
    Model model;
    std::map<int, int> materials;                      // glTF material -> ours
    std::map<std::pair<int, int>, Mesh> primitives;    // (mesh, primitive) -> its triangles
    std::vector<std::pair<Transform, int>> cameras;    // each camera node: its transform and camera
    bool named = false;                                // the first geometry took the scene's name

    [[noreturn]] void fail(const std::string& what) const { file.fail("glTF \"" + path + "\": " + what); }
    void warn(const std::string& what) { r.d.warn(file.place() + ": glTF \"" + path + "\": " + what); }
};

Model load(const Node& file, const std::string& path)
{
    tinygltf::TinyGLTF loader;
    Model model;
    std::string error, warning;
    const bool ok = extension(path) == "glb" ? loader.LoadBinaryFromFile(&model, &error, &warning, path)
                           : loader.LoadASCIIFromFile(&model, &error, &warning, path);
    if (!ok) {
        error.erase(error.find_last_not_of("\n ") + 1);
        file.fail("cannot load glTF \"" + path + "\": " + (error.empty() ? "not a glTF file" : error));
    }
    return model;
}

// The buffer under accessor `index`, once its `count` elements of `element`
// bytes (at its view's stride) are known to lie inside its view, and the
// view inside the buffer.
const std::vector<unsigned char>& view(Import& in, int index, size_t element, size_t count)
{
    const Model& m = in.model;
    const tinygltf::Accessor& a = m.accessors[size_t(index)];
    if (a.bufferView < 0 || size_t(a.bufferView) >= m.bufferViews.size())
        in.fail("accessor " + std::to_string(index) + " has no buffer view");
    const tinygltf::BufferView& v = m.bufferViews[size_t(a.bufferView)];
    if (v.buffer < 0 || size_t(v.buffer) >= m.buffers.size())
        in.fail("buffer view " + std::to_string(a.bufferView) + " has no buffer");
    const std::vector<unsigned char>& data = m.buffers[size_t(v.buffer)].data;
    const size_t stride = v.byteStride ? v.byteStride : element;
    if (v.byteOffset > data.size() || v.byteLength > data.size() - v.byteOffset || stride < element)
        in.fail("buffer view " + std::to_string(a.bufferView) + " runs past its buffer");
    // Element count - 1 steps of the stride, and one element, from the offset.
    const size_t room = v.byteLength >= a.byteOffset ? v.byteLength - a.byteOffset : 0;
    if (count && (room < element || (count - 1) > (room - element) / stride))
        in.fail("accessor " + std::to_string(index) + " runs past its buffer view");
    return data;
}

// The values of an accessor as floats, `components` of them an element
// (floats, or normalised integers), checked against its buffer.
std::vector<float> floats(Import& in, int index, int components)
{
    const Model& m = in.model;
    if (index < 0 || size_t(index) >= m.accessors.size())
        in.fail("accessor " + std::to_string(index) + " does not exist");
    const tinygltf::Accessor& a = m.accessors[size_t(index)];
    if (tinygltf::GetNumComponentsInType(uint32_t(a.type)) != components)
        in.fail("accessor " + std::to_string(index) + " has the wrong type for its use");
    if (a.sparse.isSparse)
        in.warn("sparse accessors are not read: their base values are used");
    if (a.bufferView < 0) {
        if (a.count > (size_t(1) << 28))
            in.fail("accessor " + std::to_string(index) + " is too long");
        return std::vector<float>(a.count * size_t(components), 0.0f);
    }
    const int bytes = tinygltf::GetComponentSizeInBytes(uint32_t(a.componentType));
    if (bytes <= 0)
        in.fail("accessor " + std::to_string(index) + " is malformed");
    const size_t element = size_t(bytes) * size_t(components);
    const std::vector<unsigned char>& data = view(in, index, element, a.count);
    const tinygltf::BufferView& v = m.bufferViews[size_t(a.bufferView)];
    const size_t stride = v.byteStride ? v.byteStride : element;
    const size_t start = v.byteOffset + a.byteOffset;
    std::vector<float> out(a.count * size_t(components), 0.0f);
    for (size_t i = 0; i < a.count; ++i)
        for (int c = 0; c < components; ++c) {
            const unsigned char* p = &data[start + i * stride + size_t(c) * size_t(bytes)];
            float value = 0;
            switch (a.componentType) {
            case TINYGLTF_COMPONENT_TYPE_FLOAT: std::memcpy(&value, p, 4); break;
            case TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE: value = *p / 255.0f; break;
            case TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT: {
                unsigned short s;
                std::memcpy(&s, p, 2);
                value = s / 65535.0f;
                break;
            }
            default: in.fail("accessor " + std::to_string(index) + " has a component type we do not read");
            }
            out[i * size_t(components) + size_t(c)] = value;
        }
    return out;
}

std::vector<unsigned> indices(Import& in, int index)
{
    const Model& m = in.model;
    if (index < 0 || size_t(index) >= m.accessors.size())
        in.fail("accessor " + std::to_string(index) + " does not exist");
    const tinygltf::Accessor& a = m.accessors[size_t(index)];
    const int bytes = tinygltf::GetComponentSizeInBytes(uint32_t(a.componentType));
    if (a.type != TINYGLTF_TYPE_SCALAR || (a.componentType != TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE &&
                                           a.componentType != TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT &&
                                           a.componentType != TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT))
        in.fail("index accessor " + std::to_string(index) + " is not of unsigned whole numbers");
    const std::vector<unsigned char>& data = view(in, index, size_t(bytes), a.count);
    const tinygltf::BufferView& v = m.bufferViews[size_t(a.bufferView)];
    const size_t stride = v.byteStride ? v.byteStride : size_t(bytes), start = v.byteOffset + a.byteOffset;
    std::vector<unsigned> out(a.count);
    for (size_t i = 0; i < a.count; ++i) {
        unsigned value = 0;
        std::memcpy(&value, &data[start + i * stride], size_t(bytes)); // little-endian
        out[i] = value;
    }
    return out;
}

// The triangles of one primitive, in the mesh's own space.
Mesh triangles(Import& in, int meshIndex, int primitiveIndex)
{
    const auto key = std::make_pair(meshIndex, primitiveIndex);
    const auto found = in.primitives.find(key);
    if (found != in.primitives.end())
        return found->second;
    const tinygltf::Primitive& p = in.model.meshes[size_t(meshIndex)].primitives[size_t(primitiveIndex)];
    Mesh m;
    const auto position = p.attributes.find("POSITION");
    if (position == p.attributes.end())
        in.fail("mesh " + std::to_string(meshIndex) + " has a primitive without positions");
    const std::vector<float> v = floats(in, position->second, 3);
    for (size_t i = 0; i < v.size(); i += 3)
        m.vertices.push_back({v[i], v[i + 1], v[i + 2]});
    std::vector<unsigned> order;
    if (p.indices >= 0) {
        order = indices(in, p.indices);
    } else {
        order.resize(m.vertices.size());
        for (size_t i = 0; i < order.size(); ++i)
            order[i] = unsigned(i);
    }
    for (size_t i = 0; i + 2 < order.size(); i += 3) {
        if (std::max(order[i], std::max(order[i + 1], order[i + 2])) >= m.vertices.size())
            in.fail("mesh " + std::to_string(meshIndex) + " has an index past its " +
                    std::to_string(m.vertices.size()) + " vertices");
        m.faces.push_back({order[i], order[i + 1], order[i + 2]});
    }
    const auto normal = p.attributes.find("NORMAL");
    if (normal != p.attributes.end()) {
        const std::vector<float> n = floats(in, normal->second, 3);
        for (size_t i = 0; i < n.size(); i += 3)
            m.normals.push_back({n[i], n[i + 1], n[i + 2]});
        if (m.normals.size() == m.vertices.size())
            m.normalFaces = m.faces;
        else
            m.normals.clear();
    }
    const auto uv = p.attributes.find("TEXCOORD_0");
    if (uv != p.attributes.end()) {
        const std::vector<float> t = floats(in, uv->second, 2);
        for (size_t i = 0; i < t.size(); i += 2)
            m.uvs.push_back({t[i], t[i + 1]}); // glTF's v = 0 is the image's top row, as ours
        if (m.uvs.size() == m.vertices.size())
            m.uvFaces = m.faces;
        else
            m.uvs.clear();
    }
    for (const char* unused : {"TEXCOORD_1", "COLOR_0", "JOINTS_0", "WEIGHTS_0"})
        if (p.attributes.count(unused))
            in.warn(std::string("the attribute ") + unused + " is not rendered");
    if (!p.targets.empty())
        in.warn("morph targets are not rendered: meshes keep their base shape");
    return in.primitives[key] = m;
}

// The texture of a glTF texture index for `use`, or -1.
int texture(Import& in, int index, ImageUse use, float strength = 1)
{
    const Model& m = in.model;
    if (index < 0)
        return -1;
    if (size_t(index) >= m.textures.size() || m.textures[size_t(index)].source < 0 ||
        size_t(m.textures[size_t(index)].source) >= m.images.size())
        in.fail("texture " + std::to_string(index) + " has no image");
    const tinygltf::Texture& t = m.textures[size_t(index)];
    const tinygltf::Image& image = m.images[size_t(t.source)];
    if (image.image.empty() || image.component != 4 || (image.bits != 8 && image.bits != 16))
        in.fail("image " + std::to_string(t.source) + " could not be decoded");
    Texture rgba;
    rgba.place = in.file.place();
    rgba.width = image.width;
    rgba.height = image.height;
    rgba.bits = image.bits;
    rgba.pixels = image.image;
    if (t.sampler >= 0 && size_t(t.sampler) < m.samplers.size()) {
        const int wrap = m.samplers[size_t(t.sampler)].wrapS;
        if (m.samplers[size_t(t.sampler)].wrapT != wrap)
            in.warn("textures wrap alike in u and v here: wrapS is used for both");
        rgba.address = wrap == TINYGLTF_TEXTURE_WRAP_CLAMP_TO_EDGE       ? 1
                       : wrap == TINYGLTF_TEXTURE_WRAP_MIRRORED_REPEAT ? 2
                                                                         : 0;
    }
    const std::string key = in.path + "#image" + std::to_string(t.source) + "/" + std::to_string(rgba.address);
    return int(in.r.image(key, rgba, use, strength));
}

double number(const tinygltf::Value& object, const char* key, double fallback)
{
    return object.IsObject() && object.Has(key) && object.Get(key).IsNumber()
               ? object.Get(key).GetNumberAsDouble()
               : fallback;
}

// A metallic-roughness material as ours: metal, Lambertian with a metalness
// texture between, glass (transmission), an emitter (emission), or
// Lambertian under a clear coat.
int material(Import& in, int index)
{
    if (index < 0)
        return -1;
    const auto found = in.materials.find(index);
    if (found != in.materials.end())
        return found->second;
    if (size_t(index) >= in.model.materials.size())
        in.fail("material " + std::to_string(index) + " does not exist");
    const tinygltf::Material& g = in.model.materials[size_t(index)];
    const tinygltf::PbrMetallicRoughness& pbr = g.pbrMetallicRoughness;
    Material x;
    x.place = in.file.place() + " (glTF material \"" + (g.name.empty() ? std::to_string(index) : g.name) + "\")";
    const std::vector<double>& c = pbr.baseColorFactor;
    const f3 base = c.size() >= 3 ? f3{float(c[0]), float(c[1]), float(c[2])} : f3{1, 1, 1};
    x.set("base_color", base);
    x.set("base_roughness", float(pbr.roughnessFactor));
    auto ext = [&](const char* name) -> const tinygltf::Value* {
        const auto e = g.extensions.find(name);
        return e == g.extensions.end() ? nullptr : &e->second;
    };
    for (const auto& [name, value] : g.extensions)
        if (name != "KHR_materials_emissive_strength" && name != "KHR_materials_transmission" &&
            name != "KHR_materials_ior" && name != "KHR_materials_clearcoat")
            in.warn("the material extension " + name + " is not rendered");
    if (g.alphaMode != "OPAQUE")
        in.warn("alpha mode " + g.alphaMode + " is not rendered: surfaces are opaque");
    if (g.occlusionTexture.index >= 0)
        in.warn("occlusion textures are not used: the path tracer finds occlusion itself");
    for (const int texCoord : {pbr.baseColorTexture.index >= 0 ? pbr.baseColorTexture.texCoord : 0,
                               pbr.metallicRoughnessTexture.index >= 0 ? pbr.metallicRoughnessTexture.texCoord : 0,
                               g.normalTexture.index >= 0 ? g.normalTexture.texCoord : 0})
        if (texCoord != 0)
            in.warn("textures on TEXCOORD_1 are not rendered: TEXCOORD_0 is used");

    const float ior = float(ext("KHR_materials_ior") ? number(*ext("KHR_materials_ior"), "ior", 1.5) : 1.5);
    const float transmission =
        float(ext("KHR_materials_transmission") ? number(*ext("KHR_materials_transmission"), "transmissionFactor", 0) : 0);
    const float strength =
        float(ext("KHR_materials_emissive_strength") ? number(*ext("KHR_materials_emissive_strength"), "emissiveStrength", 1) : 1);
    f3 emission = {0, 0, 0};
    if (g.emissiveTexture.index >= 0)
        in.warn("emissive textures are not rendered: such surfaces do not shine");
    else if (g.emissiveFactor.size() == 3)
        emission = {float(g.emissiveFactor[0]) * strength, float(g.emissiveFactor[1]) * strength,
                    float(g.emissiveFactor[2]) * strength};
    const float emitted = std::max(emission.x, std::max(emission.y, emission.z));
    const float metallic = float(pbr.metallicFactor);
    bool colourTexture = true;
    if (emitted > 0) {
        Material plain;
        plain.place = x.place;
        x = plain;
        x.flags = TREVIX7_MATERIAL_EMITTER;
        x.set("base_color", f3{emission.x / emitted, emission.y / emitted, emission.z / emitted});
        x.set("light_emission", emitted);
        colourTexture = false;
        in.warn("emissive materials reflect no light: they are rendered as emitters");
    } else if (transmission > 0) {
        x.flags = TREVIX7_MATERIAL_DIELECTRIC;
        x.set("refraction_index", f3{ior, ior, ior});
        if (transmission < 1)
            in.warn("partial transmission is rendered as full transmission");
        if (ext("KHR_materials_transmission")->Has("transmissionTexture"))
            in.warn("transmission textures are not rendered: the transmission factor is used");
    } else if (pbr.metallicRoughnessTexture.index < 0 && metallic >= 1) {
        x.flags = TREVIX7_MATERIAL_CONDUCTOR;
    } else {
        x.flags = TREVIX7_MATERIAL_DIFFUSE;
        // Between metal and not, a metalness texture blends the two.
        if (pbr.metallicRoughnessTexture.index >= 0)
            x.textures[kMetalnessTextures] = {
                unsigned(texture(in, pbr.metallicRoughnessTexture.index, ImageUse::Metalness, metallic))};
        else if (metallic > 0) {
            Texture constant;
            constant.place = x.place;
            constant.width = constant.height = 1;
            const unsigned char v = (unsigned char)(metallic * 255 + 0.5f);
            constant.pixels = {v, v, v, 255};
            x.textures[kMetalnessTextures] = {
                in.r.image(in.path + "#metalness" + std::to_string(v), constant, ImageUse::Data)};
        }
    }
    if (const tinygltf::Value* coat = ext("KHR_materials_clearcoat"); coat && number(*coat, "clearcoatFactor", 0) > 0) {
        // Our coat covers diffuse surfaces fully, with the base's roughness.
        if (x.flags == TREVIX7_MATERIAL_DIFFUSE)
            x.set("reflectivity_index", 1.5f); // the coat's index, fixed by the extension
        else
            in.warn("clear coats are rendered on surfaces that are not metal, glass or emitters only");
        if (number(*coat, "clearcoatFactor", 0) < 1 || coat->Has("clearcoatRoughnessFactor") ||
            coat->Has("clearcoatTexture") || coat->Has("clearcoatRoughnessTexture") || coat->Has("clearcoatNormalTexture"))
            in.warn("clear coats are rendered whole and as rough as the base, without their textures");
    }
    if (emitted <= 0 && pbr.metallicRoughnessTexture.index >= 0)
        x.textures[kRoughnessTextures] = {unsigned(texture(in, pbr.metallicRoughnessTexture.index, ImageUse::Roughness))};
    if (colourTexture && pbr.baseColorTexture.index >= 0)
        x.textures[kColorTextures] = {unsigned(texture(in, pbr.baseColorTexture.index, ImageUse::Colour))};
    if (emitted <= 0 && g.normalTexture.index >= 0) {
        x.textures[kNormalTextures] = {unsigned(texture(in, g.normalTexture.index, ImageUse::Normal))};
        x.set("normaltilt_iar", float(g.normalTexture.scale));
    }
    for (const auto& each : x.textures)
        x.textureCount = std::max(x.textureCount, each.size());
    in.r.d.materials.push_back(std::move(x));
    return in.materials[index] = int(in.r.d.materials.size() - 1);
}

Transform local(const tinygltf::Node& n)
{
    if (n.matrix.size() == 16)
        return Transform::columns(n.matrix.data());
    double m[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    const double x = n.rotation.size() == 4 ? n.rotation[0] : 0, y = n.rotation.size() == 4 ? n.rotation[1] : 0,
                 z = n.rotation.size() == 4 ? n.rotation[2] : 0, w = n.rotation.size() == 4 ? n.rotation[3] : 1;
    const double r[3][3] = {{1 - 2 * (y * y + z * z), 2 * (x * y - z * w), 2 * (x * z + y * w)},
                            {2 * (x * y + z * w), 1 - 2 * (x * x + z * z), 2 * (y * z - x * w)},
                            {2 * (x * z - y * w), 2 * (y * z + x * w), 1 - 2 * (x * x + y * y)}};
    for (int col = 0; col < 3; ++col) {
        const double s = n.scale.size() == 3 ? n.scale[size_t(col)] : 1;
        for (int row = 0; row < 3; ++row)
            m[col * 4 + row] = r[row][col] * s;
    }
    for (int row = 0; row < 3; ++row)
        m[12 + row] = n.translation.size() == 3 ? n.translation[size_t(row)] : 0;
    return Transform::columns(m);
}

// Our light of a KHR_lights_punctual light at a node (it shines down its -z).
void light(Import& in, const tinygltf::Light& l, const Transform& t)
{
    trevix7_light_record r;
    std::memset(&r, 0, sizeof(r));
    const float k = float(l.intensity);
    r.light.emission = l.color.size() == 3 ? f3{float(l.color[0]) * k, float(l.color[1]) * k, float(l.color[2]) * k}
                                           : f3{k, k, k};
    r.light.position = t.point({0, 0, 0});
    r.light.direction = t.vector({0, 0, -1});
    if (l.type == "spot") {
        r.light.type = TREVIX7_LIGHT_SPOT;
        r.light.cos_inner = float(std::cos(l.spot.innerConeAngle));
        r.light.cos_outer = float(std::cos(l.spot.outerConeAngle));
    } else {
        r.light.type = l.type == "directional" ? TREVIX7_LIGHT_DIRECTIONAL : TREVIX7_LIGHT_POINT;
    }
    if (l.range > 0)
        in.warn("light ranges are not rendered: lights reach everywhere");
    in.r.d.lights.push_back(r.data);
}

// A node and its children: their meshes through `parent`, lights and camera places.
void visit(Import& in, int index, const Transform& parent, const Geometry& base, int depth)
{
    const Model& m = in.model;
    if (index < 0 || size_t(index) >= m.nodes.size() || depth > 256)
        in.fail("node " + std::to_string(index) + " does not exist, or the nodes form a cycle");
    const tinygltf::Node& n = m.nodes[size_t(index)];
    const Transform t = parent.after(local(n));
    if (n.skin >= 0)
        in.warn("skins are not rendered: meshes keep their bind pose");
    if (n.mesh >= 0) {
        if (size_t(n.mesh) >= m.meshes.size())
            in.fail("mesh " + std::to_string(n.mesh) + " does not exist");
        const tinygltf::Mesh& mesh = m.meshes[size_t(n.mesh)];
        for (size_t p = 0; p < mesh.primitives.size(); ++p) {
            const tinygltf::Primitive& primitive = mesh.primitives[p];
            if (primitive.mode != -1 && primitive.mode != TINYGLTF_MODE_TRIANGLES) {
                in.warn("primitives other than triangle lists (points, lines, strips, fans) are not rendered");
                continue;
            }
            Geometry g = base;
            g.mesh = triangles(in, n.mesh, int(p));
            if (g.mesh.faces.empty())
                continue;
            transformMesh(t, g.mesh);
            if (base.material < 0)
                g.material = material(in, primitive.material);
            const std::string part = n.name.empty() ? "node" + std::to_string(index) : n.name;
            g.name = base.name.empty() ? part : in.named ? base.name + "." + part : base.name;
            in.named = true;
            in.r.d.geometry.push_back(std::move(g));
        }
    }
    if (n.camera >= 0)
        in.cameras.emplace_back(t, n.camera);
    const auto lights = n.extensions.find("KHR_lights_punctual");
    if (lights != n.extensions.end() && lights->second.Has("light")) {
        const int l = lights->second.Get("light").GetNumberAsInt();
        if (l < 0 || size_t(l) >= m.lights.size())
            in.fail("light " + std::to_string(l) + " does not exist");
        light(in, m.lights[size_t(l)], t);
    }
    for (int child : n.children)
        visit(in, child, t, base, depth + 1);
}

// Every node of the default scene (or of the first, or every root).
void importNodes(Import& in, const Transform& t, const Geometry& base)
{
    const Model& m = in.model;
    if (!m.animations.empty())
        in.warn("animations are not rendered: the scene is still");
    for (const std::string& e : m.extensionsUsed)
        if (e.rfind("KHR_materials_", 0) != 0 && e != "KHR_lights_punctual")
            in.warn("the extension " + e + " is not rendered");
    const int scene = m.defaultScene >= 0 ? m.defaultScene : m.scenes.empty() ? -1 : 0;
    if (scene >= 0 && size_t(scene) < m.scenes.size()) {
        for (int node : m.scenes[size_t(scene)].nodes)
            visit(in, node, t, base, 0);
    } else { // no scenes: the nodes no other node names as a child
        std::vector<bool> child(m.nodes.size(), false);
        for (const tinygltf::Node& n : m.nodes)
            for (int c : n.children)
                if (c >= 0 && size_t(c) < child.size())
                    child[size_t(c)] = true;
        for (size_t i = 0; i < m.nodes.size(); ++i)
            if (!child[i])
                visit(in, int(i), t, base, 0);
    }
}

} // namespace

void importGltf(Reader& r, const Node& file, const std::string& path, const Transform& t, const Geometry& base)
{
    Import in(r, file, path);
    const size_t before = r.d.geometry.size();
    importNodes(in, t, base);
    if (r.d.geometry.size() == before)
        in.fail("no triangles in its scene");
}

Description readGltfScene(const std::string& path, int camera)
{
    Description d;
    d.file = path;
    const nlohmann::json none = nlohmann::json::object();
    const Node file(none, path, "");
    Reader r(d);
    Import in(r, file, path);
    Geometry base;
    base.place = file.place();
    importNodes(in, Transform(), base);
    if (d.geometry.empty())
        in.fail("no triangles in its scene");
    d.lightsPlace = d.camera.place = d.environmentPlace = file.place();
    if (d.lights.empty())
        d.background = {0.8f, 0.8f, 0.8f}; // a grey sky to see by
    // The camera: the one asked for, or the first, or one that frames the scene.
    const Model& m = in.model;
    if (camera >= int(m.cameras.size()) || camera < -1)
        in.fail("it has no camera " + std::to_string(camera) + " (it has " + std::to_string(m.cameras.size()) + ")");
    const auto at = std::find_if(in.cameras.begin(), in.cameras.end(),
                                 [&](const auto& c) { return camera < 0 || c.second == camera; });
    if (at != in.cameras.end()) {
        const tinygltf::Camera& c = m.cameras[size_t(at->second)];
        const Transform& t = at->first;
        d.camera.eye = t.point({0, 0, 0});
        const f3 forward = t.vector({0, 0, -1});
        d.camera.target = {d.camera.eye.x + forward.x, d.camera.eye.y + forward.y, d.camera.eye.z + forward.z};
        d.camera.up = t.vector({0, 1, 0});
        if (c.type == "perspective") {
            d.camera.fov = float(c.perspective.yfov * 180 / M_PI);
            if (c.perspective.aspectRatio > 0)
                d.settings.width = unsigned(std::lround(d.settings.height * c.perspective.aspectRatio));
        } else {
            in.warn("orthographic cameras are rendered as perspective ones of 45 degrees");
        }
    } else {
        if (camera >= 0)
            in.fail("no node shows camera " + std::to_string(camera));
        f3 lo = {1e30f, 1e30f, 1e30f}, hi = {-1e30f, -1e30f, -1e30f};
        for (const Geometry& g : d.geometry)
            for (const f3& v : g.mesh.vertices) {
                lo = {std::min(lo.x, v.x), std::min(lo.y, v.y), std::min(lo.z, v.z)};
                hi = {std::max(hi.x, v.x), std::max(hi.y, v.y), std::max(hi.z, v.z)};
            }
        const f3 centre = {(lo.x + hi.x) / 2, (lo.y + hi.y) / 2, (lo.z + hi.z) / 2};
        const float radius = std::sqrt((hi.x - lo.x) * (hi.x - lo.x) + (hi.y - lo.y) * (hi.y - lo.y) +
                                       (hi.z - lo.z) * (hi.z - lo.z)) / 2;
        d.camera.target = centre;
        d.camera.eye = {centre.x, centre.y, centre.z + 1.1f * radius / std::sin(22.5f * float(M_PI) / 180)};
    }
    d.stages.push_back(Stage(file.place())); // the usual display gamma
    return d;
}

} // namespace scene
