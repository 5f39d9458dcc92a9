// Geometry of a scene file: triangle meshes (inline or from OBJ files),
// round curves, particle sets, Bezier tubes, parallelograms and
// parallelepipeds, each with an optional transform.

#include "SceneBuilder.h"

#include <tiny_obj_loader.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace scene {

namespace {

using f3 = trevix7_float3;

// An affine map: scale, then rotate (degrees about an axis), then translate.
struct Transform {
    float m[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    f3 t = {0, 0, 0};
    float radiusScale = 1; // cube root of the volume scale

    Transform() = default;
    explicit Transform(const Node& g)
    {
        if (!g.has("transform"))
            return;
        const Node n = g["transform"];
        n.keys({"translate", "scale", "rotate"});
        f3 s = {1, 1, 1};
        if (n.has("scale"))
            s = n["scale"].isNumber() ? f3{n["scale"].number(), n["scale"].number(), n["scale"].number()}
                                      : n["scale"].vec3();
        float r[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
        if (n.has("rotate")) {
            const std::vector<float> a = n["rotate"].numbers(4);
            const float len = std::sqrt(a[1] * a[1] + a[2] * a[2] + a[3] * a[3]);
            if (len == 0)
                n["rotate"].fail("the rotation axis must not be zero");
            const float x = a[1] / len, y = a[2] / len, z = a[3] / len;
            const float c = std::cos(a[0] * float(M_PI) / 180), si = std::sin(a[0] * float(M_PI) / 180), k = 1 - c;
            const float rot[3][3] = {{c + x * x * k, x * y * k - z * si, x * z * k + y * si},
                                     {y * x * k + z * si, c + y * y * k, y * z * k - x * si},
                                     {z * x * k - y * si, z * y * k + x * si, c + z * z * k}};
            std::memcpy(r, rot, sizeof(r));
        }
        const float sv[3] = {s.x, s.y, s.z};
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                m[i][j] = r[i][j] * sv[j];
        t = n.vec3("translate", {0, 0, 0});
        radiusScale = std::cbrt(std::fabs(s.x * s.y * s.z));
    }
    f3 vector(f3 v) const
    {
        return {m[0][0] * v.x + m[0][1] * v.y + m[0][2] * v.z,
                m[1][0] * v.x + m[1][1] * v.y + m[1][2] * v.z,
                m[2][0] * v.x + m[2][1] * v.y + m[2][2] * v.z};
    }
    // Normals take the inverse transpose (the cofactor matrix, up to scale).
    f3 normal(f3 n) const
    {
        auto c = [&](int i, int j) {
            const int i1 = (i + 1) % 3, i2 = (i + 2) % 3, j1 = (j + 1) % 3, j2 = (j + 2) % 3;
            return m[i1][j1] * m[i2][j2] - m[i1][j2] * m[i2][j1];
        };
        return {c(0, 0) * n.x + c(0, 1) * n.y + c(0, 2) * n.z,
                c(1, 0) * n.x + c(1, 1) * n.y + c(1, 2) * n.z,
                c(2, 0) * n.x + c(2, 1) * n.y + c(2, 2) * n.z};
    }
    // A mirroring transform turns faces inside out unless their order turns too.
    bool mirrors() const
    {
        return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                   m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                   m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]) < 0;
    }
    f3 point(f3 p) const
    {
        const f3 v = vector(p);
        return {v.x + t.x, v.y + t.y, v.z + t.z};
    }
};

std::vector<f3> points(const Node& n, const Transform& x, bool isPoint = true)
{
    const std::vector<float> flat = n.vectors(3);
    std::vector<f3> out;
    for (size_t i = 0; i < flat.size(); i += 3) {
        const f3 p = {flat[i], flat[i + 1], flat[i + 2]};
        out.push_back(isPoint ? x.point(p) : x.vector(p));
    }
    return out;
}

// Per-primitive radii: "radii" (one each) or "radius" (for all).
std::vector<float> radii(const Node& g, size_t count, const Transform& x)
{
    std::vector<float> r;
    if (g.has("radii")) {
        if (g["radii"].size() != count)
            g["radii"].fail("expected " + std::to_string(count) + " radii");
        for (size_t i = 0; i < count; ++i)
            r.push_back(g["radii"][i].number() * x.radiusScale);
    } else {
        r.assign(count, g["radius"].number() * x.radiusScale);
    }
    return r;
}

void sameCount(const Node& n, size_t have, size_t count)
{
    if (have != count)
        n.fail("expected " + std::to_string(count) + " entries, as many as the first array");
}

struct Mesh {
    std::vector<f3> vertices, normals;
    std::vector<trevix7_uint3> faces, normalFaces, uvFaces;
    std::vector<trevix7_float2> uvs;
};

std::vector<trevix7_uint3> triples(const Node& n, size_t limit)
{
    std::vector<trevix7_uint3> out;
    for (size_t i = 0; i < n.size(); ++i) {
        if (n[i].size() != 3)
            n[i].fail("expected 3 indices");
        const trevix7_uint3 f = {n[i][0].count(), n[i][1].count(), n[i][2].count()};
        if (f.x >= limit || f.y >= limit || f.z >= limit)
            n[i].fail("an index is past the " + std::to_string(limit) + " entries it indexes");
        out.push_back(f);
    }
    return out;
}

// An OBJ file's triangles (polygons are split), with its normals and
// texture coordinates (v turned so that 0 is the image's top row).
Mesh readObj(const Node& file, const std::string& path)
{
    tinyobj::ObjReader reader;
    tinyobj::ObjReaderConfig config;
    config.triangulate = true;
    if (!reader.ParseFromFile(path, config))
        file.fail("cannot load OBJ \"" + path + "\": " + reader.Error());
    const tinyobj::attrib_t& a = reader.GetAttrib();
    Mesh m;
    for (size_t i = 0; i + 2 < a.vertices.size(); i += 3)
        m.vertices.push_back({a.vertices[i], a.vertices[i + 1], a.vertices[i + 2]});
    for (size_t i = 0; i + 2 < a.normals.size(); i += 3)
        m.normals.push_back({a.normals[i], a.normals[i + 1], a.normals[i + 2]});
    for (size_t i = 0; i + 1 < a.texcoords.size(); i += 2)
        m.uvs.push_back({a.texcoords[i], 1 - a.texcoords[i + 1]});
    bool allNormals = !m.normals.empty(), allUvs = !m.uvs.empty();
    for (const tinyobj::shape_t& s : reader.GetShapes())
        for (size_t i = 0; i + 2 < s.mesh.indices.size(); i += 3) {
            const tinyobj::index_t* t = &s.mesh.indices[i];
            m.faces.push_back({unsigned(t[0].vertex_index), unsigned(t[1].vertex_index),
                               unsigned(t[2].vertex_index)});
            allNormals = allNormals && t[0].normal_index >= 0 && t[1].normal_index >= 0 && t[2].normal_index >= 0;
            allUvs = allUvs && t[0].texcoord_index >= 0 && t[1].texcoord_index >= 0 && t[2].texcoord_index >= 0;
            m.normalFaces.push_back({unsigned(t[0].normal_index), unsigned(t[1].normal_index),
                                     unsigned(t[2].normal_index)});
            m.uvFaces.push_back({unsigned(t[0].texcoord_index), unsigned(t[1].texcoord_index),
                                 unsigned(t[2].texcoord_index)});
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
    return m;
}

// Each kind: its geometry made and filled, or an error at `g`; gives the id.

int mesh(Builder& b, const Node& g, unsigned mat, const Transform& x)
{
    g.keys({"type", "name", "material", "color", "transform", "file", "vertices", "faces",
            "normals", "uv"});
    Mesh m;
    if (g.has("file")) {
        m = readObj(g["file"], b.path(g["file"].text()));
        for (f3& v : m.vertices)
            v = x.point(v);
    } else {
        m.vertices = points(g["vertices"], x);
        m.faces = triples(g["faces"], m.vertices.size());
        if (m.faces.empty())
            g["faces"].fail("a mesh needs at least one face");
        if (g.has("normals")) {
            m.normals = points(g["normals"], Transform(), false);
            sameCount(g["normals"], m.normals.size(), m.vertices.size());
            m.normalFaces = m.faces;
        }
        if (g.has("uv")) {
            const std::vector<float> uv = g["uv"].vectors(2);
            for (size_t k = 0; k < uv.size(); k += 2)
                m.uvs.push_back({uv[k], uv[k + 1]});
            sameCount(g["uv"], m.uvs.size(), m.vertices.size());
        }
    }
    for (f3& n : m.normals)
        n = x.normal(n);
    if (x.mirrors())
        for (auto* faces : {&m.faces, &m.normalFaces, &m.uvFaces})
            for (trevix7_uint3& f : *faces)
                std::swap(f.y, f.z);
    // Slots: vertices, faces, and normals and coordinates with their indices.
    std::vector<unsigned> slots = {0, 2}, sizes = {12, 12};
    if (!m.normals.empty())
        slots.insert(slots.end(), {3, 4}), sizes.insert(sizes.end(), {12, 12});
    if (!m.uvs.empty())
        slots.insert(slots.end(), {5, 6}), sizes.insert(sizes.end(), {8, 12});
    if (m.uvFaces.empty() && !m.uvs.empty())
        m.uvFaces = m.faces; // inline coordinates follow the vertices
    const int id = ApiSetupTrianglesGeometry(b.handle, geoPrimitives0, slots.data(), sizes.data(),
                                             unsigned(slots.size()), mat, b.message);
    b.check(id > 0 &&
                ApiUploadGeometryMeshFaces(b.handle, unsigned(id), m.vertices.data(),
                                           unsigned(m.vertices.size()), m.faces.data(),
                                           unsigned(m.faces.size()), b.message) &&
                (m.normals.empty() ||
                 ApiUploadGeometryMeshNormals(b.handle, unsigned(id), m.normals.data(),
                                              unsigned(m.normals.size()), m.normalFaces.data(),
                                              unsigned(m.normalFaces.size()), b.message)) &&
                (m.uvs.empty() ||
                 ApiUploadGeometryMeshTexCoords(b.handle, unsigned(id), m.uvs.data(),
                                                unsigned(m.uvs.size()), m.uvFaces.data(),
                                                unsigned(m.uvFaces.size()), b.message)),
            g);
    return id;
}

int curves(Builder& b, const Node& g, unsigned mat, const Transform& x)
{
    g.keys({"type", "name", "material", "color", "transform", "basis", "points", "radii",
            "radius", "segments"});
    static const geoPrimirivesType kBases[] = {geoBSplineLinear, geoBSplineQuadratic,
                                               geoBSplineCubic, geoBSplineCatmullRom};
    const unsigned basis =
        g.has("basis") ? g["basis"].choice({"linear", "quadratic", "cubic", "catmull-rom"}) : 2;
    std::vector<f3> p = points(g["points"], x);
    std::vector<float> r = radii(g, p.size(), x);
    const unsigned per = basis == 0 ? 2 : basis == 1 ? 3 : 4;
    std::vector<unsigned> segments;
    if (g.has("segments")) {
        segments = g["segments"].counts();
        for (unsigned s : segments)
            if (size_t(s) + per > p.size())
                g["segments"].fail("segment " + std::to_string(s) + " runs past the last point");
    } else {
        for (unsigned s = 0; s + per <= p.size(); ++s)
            segments.push_back(s);
    }
    if (segments.empty())
        g["points"].fail("too few points for one segment");
    const unsigned slots[] = {0, 2, 4}, sizes[] = {12, 4, 4}, pointSlots[] = {0, 4};
    void* data[] = {p.data(), r.data()};
    const int id =
        ApiSetupBSplinesGeometry(b.handle, kBases[basis], slots, sizes, 3, mat, b.message);
    b.check(id > 0 &&
                ApiUploadGeometryBuffers(b.handle, unsigned(id), unsigned(p.size()), pointSlots,
                                         data, 2, b.message) &&
                ApiUploadGeometryBSplineIdx(b.handle, unsigned(id), segments.data(),
                                            unsigned(segments.size()), b.message),
            g);
    return id;
}

// The custom kinds, k in the order of kTypes: one array per slot, one
// element per primitive.
int customPrimitives(Builder& b, const Node& g, unsigned k, unsigned mat, const Transform& x)
{
    static const geoPrimirivesType kTypes[] = {geoParticleSet, geoParticleSetTex, geoBezier,
                                               geoParallelograms, geoParallelepipeds};
    static const char* const kPrograms[] = {"particles", "particles_tex", "bezier",
                                            "parallelograms", "parallelepipeds"};
    std::vector<std::vector<f3>> vectors;
    std::vector<float> r; // a radius per primitive, or a tube's start and end radius
    std::vector<unsigned> slots, sizes;
    std::vector<void*> data;
    auto add = [&](const char* key, bool isPoint, unsigned slot) {
        vectors.push_back(points(g[key], x, isPoint));
        if (vectors.size() > 1)
            sameCount(g[key], vectors.back().size(), vectors.front().size());
        slots.push_back(slot);
        sizes.push_back(12);
    };
    if (k <= 1) {
        g.keys({"type", "name", "material", "color", "transform", "displacement",
                "intersection", "centers", "radii", "radius", "u_axes", "v_axes"});
        add("centers", true, 0);
        if (k == 1)
            add("u_axes", false, 2), add("v_axes", false, 3);
        r = radii(g, vectors[0].size(), x);
        slots.push_back(4), sizes.push_back(4);
    } else if (k == 2) {
        g.keys({"type", "name", "material", "color", "transform", "displacement",
                "intersection", "p0", "p1", "p2", "p3", "radii"});
        add("p0", true, 0), add("p1", true, 3), add("p2", true, 5), add("p3", true, 6);
        r = g["radii"].vectors(2);
        for (float& radius : r)
            radius *= x.radiusScale;
        sameCount(g["radii"], r.size() / 2, vectors[0].size());
        slots.push_back(4), sizes.push_back(8);
    } else {
        g.keys({"type", "name", "material", "color", "transform", "displacement",
                "intersection", "corners", "a", "b", "c"});
        add("corners", true, 0), add("a", false, 2), add("b", false, 3);
        if (k == 4)
            add("c", false, 4);
        else if (x.mirrors()) // keep the side that a x b faces
            std::swap(vectors[1], vectors[2]);
    }
    for (auto& v : vectors)
        data.push_back(v.data());
    if (!r.empty())
        data.push_back(r.data());
    const std::string program =
        g.text("intersection", std::string("t7_intersect.cu::__intersection__") + kPrograms[k]);
    if (vectors[0].empty())
        g.fail("the geometry has no primitives");
    const int id = ApiSetupPrimitivesGeometry(b.handle, kTypes[k], program.c_str(), slots.data(),
                                              sizes.data(), unsigned(slots.size()), mat, b.message);
    b.check(id > 0 && ApiUploadGeometryBuffers(b.handle, unsigned(id), unsigned(vectors[0].size()),
                                               slots.data(), data.data(), unsigned(slots.size()),
                                               b.message),
            g);
    if (g.has("displacement"))
        b.check(ApiSetupDisplacementTexture(b.handle, unsigned(id), b.texture(g["displacement"])),
                g["displacement"]);
    return id;
}

} // namespace

void Builder::geometrySection(const Node& n)
{
    for (size_t i = 0; i < n.size(); ++i) {
        const Node g = n[i];
        const unsigned kind = g["type"].choice({"mesh", "particles", "textured_particles", "curves",
                                                "bezier", "parallelograms", "parallelepipeds"});
        const unsigned mat = g.has("material") ? material(g["material"]) : defaultMaterial(g);
        const Transform x(g);
        const int id = kind == 0   ? mesh(*this, g, mat, x)
                       : kind == 3 ? curves(*this, g, mat, x)
                                   : customPrimitives(*this, g, kind < 3 ? kind - 1 : kind - 2,
                                                      mat, x);
        if (g.has("color"))
            check(ApiSetupConstColor(handle, unsigned(id), g["color"].vec3()), g["color"]);
        if (g.has("name"))
            geometry[g["name"].text()] = unsigned(id);
    }
}

} // namespace scene
