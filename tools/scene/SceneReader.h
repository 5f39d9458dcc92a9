#pragma once
// What the sections of a scene file share while they are read into a
// description: the description, the names given so far, and where relative
// files are found.

#include "SceneDescription.h"
#include "SceneJson.h"

#include <functional>
#include <map>
#include <string>

namespace scene {

// What an image is for, which decides how its pixels become a texture.
enum class ImageUse {
    Colour,    // sRGB colours, made linear (16-bit)
    Data,      // numbers as stored
    Normal,    // a tangent-space normal map with +y up in the image, as ours
    Height,    // a height map (red), made such a normal map, its slopes scaled by the strength
    Roughness, // glTF's metallic-roughness image: its green channel, into red
    Metalness, // glTF's metallic-roughness image: its blue channel times the strength, into red
};

struct Reader {
    explicit Reader(Description& description, std::string directory = "")
        : d(description), dir(std::move(directory))
    {
    }

    Description& d;
    std::string dir; // the scene file's directory, for relative paths
    std::map<std::string, unsigned> textures, materials;
    std::map<std::string, unsigned> images; // converted images, by source, use and strength

    // The texture of an image file for `use`, read once however often it is
    // used; a file that cannot be read is an error at `n`.
    unsigned imageFile(const Node& n, const std::string& file, ImageUse use, float strength = 1);
    // The texture of decoded RGBA pixels (8 or 16 bits) for `use`, made once for `key`.
    unsigned image(const std::string& key, const Texture& rgba, ImageUse use, float strength = 1);

    std::string path(const std::string& file) const
    {
        return file.empty() || file[0] == '/' ? file : dir + file;
    }
    unsigned texture(const Node& n) const { return lookup(textures, n, "texture"); }
    unsigned material(const Node& n) const { return lookup(materials, n, "material"); }

    void variables(const Node& n);
    void texturesSection(const Node& n);
    void materialsSection(const Node& n);
    void geometrySection(const Node& n);
    void lights(const Node& n);
    void environment(const Node& n);
    void camera(const Node& n);
    void postprocessing(const Node& n);

private:
    // The texture for `use` of the pixels `rgba` gives, asked for only the first time.
    unsigned once(const std::string& key, const std::function<Texture()>& rgba, ImageUse use, float strength);
    static unsigned lookup(const std::map<std::string, unsigned>& names, const Node& n,
                           const char* what)
    {
        const auto it = names.find(n.text());
        if (it == names.end())
            n.fail(std::string("no ") + what + " named \"" + n.text() + "\"");
        return it->second;
    }
};

// Image files as textures: 8-bit, or float for Radiance .hdr files. Throws
// at `n` when the file cannot be read.
Texture imageTexture(const Node& n, const std::string& file, int address);

} // namespace scene
