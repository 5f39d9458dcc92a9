// The renderer's post-processing: the stage list with the denoiser in front,
// the stage textures and settings, and the denoiser's guides and sizes.

#include "core/PathTracer.h"

#include "Denoiser.h"
#include "ImageSize.h"
#include "PostprocessingStages.h"

void PathTracer::addPostprocessing(postprocAlgorithm algorithm)
{
    if (algorithm < POSTPROC_DENOISER_LDR || algorithm > POSTPROC_DENOISER_UP2) {
        m_postprocessing.push_back(makeSimpleStage(algorithm));
        return;
    }
    if (hasDenoiser())
        throw sutil::Exception("Denoiser already implemented!");
    if (algorithm == POSTPROC_DENOISER_UP2) {
        const std::string problem = imageSizeProblem(m_width, m_height, 2);
        if (!problem.empty())
            throw sutil::Exception(problem.c_str());
    }
    static const OptixDenoiserModelKind kModels[] = {OPTIX_DENOISER_MODEL_KIND_LDR,
                                                     OPTIX_DENOISER_MODEL_KIND_HDR,
                                                     OPTIX_DENOISER_MODEL_KIND_UPSCALE2X};
    makeCurrent(m_states.front());
    m_postprocessing.insert(m_postprocessing.begin(),
                            std::make_unique<Denoiser>(m_states.front().context,
                                                       kModels[algorithm - POSTPROC_DENOISER_LDR],
                                                       m_states.front().stream));
    const unsigned scale = m_scaleFactor;
    if (algorithm == POSTPROC_DENOISER_UP2)
        m_scaleFactor = 2;
    m_activeDenoiserKind = unsigned(m_variables.denoiser_kind);
    // The guide images and, for upscaling, the half-size render and the
    // upscaled image, on every device.
    reapplySize([&] {
        m_postprocessing.erase(m_postprocessing.begin());
        m_scaleFactor = scale;
    });
}

bool PathTracer::hasDenoiser() const
{
    if (m_postprocessing.empty())
        return false;
    const postprocAlgorithm first = m_postprocessing.front()->type();
    return first >= POSTPROC_DENOISER_LDR && first <= POSTPROC_DENOISER_UP2;
}

void PathTracer::setPostprocLevels(const float3& low, const float3& high)
{
    m_variables.levels_low_range = m_postprocParams.levelsLow = low;
    m_variables.levels_high_range = m_postprocParams.levelsHigh = high;
}

bool PathTracer::setPostprocTexture(unsigned id, unsigned& field, cudaTextureObject_t& sampler,
                                    const char* notFound)
{
    sampler = m_states.front().sampler(id, notFound);
    field = id;
    m_accumFrames = 0;
    return true;
}

// Each stage texture: its id and sampler fields and its message.
#define T7_POSTPROC_TEXTURES(X)                                                                 \
    X(TonemapGrayTexture, tonemapGrayTexture, tonemapGraySampler, "TonemapGray texture not found.") \
    X(TonemapRedTexture, tonemapRedTexture, tonemapRedSampler, "TonemapRed texture not found.")   \
    X(TonemapGreenTexture, tonemapGreenTexture, tonemapGreenSampler,                           \
      "TonemapGreen texture not found.")                                                        \
    X(TonemapBlueTexture, tonemapBlueTexture, tonemapBlueSampler,                              \
      "TonemapBlue texture not found.")                                                         \
    X(AddTexture, addTexture, addSampler, "Add overlay texture not found.")                    \
    X(MulTexture, mulTexture, mulSampler, "Mul overlay texture not found.")

#define T7_POSTPROC_TEXTURE_SETTER(Name, id, sampler, message)                                  \
    bool PathTracer::setPostproc##Name(unsigned int texture)                                    \
    {                                                                                           \
        return setPostprocTexture(texture, m_postprocParams.id, m_postprocParams.sampler,      \
                                  message);                                                     \
    }
T7_POSTPROC_TEXTURES(T7_POSTPROC_TEXTURE_SETTER)
#undef T7_POSTPROC_TEXTURE_SETTER

void PathTracer::updatePostprocTextureSamplers(PathTracerState& state)
{
    const bool primary = &state == &m_states.front();
    auto refresh = [&](unsigned id, cudaTextureObject_t& sampler, const char* notFound) {
        if (!id)
            return;
        const cudaTextureObject_t object = state.sampler(id, notFound);
        if (primary)
            sampler = object;
    };
#define T7_REFRESH(Name, id, sampler, message) refresh(m_postprocParams.id, m_postprocParams.sampler, message);
    T7_POSTPROC_TEXTURES(T7_REFRESH)
#undef T7_REFRESH
}

void PathTracer::setPostprocDenoiser(OptixDenoiserInputKind kind, float blend, unsigned int start)
{
    m_variables.denoiser_kind = int(kind);
    m_variables.denoiser_blend = m_postprocParams.denoiserBlend = blend;
    m_variables.denoiser_start = m_postprocParams.denoiserStart = start;
}

void PathTracer::resizeDenoiserBuffers()
{
    const bool upscaled = m_scaleFactor >= 2;
    m_upscaledImage.resize(upscaled ? int(m_width) : 1, upscaled ? int(m_height) : 1);
}
