// Building a scene's description in a new instance of the library.

#include "SceneJson.h"
#include "SceneLoader.h"

#include <cstring>

namespace scene {

namespace {

// The library's upload calls take their data through non-const pointers; it
// only reads them.
template <typename T> T* in(const std::vector<T>& v)
{
    return const_cast<T*>(v.data());
}

struct Builder {
    explicit Builder(const Description& description) : d(description) {}

    const Description& d;
    unsigned handle = 0;
    char message[4096] = {};
    std::vector<unsigned> textures, materials;
    unsigned grey = 0;

    // A failed library call becomes an error at `place`, with the library's message.
    void check(bool ok, const std::string& place)
    {
        if (!ok)
            throw SceneError(place + ": " + (message[0] ? message : "the library refused it"));
    }
    unsigned texture(unsigned index) const { return textures.at(index); }

    void variables()
    {
        std::vector<const char*> u, f, f3;
        for (const auto& n : d.uint2Names)
            u.push_back(n.c_str());
        for (const auto& n : d.floatNames)
            f.push_back(n.c_str());
        for (const auto& n : d.float3Names)
            f3.push_back(n.c_str());
        ApiUpdateVariables(handle, nullptr, nullptr, 0, nullptr, nullptr, 0, u.data(),
                           in(d.uint2s), u.size(), f.data(), in(d.floats), f.size(), nullptr, nullptr, 0,
                           f3.data(), in(d.float3s), f3.size());
    }

    unsigned material(const Material& m)
    {
        const char* uintNames[] = {"flags"};
        unsigned flags = m.flags;
        std::vector<const char*> floatNames, float3Names;
        for (const auto& n : m.floatNames)
            floatNames.push_back(n.c_str());
        for (const auto& n : m.float3Names)
            float3Names.push_back(n.c_str());
        std::vector<unsigned> arrays[4];
        for (int k = 0; k < 4; ++k)
            for (unsigned t : m.textures[k])
                arrays[k].push_back(texture(t));
        const unsigned id = ApiSetupMaterial(
            handle, m.radiance.c_str(), m.occlusion.c_str(), uintNames, &flags, 1, floatNames.data(),
            in(m.floats), floatNames.size(), float3Names.data(), in(m.float3s), float3Names.size(), nullptr, nullptr, 0,
            arrays[0].data(), unsigned(arrays[0].size()), arrays[1].data(), unsigned(arrays[1].size()),
            arrays[2].data(), unsigned(arrays[2].size()), arrays[3].data(), unsigned(arrays[3].size()),
            m.textureCount, message);
        check(id != 0, m.place);
        return id;
    }

    // A geometry without a material gets a grey diffuse one, made once.
    unsigned materialOf(const Geometry& g)
    {
        if (g.material >= 0)
            return materials.at(size_t(g.material));
        if (!grey) {
            Material m;
            m.place = g.place;
            m.set("base_color", f3{0.7f, 0.7f, 0.7f});
            grey = material(m);
        }
        return grey;
    }

    int geometry(const Geometry& g)
    {
        const unsigned mat = materialOf(g);
        int id = 0;
        bool ok = false;
        if (g.kind == Geometry::Triangles) {
            const Mesh& m = g.mesh;
            // Slots: vertices, faces, and normals and coordinates with their indices.
            std::vector<unsigned> slots = {0, 2}, sizes = {12, 12};
            if (!m.normals.empty())
                slots.insert(slots.end(), {3, 4}), sizes.insert(sizes.end(), {12, 12});
            if (!m.uvs.empty())
                slots.insert(slots.end(), {5, 6}), sizes.insert(sizes.end(), {8, 12});
            id = ApiSetupTrianglesGeometry(handle, geoPrimitives0, slots.data(), sizes.data(),
                                           unsigned(slots.size()), mat, message);
            ok = id > 0 &&
                 ApiUploadGeometryMeshFaces(handle, unsigned(id), in(m.vertices), unsigned(m.vertices.size()),
                                            in(m.faces), unsigned(m.faces.size()), message) &&
                 (m.normals.empty() ||
                  ApiUploadGeometryMeshNormals(handle, unsigned(id), in(m.normals), unsigned(m.normals.size()),
                                               in(m.normalFaces), unsigned(m.normalFaces.size()), message)) &&
                 (m.uvs.empty() ||
                  ApiUploadGeometryMeshTexCoords(handle, unsigned(id), in(m.uvs), unsigned(m.uvs.size()),
                                                 in(m.uvFaces), unsigned(m.uvFaces.size()), message));
        } else {
            std::vector<void*> data;
            for (const auto& each : g.data)
                data.push_back(const_cast<unsigned char*>(each.data()));
            id = g.kind == Geometry::Curves
                     ? ApiSetupBSplinesGeometry(handle, g.type, g.slots.data(), g.sizes.data(),
                                                unsigned(g.slots.size()), mat, message)
                     : ApiSetupPrimitivesGeometry(handle, g.type, g.program.c_str(), g.slots.data(),
                                                  g.sizes.data(), unsigned(g.slots.size()), mat, message);
            ok = id > 0 &&
                 ApiUploadGeometryBuffers(handle, unsigned(id), g.count, g.dataSlots.data(), data.data(),
                                          unsigned(data.size()), message) &&
                 (g.kind != Geometry::Curves ||
                  ApiUploadGeometryBSplineIdx(handle, unsigned(id), in(g.segments),
                                              unsigned(g.segments.size()), message));
        }
        check(ok, g.place);
        if (g.displacement >= 0)
            check(ApiSetupDisplacementTexture(handle, unsigned(id), texture(unsigned(g.displacement))), g.place);
        if (g.hasColor)
            check(ApiSetupConstColor(handle, unsigned(id), g.color), g.place);
        return id;
    }

    unsigned camera()
    {
        const Camera& c = d.camera;
        check(ApiSetMissProgram(handle, c.miss.c_str(), message), c.place);
        std::vector<unsigned> ids;
        for (unsigned t : c.textures)
            ids.push_back(texture(t));
        const unsigned id = ApiSetupCamera(handle, c.program.c_str(), c.eye, c.target, c.up, c.fov, c.rxy, c.cxy,
                                           c.aperture, c.blades, c.focus, c.bladeRotation, c.filter, c.blend,
                                           false, ids.data(), unsigned(ids.size()));
        check(id != 0 && ApiSetCurrentCamera(handle, id, message), c.place);
        return id;
    }

    // The denoiser in front of the stages, with the guides it reads kept.
    void denoiser()
    {
        const Settings& s = d.settings;
        ApiSetPostprocDenoiser(handle, s.denoiseGuides, s.denoiseBlend, s.denoiseStart);
        ApiSetSaveAlbedoState(handle, s.denoiseGuides != OPTIX_DENOISER_INPUT_RGB);
        ApiSetSaveNormalsState(handle, s.denoiseGuides == OPTIX_DENOISER_INPUT_RGB_ALBEDO_NORMAL);
        ApiAddPostprocessing(handle, postprocAlgorithm(s.denoise));
    }

    void stage(const Stage& s)
    {
        switch (s.algorithm) {
        case POSTPROC_LEVELS: ApiSetPostprocLevels(handle, &s.low, &s.high); break;
        case POSTPROC_GAMMA: ApiSetPostprocGamma(handle, s.gamma, s.scale); break;
        case POSTPROC_TONEMAP_GRAY:
            check(ApiSetPostprocTonemapGrayTexture(handle, texture(s.textures[0])), s.place);
            break;
        case POSTPROC_TONEMAP_RGB:
            check(ApiSetPostprocTonemapRedTexture(handle, texture(s.textures[0])) &&
                      ApiSetPostprocTonemapGreenTexture(handle, texture(s.textures[1])) &&
                      ApiSetPostprocTonemapBlueTexture(handle, texture(s.textures[2])),
                  s.place);
            break;
        case POSTPROC_OVERLAY_MUL: check(ApiSetPostprocMulTexture(handle, texture(s.textures[0])), s.place); break;
        default: check(ApiSetPostprocAddTexture(handle, texture(s.textures[0])), s.place); break;
        }
        ApiAddPostprocessing(handle, s.algorithm);
    }
};

} // namespace

Loaded build(const Description& d)
{
    const Settings& s = d.settings;
    Builder b(d);
    b.handle = ApiCreatePathTracer(s.width, s.height, READBACK_RGBA8, nullptr, nullptr, 0, nullptr, nullptr, 0,
                                   nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr,
                                   nullptr, 0, s.devices.data(), unsigned(s.devices.size()), 0, b.message);
    if (!b.handle)
        throw SceneError(b.message[0] ? b.message : "the renderer could not be created");
    Loaded out;
    try {
        // The environment's colours (black unless given) before the
        // variables, which may name them too.
        const char* names[] = {"bg_color", "ambient_color"};
        trevix7_float3 colours[] = {d.background, d.ambient};
        ApiUpdateVariables(b.handle, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0,
                           nullptr, nullptr, 0, nullptr, nullptr, 0, names, colours, 2);
        b.variables();
        for (const Texture& t : d.textures) {
            const unsigned id =
                ApiSetupTexture(b.handle, t.width, t.height, 4, t.bits, t.address, t.pixels.data(), b.message);
            b.check(id != 0, t.place);
            b.textures.push_back(id);
        }
        for (const Material& m : d.materials)
            b.materials.push_back(b.material(m));
        for (const Geometry& g : d.geometry) {
            const int id = b.geometry(g);
            if (!g.name.empty())
                out.geometry[g.name] = unsigned(id);
        }
        if (!d.lights.empty() || !d.lightsPlace.empty())
            b.check(ApiSetupLights(b.handle, in(d.lights), unsigned(d.lights.size())),
                    d.lightsPlace);
        if (d.environmentTexture >= 0)
            b.check(ApiSetBackgroundTexture(b.handle, b.texture(unsigned(d.environmentTexture))),
                    d.environmentPlace + ".texture");
        out.camera = b.camera();
        if (s.denoise)
            b.denoiser();
        if (s.display)
            for (const Stage& stage : d.stages)
                b.stage(stage);
    } catch (...) {
        ApiDestroyPathTracer(b.handle, nullptr);
        throw;
    }
    out.handle = b.handle;
    out.settings = s;
    return out;
}

} // namespace scene
