#pragma once
// Per-pixel conversions of the readback stages: saturate (NaN gives 0),
// multiply by the format's scale and truncate toward zero. The two 8-bit
// scales differ on purpose and are kept as they are. Host and device agree bit
// for bit.

#include "vector_math.h"

constexpr float kScaleRgba8 = 255.99f;     // bits 0x437FFD71
constexpr float kScaleBgra8 = 255.999f;    // bits 0x437FFFBE
constexpr float kScale16 = 65535.99f;      // bits 0x477FFFFD, exactly 65535.98828125

T7_HOST_DEVICE inline unsigned t7_quantize(float c, float scale)
{
    return unsigned(t7_saturate(c) * scale);
}

// B, G, R, A: the source's (z, y, x, w).
T7_HOST_DEVICE inline float4 t7_bgra(float4 c) { return make_float4(c.z, c.y, c.x, c.w); }

T7_HOST_DEVICE inline uchar4 t7_toUchar4(float4 c, float scale)
{
    return make_uchar4(t7_quantize(c.x, scale), t7_quantize(c.y, scale), t7_quantize(c.z, scale),
                       t7_quantize(c.w, scale));
}

T7_HOST_DEVICE inline ushort4 t7_toUshort4(float4 c)
{
    return make_ushort4(t7_quantize(c.x, kScale16), t7_quantize(c.y, kScale16),
                        t7_quantize(c.z, kScale16), t7_quantize(c.w, kScale16));
}

T7_HOST_DEVICE inline void readbackRgba8Element(unsigned i, const float4* src, uchar4* dst)
{
    dst[i] = t7_toUchar4(src[i], kScaleRgba8);
}

T7_HOST_DEVICE inline void readbackBgra8Element(unsigned i, const float4* src, uchar4* dst)
{
    dst[i] = t7_toUchar4(t7_bgra(src[i]), kScaleBgra8);
}

T7_HOST_DEVICE inline void readbackRgba16Element(unsigned i, const float4* src, ushort4* dst)
{
    dst[i] = t7_toUshort4(src[i]);
}

T7_HOST_DEVICE inline void readbackBgra16Element(unsigned i, const float4* src, ushort4* dst)
{
    dst[i] = t7_toUshort4(t7_bgra(src[i]));
}

// No clamping: the channels are only reordered.
T7_HOST_DEVICE inline void readbackBgra32Element(unsigned i, const float4* src, float4* dst)
{
    dst[i] = t7_bgra(src[i]);
}
