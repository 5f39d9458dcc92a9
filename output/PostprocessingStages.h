#pragma once
// The six simple image stages: levels, gamma, the two tone maps and the two
// overlays. Each launches one kernel over the image; none keeps any state.

#include "Postprocessing.h"

#include <memory>

#define T7_POSTPROCESSING_STAGE(Name, algorithm)                                            \
    class Name : public Postprocessing {                                                    \
    public:                                                                                 \
        postprocAlgorithm type() const override { return algorithm; }                       \
        void apply(float4* image, int width, int height, cudaStream_t stream,               \
                   const PostprocParams& params, const float4* source) override;            \
    };

T7_POSTPROCESSING_STAGE(LevelsCorrection, POSTPROC_LEVELS)
T7_POSTPROCESSING_STAGE(GammaCorrection, POSTPROC_GAMMA)
T7_POSTPROCESSING_STAGE(TonemapGrayCorrection, POSTPROC_TONEMAP_GRAY)
T7_POSTPROCESSING_STAGE(TonemapRgbCorrection, POSTPROC_TONEMAP_RGB)
T7_POSTPROCESSING_STAGE(OverlayMul, POSTPROC_OVERLAY_MUL)
T7_POSTPROCESSING_STAGE(OverlayAdd, POSTPROC_OVERLAY_ADD)
#undef T7_POSTPROCESSING_STAGE

// (c * scale)^(1 / gamma) over n pixels: the gamma stage's work, which the
// denoiser also does.
void applyGamma(float4* image, unsigned n, cudaStream_t stream, const PostprocParams& params);

// The simple stage of an algorithm: 2 to 6 their own, levels for any other
// value (0, 1 and everything above 9 alike); the denoiser kinds are not simple.
std::unique_ptr<Postprocessing> makeSimpleStage(postprocAlgorithm algorithm);
