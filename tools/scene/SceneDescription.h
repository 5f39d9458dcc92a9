#pragma once
// A scene as read from its files, before any device is touched: what the
// library will be given, in its own terms, with the place in the file of
// each part so that a refusal by the library still names it. Reading fills
// it (JSON, OBJ with its MTL, glTF); building hands it to the library.

#include "trevix7.h"
#include "trevix7_programs.h"

#include <map>
#include <string>
#include <vector>

namespace scene {

using f3 = trevix7_float3;

// The render settings of the file, after the caller's overrides.
struct Settings {
    unsigned width = 640, height = 480, frames = 64;
    std::vector<unsigned> devices; // empty: every capable GPU
    int denoise = 0;               // 0 or POSTPROC_DENOISER_*
    OptixDenoiserInputKind denoiseGuides = OPTIX_DENOISER_INPUT_RGB_ALBEDO_NORMAL;
    unsigned denoiseStart = 1;
    float denoiseBlend = 0;
    bool display = true; // the display stages run (off: linear radiance)
};

// RGBA pixels, 8-bit or 32-bit float channels, top row first.
struct Texture {
    std::string place;
    int width = 0, height = 0, bits = 8;
    int address = 0; // cudaTextureAddressMode
    std::vector<unsigned char> pixels;
};

// Texture arrays of a material, by kind.
enum TextureKind { kColorTextures, kRoughnessTextures, kMetalnessTextures, kNormalTextures };

struct Material {
    std::string place;
    std::string radiance = "t7_hit.cu::__closesthit__radiance";
    std::string occlusion = "t7_hit.cu::__closesthit__occlusion";
    unsigned flags = TREVIX7_MATERIAL_DIFFUSE;
    std::vector<std::string> floatNames, float3Names;
    std::vector<float> floats;
    std::vector<f3> float3s;
    std::vector<unsigned> textures[4]; // indices into Description::textures
    size_t textureCount = 0;

    void set(const std::string& name, float value);
    void set(const std::string& name, f3 value);
};

struct Mesh {
    std::vector<f3> vertices, normals;
    std::vector<trevix7_uint3> faces, normalFaces, uvFaces;
    std::vector<trevix7_float2> uvs; // v = 0 is the image's top row
};

struct Geometry {
    enum Kind { Triangles, Curves, Primitives };
    std::string place, name;
    Kind kind = Triangles;
    int material = -1; // an index into Description::materials; -1: the default grey
    bool hasColor = false;
    f3 color = {0, 0, 0};
    int displacement = -1; // an index into Description::textures
    Mesh mesh;             // Triangles
    // Curves and Primitives: the kind, the slots with their element sizes,
    // and the data of each slot (one element per point or primitive).
    geoPrimirivesType type = geoPrimitives0;
    std::string program; // Primitives: the intersection program
    std::vector<unsigned> slots, sizes;
    std::vector<std::vector<unsigned char>> data;
    std::vector<unsigned> dataSlots;
    unsigned count = 0;
    std::vector<unsigned> segments; // Curves
};

struct Camera {
    std::string place;
    std::string program = "t7_camera.cu::__raygen__pinhole";
    std::string miss = "t7_miss.cu::__miss__environment";
    f3 eye = {0, 0, 5}, target = {0, 0, 0}, up = {0, 1, 0};
    float fov = 45, rxy = 1;
    trevix7_float2 cxy = {0, 0};
    float aperture = 0, blades = 0, focus = 0, bladeRotation = 0, filter = 0, blend = 0;
    std::vector<unsigned> textures;
};

// One post-processing stage after the denoiser; all of them are display stages.
struct Stage {
    explicit Stage(std::string at) : place(std::move(at)) {}

    std::string place;
    postprocAlgorithm algorithm = POSTPROC_GAMMA;
    f3 low = {0, 0, 0}, high = {1, 1, 1}; // levels
    float gamma = 2.2f, scale = 1;        // gamma
    std::vector<unsigned> textures;       // tone maps (gray, or red, green, blue) and overlays
};

struct Description {
    std::string file;
    Settings settings;
    // Shader variables no other part sets.
    std::vector<std::string> uint2Names, floatNames, float3Names;
    std::vector<trevix7_uint2> uint2s;
    std::vector<float> floats;
    std::vector<f3> float3s;
    std::string variablesPlace;
    f3 background = {0, 0, 0}, ambient = {0, 0, 0};
    int environmentTexture = -1;
    std::string environmentPlace;
    std::vector<Texture> textures;
    std::vector<Material> materials;
    std::vector<Geometry> geometry;
    std::vector<LightData> lights;
    std::string lightsPlace;
    Camera camera;
    std::vector<Stage> stages;
    // One line for each kind of thing in a file that cannot be rendered.
    std::vector<std::string> warnings;

    // A warning once per text.
    void warn(const std::string& text);
};

} // namespace scene
