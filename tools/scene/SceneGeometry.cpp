// Geometry of a scene file: triangle meshes (inline, or from OBJ or glTF
// files), round curves, particle sets, Bezier tubes, parallelograms and
// parallelepipeds, each with an optional transform.

#include "SceneImport.h"
#include "SceneReader.h"
#include "SceneTransform.h"

#include <algorithm>
#include <cstring>

namespace scene {

namespace {

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
            r.push_back(g["radii"][i].number() * x.radiusScale());
    } else {
        r.assign(count, g["radius"].number() * x.radiusScale());
    }
    return r;
}

void sameCount(const Node& n, size_t have, size_t count)
{
    if (have != count)
        n.fail("expected " + std::to_string(count) + " entries, as many as the first array");
}

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

template <typename T> std::vector<unsigned char> bytes(const std::vector<T>& v)
{
    std::vector<unsigned char> out(v.size() * sizeof(T));
    std::memcpy(out.data(), v.data(), out.size());
    return out;
}

// Each kind: the geometry `x` filled in from `g`.

void inlineMesh(const Node& g, const Transform& t, Geometry& x)
{
    Mesh& m = x.mesh;
    m.vertices = points(g["vertices"], Transform());
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
        m.uvFaces = m.faces; // inline coordinates follow the vertices
    }
    transformMesh(t, m);
}

void curves(const Node& g, const Transform& t, Geometry& x)
{
    g.keys({"type", "name", "material", "color", "transform", "basis", "points", "radii",
            "radius", "segments"});
    static const geoPrimirivesType kBases[] = {geoBSplineLinear, geoBSplineQuadratic,
                                               geoBSplineCubic, geoBSplineCatmullRom};
    const unsigned basis =
        g.has("basis") ? g["basis"].choice({"linear", "quadratic", "cubic", "catmull-rom"}) : 2;
    const std::vector<f3> p = points(g["points"], t);
    const std::vector<float> r = radii(g, p.size(), t);
    const unsigned per = basis == 0 ? 2 : basis == 1 ? 3 : 4;
    if (g.has("segments")) {
        x.segments = g["segments"].counts();
        for (unsigned s : x.segments)
            if (size_t(s) + per > p.size())
                g["segments"].fail("segment " + std::to_string(s) + " runs past the last point");
    } else {
        for (unsigned s = 0; s + per <= p.size(); ++s)
            x.segments.push_back(s);
    }
    if (x.segments.empty())
        g["points"].fail("too few points for one segment");
    x.kind = Geometry::Curves;
    x.type = kBases[basis];
    x.slots = {0, 2, 4};
    x.sizes = {12, 4, 4};
    x.dataSlots = {0, 4};
    x.data = {bytes(p), bytes(r)};
    x.count = unsigned(p.size());
}

// The custom kinds, k in the order of kTypes: one array per slot, one
// element per primitive.
void customPrimitives(Reader& r, const Node& g, unsigned k, const Transform& t, Geometry& x)
{
    static const geoPrimirivesType kTypes[] = {geoParticleSet, geoParticleSetTex, geoBezier,
                                               geoParallelograms, geoParallelepipeds};
    static const char* const kPrograms[] = {"particles", "particles_tex", "bezier",
                                            "parallelograms", "parallelepipeds"};
    std::vector<std::vector<f3>> vectors;
    std::vector<float> radius; // a radius per primitive, or a tube's start and end radius
    auto add = [&](const char* key, bool isPoint, unsigned slot) {
        vectors.push_back(points(g[key], t, isPoint));
        if (vectors.size() > 1)
            sameCount(g[key], vectors.back().size(), vectors.front().size());
        x.slots.push_back(slot);
        x.sizes.push_back(12);
    };
    if (k <= 1) {
        g.keys({"type", "name", "material", "color", "transform", "displacement",
                "intersection", "centers", "radii", "radius", "u_axes", "v_axes"});
        add("centers", true, 0);
        if (k == 1)
            add("u_axes", false, 2), add("v_axes", false, 3);
        radius = radii(g, vectors[0].size(), t);
        x.slots.push_back(4), x.sizes.push_back(4);
    } else if (k == 2) {
        g.keys({"type", "name", "material", "color", "transform", "displacement",
                "intersection", "p0", "p1", "p2", "p3", "radii"});
        add("p0", true, 0), add("p1", true, 3), add("p2", true, 5), add("p3", true, 6);
        radius = g["radii"].vectors(2);
        for (float& each : radius)
            each *= t.radiusScale();
        sameCount(g["radii"], radius.size() / 2, vectors[0].size());
        x.slots.push_back(4), x.sizes.push_back(8);
    } else {
        g.keys({"type", "name", "material", "color", "transform", "displacement",
                "intersection", "corners", "a", "b", "c"});
        add("corners", true, 0), add("a", false, 2), add("b", false, 3);
        if (k == 4)
            add("c", false, 4);
        else if (t.mirrors()) // keep the side that a x b faces
            std::swap(vectors[1], vectors[2]);
    }
    if (vectors[0].empty())
        g.fail("the geometry has no primitives");
    for (const auto& v : vectors)
        x.data.push_back(bytes(v));
    if (!radius.empty())
        x.data.push_back(bytes(radius));
    x.dataSlots = x.slots;
    x.count = unsigned(vectors[0].size());
    x.kind = Geometry::Primitives;
    x.type = kTypes[k];
    x.program = g.text("intersection", std::string("t7_intersect.cu::__intersection__") + kPrograms[k]);
    if (g.has("displacement"))
        x.displacement = int(r.texture(g["displacement"]));
}

} // namespace

void transformMesh(const Transform& t, Mesh& m)
{
    for (f3& v : m.vertices)
        v = t.point(v);
    for (f3& n : m.normals)
        n = t.normal(n);
    if (t.mirrors())
        for (auto* faces : {&m.faces, &m.normalFaces, &m.uvFaces})
            for (trevix7_uint3& f : *faces)
                std::swap(f.y, f.z);
}

void Reader::geometrySection(const Node& n)
{
    for (size_t i = 0; i < n.size(); ++i) {
        const Node g = n[i];
        const unsigned kind = g["type"].choice({"mesh", "particles", "textured_particles", "curves",
                                                "bezier", "parallelograms", "parallelepipeds"});
        Geometry x;
        x.place = g.place();
        x.name = g.text("name", "");
        x.material = g.has("material") ? int(material(g["material"])) : -1;
        if (g.has("color")) {
            x.hasColor = true;
            x.color = g["color"].vec3();
        }
        const Transform t(g);
        if (kind == 0 && g.has("file")) {
            g.keys({"type", "name", "material", "color", "transform", "file"});
            importMeshes(*this, g["file"], path(g["file"].text()), t, x);
            continue;
        }
        if (kind == 0) {
            g.keys({"type", "name", "material", "color", "transform", "vertices", "faces",
                    "normals", "uv"});
            inlineMesh(g, t, x);
        } else if (kind == 3) {
            curves(g, t, x);
        } else {
            customPrimitives(*this, g, kind < 3 ? kind - 1 : kind - 2, t, x);
        }
        d.geometry.push_back(std::move(x));
    }
}

} // namespace scene
