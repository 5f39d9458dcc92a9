#pragma once
// The image stages that run between the gather and the readback, in order, in
// place on the primary device's float4 image, and the one parameter record
// they all read.

#include "api/trevix7.h"

#include <cuda_runtime.h>

struct PostprocParams {
    unsigned tonemapGrayTexture; // texture ids, 0 for none
    unsigned tonemapRedTexture;
    unsigned tonemapGreenTexture;
    unsigned tonemapBlueTexture;
    unsigned mulTexture;
    unsigned addTexture;
    cudaTextureObject_t tonemapGraySampler; // of those textures on the primary device
    cudaTextureObject_t tonemapRedSampler;
    cudaTextureObject_t tonemapGreenSampler;
    cudaTextureObject_t tonemapBlueSampler;
    cudaTextureObject_t mulSampler;
    cudaTextureObject_t addSampler;
    float3 levelsLow;
    float3 levelsHigh;
    float scale; // exposure, applied before gamma and tone mapping
    float gamma;
    float4* albedo; // the denoiser's guide images, or null
    float4* normal;
    float denoiserBlend;
    unsigned denoiserStart; // frame count from which the denoiser acts
    unsigned frames;        // the current frame count, refreshed before the stages run
};

class Postprocessing {
public:
    virtual ~Postprocessing() = default;
    virtual postprocAlgorithm type() const = 0;
    // Works in place on `image`; `source` is the frame as gathered.
    virtual void apply(float4* image, int width, int height, cudaStream_t stream,
                       const PostprocParams& params, const float4* source) = 0;
};
