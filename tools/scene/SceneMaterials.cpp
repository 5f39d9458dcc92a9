// Textures, materials and lights of a scene file.

#include "SceneBuilder.h"

#include "trevix7_programs.h"

#include <stb/stb_image.h>

#include <cmath>
#include <cstring>
#include <memory>

namespace scene {

namespace {

unsigned addressMode(const Node& n)
{
    return n.has("address") ? n["address"].choice({"wrap", "clamp", "mirror", "border"}) : 0;
}

} // namespace

// Each texture is an image file (8-bit, or float for Radiance .hdr files),
// or a small image written out as colours.
void Builder::texturesSection(const Node& n)
{
    for (const std::string& name : n.names()) {
        const Node t = n.member(name);
        unsigned id = 0;
        if (t.has("file")) {
            t.keys({"file", "address"});
            const std::string file = path(t["file"].text());
            int w = 0, h = 0, channels = 0;
            const bool hdr = stbi_is_hdr(file.c_str());
            std::unique_ptr<void, void (*)(void*)> pixels(
                hdr ? static_cast<void*>(stbi_loadf(file.c_str(), &w, &h, &channels, 4))
                    : static_cast<void*>(stbi_load(file.c_str(), &w, &h, &channels, 4)),
                stbi_image_free);
            if (!pixels)
                t["file"].fail("cannot read image \"" + file + "\": " + stbi_failure_reason());
            id = ApiSetupTexture(handle, w, h, 4, hdr ? 32 : 8, int(addressMode(t)),
                                 pixels.get(), message);
        } else {
            t.keys({"size", "pixels", "address"});
            if (t["size"].size() != 2)
                t["size"].fail("expected [width, height]");
            const unsigned w = t["size"][0].count(), h = t["size"][1].count();
            const Node p = t["pixels"];
            if (!w || !h || p.size() != size_t(w) * h)
                p.fail("expected width x height = " + std::to_string(size_t(w) * h) + " colours");
            std::vector<float> rgba;
            for (size_t i = 0; i < p.size(); ++i) {
                std::vector<float> c = p[i].size() == 3 ? p[i].numbers(3) : p[i].numbers(4);
                c.resize(4, 1.0f);
                rgba.insert(rgba.end(), c.begin(), c.end());
            }
            id = ApiSetupTexture(handle, int(w), int(h), 4, 32, int(addressMode(t)), rgba.data(),
                                 message);
        }
        check(id != 0, t);
        textures[name] = id;
    }
}

void Builder::materialsSection(const Node& n)
{
    static const char* const kFloats[] = {"light_emission", "base_roughness", "radiation_length",
                                          "reflectivity_index", "reflectivity_range",
                                          "normaltilt_iar"};
    static const char* const kFloat3s[] = {"base_color", "surface_albedo", "refraction_index",
                                           "subsurface_color"};
    for (const std::string& name : n.names()) {
        const Node m = n.member(name);
        m.keys({"model", "two_sided", "radiance", "occlusion", "textures", "light_emission",
                "base_roughness", "radiation_length", "reflectivity_index", "reflectivity_range",
                "normaltilt_iar", "base_color", "surface_albedo", "refraction_index",
                "subsurface_color"});
        unsigned flags = m.has("model") ? m["model"].choice({"emitter", "conductor", "diffuse",
                                                             "dielectric"})
                                        : unsigned(TREVIX7_MATERIAL_DIFFUSE);
        flags |= m.flag("two_sided", false) ? TREVIX7_MATERIAL_TWO_SIDED : 0u;
        const char* uintNames[] = {"flags"};
        std::vector<const char*> floatNames, float3Names;
        std::vector<float> floats;
        std::vector<trevix7_float3> float3s;
        for (const char* f : kFloats)
            if (m.has(f)) {
                floatNames.push_back(f);
                floats.push_back(m[f].number());
            }
        for (const char* f : kFloat3s)
            if (m.has(f)) {
                float3Names.push_back(f);
                float3s.push_back(m[f].vec3());
            }
        // Texture arrays: every array given has the same count.
        std::vector<unsigned> arrays[4];
        size_t textureCount = 0;
        bool first = true;
        if (m.has("textures")) {
            const Node t = m["textures"];
            t.keys({"color", "roughness", "metalness", "normal"});
            const char* kinds[] = {"color", "roughness", "metalness", "normal"};
            for (int k = 0; k < 4; ++k)
                if (t.has(kinds[k])) {
                    for (size_t i = 0; i < t[kinds[k]].size(); ++i)
                        arrays[k].push_back(texture(t[kinds[k]][i]));
                    if (!first && arrays[k].size() != textureCount)
                        t[kinds[k]].fail("every texture array needs the same number of textures");
                    textureCount = arrays[k].size();
                    first = false;
                }
        }
        const std::string radiance = m.text("radiance", "t7_hit.cu::__closesthit__radiance");
        const std::string occlusion = m.text("occlusion", "t7_hit.cu::__closesthit__occlusion");
        const unsigned id = ApiSetupMaterial(
            handle, radiance.c_str(), occlusion.c_str(), uintNames, &flags, 1, floatNames.data(),
            floats.data(), floats.size(), float3Names.data(), float3s.data(), float3s.size(),
            nullptr, nullptr, 0, arrays[0].data(), unsigned(arrays[0].size()), arrays[1].data(),
            unsigned(arrays[1].size()), arrays[2].data(), unsigned(arrays[2].size()),
            arrays[3].data(), unsigned(arrays[3].size()), textureCount, message);
        check(id != 0, m);
        materials[name] = id;
    }
}

unsigned Builder::defaultMaterial(const Node& n)
{
    if (!materials.count("")) {
        const char* names[] = {"base_color"};
        trevix7_float3 grey[] = {{0.7f, 0.7f, 0.7f}};
        materials[""] = ApiSetupMaterial(handle, "t7_hit.cu::__closesthit__radiance",
                                         "t7_hit.cu::__closesthit__occlusion", nullptr, nullptr, 0,
                                         nullptr, nullptr, 0, names, grey, 1, nullptr, nullptr, 0,
                                         nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, 0, message);
        check(materials[""] != 0, n);
    }
    return materials[""];
}

void Builder::lights(const Node& n)
{
    std::vector<LightData> records;
    for (size_t i = 0; i < n.size(); ++i) {
        const Node l = n[i];
        trevix7_light_record r;
        std::memset(&r, 0, sizeof(r));
        r.light.type = l["type"].choice({"point", "spot", "directional", "sphere", "parallelogram"});
        switch (r.light.type) {
        case TREVIX7_LIGHT_POINT: l.keys({"type", "emission", "position"}); break;
        case TREVIX7_LIGHT_SPOT:
            l.keys({"type", "emission", "position", "direction", "inner", "outer"});
            break;
        case TREVIX7_LIGHT_DIRECTIONAL: l.keys({"type", "emission", "direction"}); break;
        case TREVIX7_LIGHT_SPHERE: l.keys({"type", "emission", "position", "radius"}); break;
        default: l.keys({"type", "emission", "position", "u", "v"}); break;
        }
        const float degrees = float(M_PI) / 180.0f;
        r.light.emission = l["emission"].vec3();
        r.light.position = l.vec3("position", {0, 0, 0});
        r.light.radius = r.light.type == TREVIX7_LIGHT_SPHERE ? l["radius"].number() : 0;
        r.light.direction = l.vec3("direction", {0, -1, 0});
        r.light.cos_inner = std::cos(l.number("inner", 30) * degrees);
        r.light.cos_outer = std::cos(l.number("outer", 45) * degrees);
        r.light.u = l.vec3("u", {1, 0, 0});
        r.light.v = l.vec3("v", {0, 0, 1});
        records.push_back(r.data);
    }
    check(ApiSetupLights(handle, records.data(), unsigned(records.size())), n);
}

} // namespace scene
