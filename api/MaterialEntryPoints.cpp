// Entry points for textures and materials.

#include "trevix7.h"

#include "EntryPoint.h"
#include "core/PathTracer.h"

namespace {

// The parameter lists and texture lists shared by material set-up and update.
struct MaterialArguments {
    PathTracer::VariableMap<unsigned> uints;
    PathTracer::VariableMap<float> floats;
    PathTracer::VariableMap<float3> float3s;
    PathTracer::VariableMap<float4> float4s;
    MaterialTextureIds textures;
};

MaterialArguments materialArguments(
    const char** uintNames, const unsigned* uintValues, size_t uintCount,
    const char** floatNames, const float* floatValues, size_t floatCount,
    const char** float3Names, const trevix7_float3* float3Values, size_t float3Count,
    const char** float4Names, const trevix7_float4* float4Values, size_t float4Count,
    const unsigned* color, unsigned colorCount, const unsigned* roughness,
    unsigned roughnessCount, const unsigned* metalness, unsigned metalnessCount,
    const unsigned* normal, unsigned normalCount)
{
    return {toVariableMap(uintNames, uintValues, uintCount, "uintNames", "uintValues"),
            toVariableMap(floatNames, floatValues, floatCount, "floatNames", "floatValues"),
            toVariableMap(float3Names, float3Values, float3Count, "float3Names", "float3Values"),
            toVariableMap(float4Names, float4Values, float4Count, "float4Names", "float4Values"),
            {toVector(color, colorCount, "colorTextures"),
             toVector(roughness, roughnessCount, "roughnessTextures"),
             toVector(metalness, metalnessCount, "metalnessTextures"),
             toVector(normal, normalCount, "normalTextures")}};
}

} // namespace

extern "C" {

unsigned int ApiSetupTexture(unsigned int handle, int width, int height, int channels,
                             int bitsPerChannel, int addressMode, const void* data, char* error)
{
    return catching(handle, error, 0u, 0u, [&](PathTracer& pt) {
        return pt.setupTexture(width, height, channels, bitsPerChannel, addressMode,
                               required(data, "data"));
    });
}

bool ApiUpdateTexture(unsigned int handle, unsigned int texture, int width, int height,
                      const void* data, char* error)
{
    return catching(handle, error, false, false, [&](PathTracer& pt) {
        return pt.updateTexture(texture, width, height, required(data, "data"));
    });
}

bool ApiSetBackgroundTexture(unsigned int handle, unsigned int texture)
{
    return nonCatching(handle, false,
                       [&](PathTracer& pt) { return pt.setBackgroundTexture(texture); });
}

unsigned int ApiSetupMaterial(
    unsigned int handle, const char* radianceProgram, const char* occlusionProgram,
    const char** uintNames, unsigned int* uintValues, size_t uintCount, const char** floatNames,
    float* floatValues, size_t floatCount, const char** float3Names,
    trevix7_float3* float3Values, size_t float3Count, const char** float4Names,
    trevix7_float4* float4Values, size_t float4Count, const unsigned int* colorTextures,
    unsigned int colorTextureCount, const unsigned int* roughnessTextures,
    unsigned int roughnessTextureCount, const unsigned int* metalnessTextures,
    unsigned int metalnessTextureCount, const unsigned int* normalTextures,
    unsigned int normalTextureCount, unsigned long textureCount, char* error)
{
    return catching(handle, error, 0u, 0u, [&](PathTracer& pt) {
        const std::string radiance = requiredString(radianceProgram, "radianceProgram");
        const std::string occlusion = requiredString(occlusionProgram, "occlusionProgram");
        const MaterialArguments a = materialArguments(
            uintNames, uintValues, uintCount, floatNames, floatValues, floatCount, float3Names,
            float3Values, float3Count, float4Names, float4Values, float4Count, colorTextures,
            colorTextureCount, roughnessTextures, roughnessTextureCount, metalnessTextures,
            metalnessTextureCount, normalTextures, normalTextureCount);
        return pt.setupMaterial(radiance, occlusion, a.uints, a.floats, a.float3s, a.float4s,
                                a.textures, textureCount);
    });
}

bool ApiUpdateMaterial(
    unsigned int handle, unsigned int material, const char** uintNames, unsigned int* uintValues,
    size_t uintCount, const char** floatNames, float* floatValues, size_t floatCount,
    const char** float3Names, trevix7_float3* float3Values, size_t float3Count,
    const char** float4Names, trevix7_float4* float4Values, size_t float4Count,
    const unsigned int* colorTextures, unsigned int colorTextureCount,
    const unsigned int* roughnessTextures, unsigned int roughnessTextureCount,
    const unsigned int* metalnessTextures, unsigned int metalnessTextureCount,
    const unsigned int* normalTextures, unsigned int normalTextureCount,
    unsigned long textureCount, char* error)
{
    return catching(handle, error, false, false, [&](PathTracer& pt) {
        const MaterialArguments a = materialArguments(
            uintNames, uintValues, uintCount, floatNames, floatValues, floatCount, float3Names,
            float3Values, float3Count, float4Names, float4Values, float4Count, colorTextures,
            colorTextureCount, roughnessTextures, roughnessTextureCount, metalnessTextures,
            metalnessTextureCount, normalTextures, normalTextureCount);
        return pt.updateMaterial(material, a.uints, a.floats, a.float3s, a.float4s, a.textures,
                                 textureCount);
    });
}

} // extern "C"
