#pragma once
// What the sections of a scene file share while they are built: the
// instance, the names given so far, and one way to check a library call.

#include "SceneJson.h"
#include "SceneLoader.h"

#include <map>
#include <string>

namespace scene {

struct Builder {
    unsigned handle = 0;
    std::string dir; // the scene file's directory, for relative paths
    std::map<std::string, unsigned> textures, materials, geometry;
    char message[4096] = {};

    // A failed library call becomes an error at `n`, with the library's message.
    void check(bool ok, const Node& n)
    {
        if (!ok)
            n.fail(message[0] ? message : "the library refused it");
    }
    std::string path(const std::string& file) const
    {
        return file.empty() || file[0] == '/' ? file : dir + file;
    }
    unsigned texture(const Node& n) const { return lookup(textures, n, "texture"); }
    unsigned material(const Node& n) const { return lookup(materials, n, "material"); }
    // A geometry without a material gets a grey diffuse one, made once.
    unsigned defaultMaterial(const Node& n);

    void variables(const Node& n);
    void texturesSection(const Node& n);
    void materialsSection(const Node& n);
    void geometrySection(const Node& n);
    void lights(const Node& n);
    void environmentColors(const Node& n);
    void environmentTexture(const Node& n);
    unsigned camera(const Node& n);
    void postprocessing(const Node& n);

private:
    static unsigned lookup(const std::map<std::string, unsigned>& names, const Node& n,
                           const char* what)
    {
        const auto it = names.find(n.text());
        if (it == names.end())
            n.fail(std::string("no ") + what + " named \"" + n.text() + "\"");
        return it->second;
    }
};

} // namespace scene
