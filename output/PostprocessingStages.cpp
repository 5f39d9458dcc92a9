#include "PostprocessingStages.h"

#include "kernels/postprocessing_kernels.h"

namespace {

unsigned pixels(int width, int height) { return unsigned(width) * unsigned(height); }

} // namespace

void applyGamma(float4* image, unsigned n, cudaStream_t stream, const PostprocParams& params)
{
    postprocessingGamma(n, stream, image, 1.0f / params.gamma, params.scale);
}

void LevelsCorrection::apply(float4* image, int width, int height, cudaStream_t stream,
                             const PostprocParams& params, const float4*)
{
    const float3 low = params.levelsLow;
    const float3 range = make_float3(params.levelsHigh.x - low.x, params.levelsHigh.y - low.y,
                                     params.levelsHigh.z - low.z);
    const float3 inv = make_float3(1.0f / range.x, 1.0f / range.y, 1.0f / range.z);
    postprocessingLevels(pixels(width, height), stream, image, low, range, inv);
}

void GammaCorrection::apply(float4* image, int width, int height, cudaStream_t stream,
                            const PostprocParams& params, const float4*)
{
    applyGamma(image, pixels(width, height), stream, params);
}

void TonemapGrayCorrection::apply(float4* image, int width, int height, cudaStream_t stream,
                                  const PostprocParams& params, const float4*)
{
    postprocessingTonemapGray(pixels(width, height), stream, image, params.tonemapGraySampler,
                              params.scale);
}

void TonemapRgbCorrection::apply(float4* image, int width, int height, cudaStream_t stream,
                                 const PostprocParams& params, const float4*)
{
    postprocessingTonemapRgb(pixels(width, height), stream, image, params.tonemapRedSampler,
                             params.tonemapGreenSampler, params.tonemapBlueSampler, params.scale);
}

void OverlayAdd::apply(float4* image, int width, int height, cudaStream_t stream,
                       const PostprocParams& params, const float4*)
{
    postprocessingOverlayAdd(pixels(width, height), stream, image, params.addSampler,
                             unsigned(width), 1.0f / float(width), 1.0f / float(height));
}

void OverlayMul::apply(float4* image, int width, int height, cudaStream_t stream,
                       const PostprocParams& params, const float4*)
{
    postprocessingOverlayMul(pixels(width, height), stream, image, params.mulSampler,
                             unsigned(width), 1.0f / float(width), 1.0f / float(height));
}

std::unique_ptr<Postprocessing> makeSimpleStage(postprocAlgorithm algorithm)
{
    switch (algorithm) {
    case POSTPROC_GAMMA:
        return std::make_unique<GammaCorrection>();
    case POSTPROC_TONEMAP_GRAY:
        return std::make_unique<TonemapGrayCorrection>();
    case POSTPROC_TONEMAP_RGB:
        return std::make_unique<TonemapRgbCorrection>();
    case POSTPROC_OVERLAY_MUL:
        return std::make_unique<OverlayMul>();
    case POSTPROC_OVERLAY_ADD:
        return std::make_unique<OverlayAdd>();
    default:
        return std::make_unique<LevelsCorrection>();
    }
}
