// Images as textures for what they are used for: colours made linear,
// height maps made normal maps, and
// the channels of glTF's metallic-roughness images moved where ours read them.

#include "SceneReader.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace scene {

namespace {

// Channel c of pixel i, in [0, 1], of 8- or 16-bit RGBA.
float channel(const Texture& t, size_t i, int c)
{
    if (t.bits == 16) {
        unsigned short v;
        std::memcpy(&v, &t.pixels[(i * 4 + size_t(c)) * 2], 2);
        return v / 65535.0f;
    }
    return t.pixels[i * 4 + size_t(c)] / 255.0f;
}

float linear(float srgb)
{
    return srgb <= 0.04045f ? srgb / 12.92f : std::pow((srgb + 0.055f) / 1.055f, 2.4f);
}

// RGBA of 16-bit channels from values in [0, 1].
Texture sixteen(const Texture& from, const std::vector<float>& rgba)
{
    Texture t;
    t.place = from.place;
    t.width = from.width;
    t.height = from.height;
    t.bits = 16;
    t.address = from.address;
    t.pixels.resize(rgba.size() * 2);
    for (size_t i = 0; i < rgba.size(); ++i) {
        const unsigned short v = (unsigned short)(std::min(1.0f, std::max(0.0f, rgba[i])) * 65535.0f + 0.5f);
        std::memcpy(&t.pixels[i * 2], &v, 2);
    }
    return t;
}

Texture convert(const Texture& t, ImageUse use, float strength)
{
    if (use == ImageUse::Data || t.bits == 32)
        return t;
    const size_t n = size_t(t.width) * t.height;
    std::vector<float> out(n * 4);
    for (size_t i = 0; i < n; ++i) {
        float* o = &out[i * 4];
        const float r = channel(t, i, 0), g = channel(t, i, 1), b = channel(t, i, 2), a = channel(t, i, 3);
        switch (use) {
        case ImageUse::Colour: o[0] = linear(r), o[1] = linear(g), o[2] = linear(b), o[3] = a; break;
        case ImageUse::Normal: o[0] = r, o[1] = g, o[2] = b, o[3] = 1; break;
        case ImageUse::Roughness: o[0] = o[1] = o[2] = g, o[3] = 1; break;
        case ImageUse::Metalness: o[0] = o[1] = o[2] = b * strength, o[3] = 1; break;
        default: { // height: central differences, wrapping at the edges; +y is up in the image
            // (rows run down), so the normal leans up where the height falls downwards
            const int x = int(i % size_t(t.width)), y = int(i / size_t(t.width));
            auto h = [&](int u, int v) {
                u = (u + t.width) % t.width, v = (v + t.height) % t.height;
                return channel(t, size_t(v) * size_t(t.width) + size_t(u), 0);
            };
            const float du = (h(x + 1, y) - h(x - 1, y)) * 0.5f * strength;
            const float dv = (h(x, y - 1) - h(x, y + 1)) * 0.5f * strength; // along the image's up
            const float len = std::sqrt(du * du + dv * dv + 1);
            o[0] = (-du / len + 1) / 2, o[1] = (-dv / len + 1) / 2, o[2] = (1 / len + 1) / 2, o[3] = 1;
        }
        }
    }
    return sixteen(t, out);
}

} // namespace

unsigned Reader::image(const std::string& key, const Texture& rgba, ImageUse use, float strength)
{
    return once(key, [&] { return rgba; }, use, strength);
}

unsigned Reader::imageFile(const Node& n, const std::string& file, ImageUse use, float strength)
{
    return once(file, [&] { return imageTexture(n, file, 0); }, use, strength); // decoded only when new
}

unsigned Reader::once(const std::string& key, const std::function<Texture()>& rgba, ImageUse use, float strength)
{
    const std::string full = key + "|" + std::to_string(int(use)) + "|" + std::to_string(strength);
    const auto found = images.find(full);
    if (found != images.end())
        return found->second;
    d.textures.push_back(convert(rgba(), use, strength));
    return images[full] = unsigned(d.textures.size() - 1);
}

void Description::warn(const std::string& text)
{
    if (std::find(warnings.begin(), warnings.end(), text) == warnings.end())
        warnings.push_back(text);
}

} // namespace scene
