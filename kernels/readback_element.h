#pragma once
// Per-pixel conversions of the readback stages: saturate (NaN gives 0),
// multiply by the format's scale and truncate toward zero. The two 8-bit
// scales differ on purpose and are kept as they are. Host and device agree bit
// for bit.

#include "vector_math.h"

constexpr float kScaleRgba8 = 255.99f;     // bits 0x437FFD71
constexpr float kScaleBgra8 = 255.999f;    // bits 0x437FFFBE
constexpr float kScale16 = 65535.99f;      // bits 0x477FFFFD, exactly 65535.98828125

T7_HOST_DEVICE inline float t7_saturate(float c)
{
#if defined(__CUDA_ARCH__)
    return __saturatef(c);
#else
    return c > 0.0f ? (c < 1.0f ? c : 1.0f) : 0.0f; // NaN fails both tests: 0
#endif
}

T7_HOST_DEVICE inline unsigned t7_quantize(float c, float scale)
{
    return unsigned(t7_saturate(c) * scale);
}

T7_HOST_DEVICE inline void readbackRgba8Element(unsigned i, const float4* src, uchar4* dst)
{
    const float4 c = src[i];
    dst[i] = make_uchar4(t7_quantize(c.x, kScaleRgba8), t7_quantize(c.y, kScaleRgba8),
                         t7_quantize(c.z, kScaleRgba8), t7_quantize(c.w, kScaleRgba8));
}

T7_HOST_DEVICE inline void readbackBgra8Element(unsigned i, const float4* src, uchar4* dst)
{
    const float4 c = src[i];
    dst[i] = make_uchar4(t7_quantize(c.z, kScaleBgra8), t7_quantize(c.y, kScaleBgra8),
                         t7_quantize(c.x, kScaleBgra8), t7_quantize(c.w, kScaleBgra8));
}

T7_HOST_DEVICE inline void readbackRgba16Element(unsigned i, const float4* src, ushort4* dst)
{
    const float4 c = src[i];
    dst[i] = make_ushort4(t7_quantize(c.x, kScale16), t7_quantize(c.y, kScale16),
                          t7_quantize(c.z, kScale16), t7_quantize(c.w, kScale16));
}

T7_HOST_DEVICE inline void readbackBgra16Element(unsigned i, const float4* src, ushort4* dst)
{
    const float4 c = src[i];
    dst[i] = make_ushort4(t7_quantize(c.z, kScale16), t7_quantize(c.y, kScale16),
                          t7_quantize(c.x, kScale16), t7_quantize(c.w, kScale16));
}

// No clamping: the channels are only reordered.
T7_HOST_DEVICE inline void readbackBgra32Element(unsigned i, const float4* src, float4* dst)
{
    const float4 c = src[i];
    dst[i] = make_float4(c.z, c.y, c.x, c.w);
}
