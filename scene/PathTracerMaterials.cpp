// Materials of a renderer instance: one copy per device under a process-wide id.

#include "core/PathTracer.h"

#include "core/CUDABuffer.h"

#include <climits>
#include <string>
#include <tuple>

T7_CHECK_LABEL(PathTracer::kLabel);

unsigned PathTracer::_materialCount = 0;

namespace {

template <typename T>
void take(const PathTracer::VariableMap<T>& map, const char* key, T& field)
{
    auto found = map.find(key);
    if (found != map.end())
        field = found->second;
}

// Defaults, overwritten by every parameter present in the maps.
MaterialData materialData(const PathTracer::VariableMap<unsigned>& uintParams,
                          const PathTracer::VariableMap<float>& floatParams,
                          const PathTracer::VariableMap<float3>& float3Params,
                          const PathTracer::VariableMap<float4>& float4Params,
                          unsigned long tex_count)
{
    MaterialData data;
    auto color4 = float4Params.find("base_color");
    auto color3 = float3Params.find("base_color");
    if (color4 != float4Params.end())
        data.base_color = color4->second;
    else if (color3 != float3Params.end())
        data.base_color = make_float4(color3->second.x, color3->second.y, color3->second.z, 1.0f);
    take(float3Params, "surface_albedo", data.surface_albedo);
    take(floatParams, "light_emission", data.light_emission);
    take(float3Params, "refraction_index", data.refraction_index);
    take(floatParams, "base_roughness", data.base_roughness);
    take(float3Params, "subsurface_color", data.subsurface_color);
    take(floatParams, "radiation_length", data.radiation_length);
    take(floatParams, "reflectivity_index", data.reflectivity_index);
    take(floatParams, "reflectivity_range", data.reflectivity_range);
    take(floatParams, "normaltilt_iar", data.normaltilt_iar);
    take(uintParams, "flags", data.flags);
    if (tex_count > UINT_MAX)
        throw sutil::Exception(("Texture count " + std::to_string(tex_count) +
                                " is above the largest a material holds (" +
                                std::to_string(UINT_MAX) + ").").c_str());
    data.tex_count = unsigned(tex_count);
    return data;
}

std::vector<cudaTextureObject_t> samplersOf(const PathTracerState& state,
                                            const std::vector<unsigned>& ids,
                                            const char* notFound)
{
    std::vector<cudaTextureObject_t> samplers;
    samplers.reserve(ids.size());
    for (unsigned id : ids)
        samplers.push_back(state.sampler(id, notFound));
    return samplers;
}

// The current texture objects of this device for four lists of texture ids.
MaterialSamplers samplersOf(const PathTracerState& state, const MaterialTextureIds& ids)
{
    MaterialSamplers samplers;
    samplers.color = samplersOf(state, ids.color, "Base color texture not found.");
    samplers.roughness = samplersOf(state, ids.roughness, "Roughness texture not found.");
    samplers.metalness = samplersOf(state, ids.metalness, "Metalness texture not found.");
    samplers.normal = samplersOf(state, ids.normal, "Normal texture not found.");
    return samplers;
}

} // namespace

unsigned PathTracer::setupMaterial(const std::string& radiance, const std::string& occlusion,
                                   const VariableMap<unsigned>& uintParams,
                                   const VariableMap<float>& floatParams,
                                   const VariableMap<float3>& float3Params,
                                   const VariableMap<float4>& float4Params,
                                   const MaterialTextureIds& textures, unsigned long tex_count)
{
    const unsigned id = ++_materialCount; // consumed even when set-up fails
    const HitProgram radianceProgram =
        loadHitProgram(radiance, "Radiance program name not valid.");
    const HitProgram occlusionProgram =
        loadHitProgram(occlusion, "Occlusion program name not valid.");
    const MaterialData data =
        materialData(uintParams, floatParams, float3Params, float4Params, tex_count);

    addOnEveryState(&PathTracerState::materials, id,
                    [&](PathTracerState& state, std::map<unsigned, Material>& map) {
                        map.emplace(std::piecewise_construct, std::forward_as_tuple(id),
                                    std::forward_as_tuple(state.device_idx, state.stream, data,
                                                          samplersOf(state, textures), textures,
                                                          radianceProgram, occlusionProgram));
                    });
    m_accumFrames = 0;
    m_hit_dirty = m_pipeline_dirty = m_sbt_dirty = true;
    return id;
}

bool PathTracer::updateMaterial(unsigned id, const VariableMap<unsigned>& uintParams,
                                const VariableMap<float>& floatParams,
                                const VariableMap<float3>& float3Params,
                                const VariableMap<float4>& float4Params,
                                const MaterialTextureIds& textures, unsigned long tex_count)
{
    const MaterialData data =
        materialData(uintParams, floatParams, float3Params, float4Params, tex_count);
    const bool found = forEachState([&](PathTracerState& state) {
        auto material = state.materials.find(id);
        if (material == state.materials.end())
            return false;
        material->second.updateParams(data, samplersOf(state, textures), textures);
        return true;
    });
    if (!found)
        return false;
    m_sbt_dirty = true;
    m_accumFrames = 0;
    return true;
}

void PathTracer::updateStateTextureSamplers(PathTracerState& state)
{
    for (auto& entry : state.materials) {
        Material& material = entry.second;
        material.updateTextureSamplers(samplersOf(state, material.textureIds()));
    }
    m_sbt_dirty = true;

    for (auto& entry : state.primitives) {
        GeometryPrimitives& geometry = entry.second;
        if (geometry.displacementTexture())
            applyDisplacement(state, geometry, geometry.displacementTexture());
    }
    // The background and the current camera's textures.
    auto refresh = [&](unsigned id, unsigned long long& sampler) {
        if (!id)
            return;
        auto found = state.textures.find(id);
        sampler = found != state.textures.end() ? found->second.sampler() : 0;
    };
    refresh(m_backgroundTexture, state.params.bg_texture);
    refresh(state.camera_texture0, state.params.camera_tex0);
    refresh(state.camera_texture1, state.params.camera_tex1);
    updatePostprocTextureSamplers(state);
}
