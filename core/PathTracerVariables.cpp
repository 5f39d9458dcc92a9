// Shader variables: looked up by name in the list of their type (a name in
// another list, or unknown, is ignored; the float2 list has no names), then
// written to every destination. Any change restarts accumulation.

#include "PathTracer.h"

namespace {

template <typename T> struct Named {
    const char* name;
    T ShaderVariables::*field;
};

const Named<int> kInts[] = {{"denoiser_kind", &ShaderVariables::denoiser_kind}};
const Named<unsigned> kUints[] = {{"denoiser_start", &ShaderVariables::denoiser_start}};
const Named<uint2> kUint2s[] = {{"path_seg_range", &ShaderVariables::path_seg_range}};
const Named<float> kFloats[] = {{"scene_epsilon", &ShaderVariables::scene_epsilon},
                                {"tonemap_gamma", &ShaderVariables::tonemap_gamma},
                                {"tonemap_exposure", &ShaderVariables::tonemap_exposure},
                                {"denoiser_blend", &ShaderVariables::denoiser_blend}};
const Named<float3> kFloat3s[] = {{"ambient_color", &ShaderVariables::ambient_color},
                                  {"bg_color", &ShaderVariables::bg_color},
                                  {"bad_color", &ShaderVariables::bad_color},
                                  {"levels_low_range", &ShaderVariables::levels_low_range},
                                  {"levels_high_range", &ShaderVariables::levels_high_range}};

// Takes the value of every name of `names` that `map` has.
template <typename T, size_t N>
void take(const PathTracer::VariableMap<T>& map, const Named<T> (&names)[N], ShaderVariables& v)
{
    for (const Named<T>& n : names) {
        auto it = map.find(n.name);
        if (it != map.end())
            v.*n.field = it->second;
    }
}

} // namespace

ShaderVariables PathTracer::readVariables(
    ShaderVariables v, const VariableMap<int>& ints, const VariableMap<unsigned>& uints,
    const VariableMap<uint2>& uint2s, const VariableMap<float>& floats,
    const VariableMap<float2>& /*float2s: accepted, nothing is looked up there*/,
    const VariableMap<float3>& float3s)
{
    take(ints, kInts, v);
    take(uints, kUints, v);
    take(uint2s, kUint2s, v);
    take(floats, kFloats, v);
    take(float3s, kFloat3s, v);
    return v;
}

void PathTracer::applyVariables(const ShaderVariables& v)
{
    m_variables = v;
    forEachState([&](PathTracerState& state) {
        state.params.scene_epsilon = v.scene_epsilon;
        state.params.ambient_color = v.ambient_color;
        state.params.path_seg_range = v.path_seg_range;
        state.params.bad_color = v.bad_color;
        state.params.bg_color = v.bg_color;
    });
    setPostprocGamma(v.tonemap_gamma, v.tonemap_exposure);
    m_postprocParams.levelsLow = v.levels_low_range;
    m_postprocParams.levelsHigh = v.levels_high_range;
    m_postprocParams.denoiserBlend = v.denoiser_blend;
    m_postprocParams.denoiserStart = v.denoiser_start;
    m_accumFrames = 0;
}

void PathTracer::setVariables(const VariableMap<int>& ints, const VariableMap<unsigned>& uints,
                              const VariableMap<uint2>& uint2s, const VariableMap<float>& floats,
                              const VariableMap<float2>& float2s,
                              const VariableMap<float3>& float3s)
{
    applyVariables(readVariables(ShaderVariables(), ints, uints, uint2s, floats, float2s, float3s));
    // Filled again by the light and camera set-up. Called at construction
    // only, before any light array exists.
    forEachState([](PathTracerState& state) {
        state.params.num_lights = 0;
        state.params.lights = nullptr;
        state.params.camera_tex0 = state.params.camera_tex1 = 0;
        state.params.bg_texture = 0;
    });
    m_postprocParams.albedo = m_postprocParams.normal = nullptr;
    // The host's texture ids are kept; their samplers are resolved again.
    m_postprocParams.tonemapGraySampler = m_postprocParams.tonemapRedSampler = 0;
    m_postprocParams.tonemapGreenSampler = m_postprocParams.tonemapBlueSampler = 0;
    m_postprocParams.addSampler = m_postprocParams.mulSampler = 0;
}

void PathTracer::updateVariables(const VariableMap<int>& ints, const VariableMap<unsigned>& uints,
                                 const VariableMap<uint2>& uint2s,
                                 const VariableMap<float>& floats,
                                 const VariableMap<float2>& float2s,
                                 const VariableMap<float3>& float3s)
{
    applyVariables(readVariables(m_variables, ints, uints, uint2s, floats, float2s, float3s));
    if (!hasDenoiser())
        return;
    // A guide kind named here is the denoiser's at once; the guide images
    // follow on every device, or everything stays as it was.
    auto kind = ints.find("denoiser_kind");
    if (kind != ints.end() && unsigned(kind->second) != m_activeDenoiserKind) {
        const unsigned before = m_activeDenoiserKind;
        m_activeDenoiserKind = unsigned(kind->second);
        reapplySize([&] { m_activeDenoiserKind = before; });
    }
    resizeDenoiserBuffers();
}

void PathTracer::setPostprocGamma(float gamma, float scale)
{
    m_variables.tonemap_gamma = gamma; // a later update of other variables keeps them
    m_variables.tonemap_exposure = scale;
    m_postprocParams.gamma = gamma;
    m_postprocParams.scale = scale;
    forEachState([&](PathTracerState& state) {
        state.params.gamma = gamma;
        state.params.exposure = scale;
    });
}
