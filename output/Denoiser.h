#pragma once
// The AI denoiser as the first post-processing stage: low or high dynamic
// range, or 2x upscaling (the renderer then traces at half size and the
// denoiser makes the full-size image). It uses the albedo and normal images
// as guides when the frame provides them, blends with the noisy input by the
// denoiser blend, and acts from the denoiser start frame count on; the gamma
// and scale correction is part of it.

#include "Postprocessing.h"

#include "core/optix7.h"

class Denoiser : public Postprocessing {
public:
    static constexpr const char* kCheckLabel = "Postprocessing.cpp";

    // Allocates the intensity value (1.0) on the current device; the OptiX
    // denoiser is made by the first frame that needs it. Throws "Denoiser model not supported." for a
    // kind other than LDR, HDR and 2x upscaling.
    Denoiser(OptixDeviceContext context, OptixDenoiserModelKind kind, cudaStream_t stream);
    ~Denoiser() override;
    Denoiser(const Denoiser&) = delete;
    Denoiser& operator=(const Denoiser&) = delete;

    postprocAlgorithm type() const override;
    void apply(float4* image, int width, int height, cudaStream_t stream,
               const PostprocParams& params, const float4* source) override;

    // Makes the OptiX denoiser match the guides of `params` and the output
    // size: other guides recreate it, another size reallocates its memory.
    void prep(OptixDenoiserOptions& options, int width, int height, cudaStream_t stream,
              const PostprocParams& params);
    void setupImage2D(OptixImage2D& image, unsigned long long data, int width, int height) const;

    OptixDenoiser handle() const { return m_denoiser; }
    CUdeviceptr input() const { return m_buffer; }

private:
    void apply_ldr(float4* image, int width, int height, cudaStream_t stream,
                   const PostprocParams& params);
    void apply_hdr(float4* image, int width, int height, cudaStream_t stream,
                   const PostprocParams& params);
    void apply_up2(float4* image, int width, int height, cudaStream_t stream,
                   const PostprocParams& params, const float4* source);
    // D1 to D4: the layer, the guides, the intensity, the invocation.
    void invoke(float4* image, cudaStream_t stream, const PostprocParams& params);
    static bool active(const PostprocParams& params) { return params.frames >= params.denoiserStart; }

    OptixDeviceContext m_context;
    cudaStream_t m_stream;
    unsigned m_width = 0; // output size last prepared for
    unsigned m_height = 0;
    unsigned m_div;            // output / input size: 2 for upscaling, else 1
    CUdeviceptr m_buffer = 0;  // the denoiser's input image at input size
    OptixDenoiserModelKind m_model_kind;
    OptixDenoiserOptions m_options = {};
    OptixDenoiser m_denoiser = nullptr;
    OptixDenoiserSizes m_sizesDenoiser = {};
    OptixDenoiserParams m_paramsDenoiser = {};
    CUdeviceptr m_d_stateDenoiser = 0;
    CUdeviceptr m_d_scratchDenoiser = 0;
    int m_device = 0; // current at construction; the destructor releases there
};
