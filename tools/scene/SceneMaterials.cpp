// Textures, materials and lights of a scene file.

#include "SceneReader.h"

#include <stb/stb_image.h>

#include <cmath>
#include <cstring>
#include <memory>

namespace scene {

namespace {

int addressMode(const Node& n)
{
    return n.has("address") ? int(n["address"].choice({"wrap", "clamp", "mirror", "border"})) : 0;
}

} // namespace

void Material::set(const std::string& name, float value)
{
    floatNames.push_back(name);
    floats.push_back(value);
}

void Material::set(const std::string& name, f3 value)
{
    float3Names.push_back(name);
    float3s.push_back(value);
}

Texture imageTexture(const Node& n, const std::string& file, int address)
{
    Texture t;
    t.place = n.place();
    int channels = 0;
    const bool hdr = stbi_is_hdr(file.c_str());
    std::unique_ptr<void, void (*)(void*)> pixels(
        hdr ? static_cast<void*>(stbi_loadf(file.c_str(), &t.width, &t.height, &channels, 4))
            : static_cast<void*>(stbi_load(file.c_str(), &t.width, &t.height, &channels, 4)),
        stbi_image_free);
    if (!pixels)
        n.fail("cannot read image \"" + file + "\": " + stbi_failure_reason());
    t.bits = hdr ? 32 : 8;
    t.address = address;
    const size_t bytes = size_t(t.width) * t.height * 4 * (hdr ? 4 : 1);
    t.pixels.assign(static_cast<unsigned char*>(pixels.get()), static_cast<unsigned char*>(pixels.get()) + bytes);
    return t;
}

// Each texture is an image file, or a small image written out as colours.
void Reader::texturesSection(const Node& n)
{
    for (const std::string& name : n.names()) {
        const Node t = n.member(name);
        if (t.has("file")) {
            t.keys({"file", "address"});
            d.textures.push_back(imageTexture(t["file"], path(t["file"].text()), addressMode(t)));
            d.textures.back().place = t.place();
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
            Texture x;
            x.place = t.place();
            x.width = int(w);
            x.height = int(h);
            x.bits = 32;
            x.address = addressMode(t);
            x.pixels.resize(rgba.size() * 4);
            std::memcpy(x.pixels.data(), rgba.data(), x.pixels.size());
            d.textures.push_back(std::move(x));
        }
        textures[name] = unsigned(d.textures.size() - 1);
    }
}

void Reader::materialsSection(const Node& n)
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
        Material x;
        x.place = m.place();
        x.flags = m.has("model") ? m["model"].choice({"emitter", "conductor", "diffuse", "dielectric"})
                                 : unsigned(TREVIX7_MATERIAL_DIFFUSE);
        x.flags |= m.flag("two_sided", false) ? TREVIX7_MATERIAL_TWO_SIDED : 0u;
        for (const char* f : kFloats)
            if (m.has(f))
                x.set(f, m[f].number());
        for (const char* f : kFloat3s)
            if (m.has(f))
                x.set(f, m[f].vec3());
        // Texture arrays: every array given has the same count.
        if (m.has("textures")) {
            const Node t = m["textures"];
            t.keys({"color", "roughness", "metalness", "normal"});
            const char* kinds[] = {"color", "roughness", "metalness", "normal"};
            bool first = true;
            for (int k = 0; k < 4; ++k)
                if (t.has(kinds[k])) {
                    for (size_t i = 0; i < t[kinds[k]].size(); ++i)
                        x.textures[k].push_back(texture(t[kinds[k]][i]));
                    if (!first && x.textures[k].size() != x.textureCount)
                        t[kinds[k]].fail("every texture array needs the same number of textures");
                    x.textureCount = x.textures[k].size();
                    first = false;
                }
        }
        x.radiance = m.text("radiance", x.radiance);
        x.occlusion = m.text("occlusion", x.occlusion);
        d.materials.push_back(std::move(x));
        materials[name] = unsigned(d.materials.size() - 1);
    }
}

void Reader::lights(const Node& n)
{
    d.lightsPlace = n.place();
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
        d.lights.push_back(r.data);
    }
}

} // namespace scene
