#pragma once
// The post-processing kernels and the denoiser's helpers: one pixel a thread.

#include "kernel_list.h"
#include "postprocessing_element.h"

#define T7_POSTPROCESSING_KERNELS(K)                                                        \
    K(postprocessingLevels, levelsElement,                                                  \
      (float4* image, float3 low, float3 range, float3 inv), (image, low, range, inv))      \
    K(postprocessingGamma, gammaElement, (float4* image, float e, float scale),             \
      (image, e, scale))                                                                    \
    K(postprocessingTonemapGray, tonemapGrayElement,                                        \
      (float4* image, cudaTextureObject_t gray, float scale), (image, gray, scale))         \
    K(postprocessingTonemapRgb, tonemapRgbElement,                                          \
      (float4* image, cudaTextureObject_t red, cudaTextureObject_t green,                   \
       cudaTextureObject_t blue, float scale),                                              \
      (image, red, green, blue, scale))                                                     \
    K(postprocessingOverlayAdd, overlayAddElement,                                          \
      (float4* image, cudaTextureObject_t overlay, unsigned width, float invWidth,          \
       float invHeight),                                                                    \
      (image, overlay, width, invWidth, invHeight))                                         \
    K(postprocessingOverlayMul, overlayMulElement,                                          \
      (float4* image, cudaTextureObject_t overlay, unsigned width, float invWidth,          \
       float invHeight),                                                                    \
      (image, overlay, width, invWidth, invHeight))                                         \
    K(postprocessingGammaDenoiser, gammaDenoiserElement,                                    \
      (const float4* src, float4* dst, float e, float scale), (src, dst, e, scale))         \
    K(filterFirefliesDenoiser, filterFirefliesElement,                                      \
      (const float4* src, float4* dst, unsigned w, unsigned h), (src, dst, w, h))           \
    K(upscale2x, upscale2xElement, (const float4* src, float4* dst, unsigned w, unsigned h),\
      (src, dst, w, h))                                                                     \
    K(extendEdges, extendEdgesElement, (float4* image, unsigned w, unsigned h), (image, w, h))

T7_POSTPROCESSING_KERNELS(T7_DECLARE_LAUNCHER)
