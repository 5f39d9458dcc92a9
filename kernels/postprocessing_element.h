#pragma once
// Per-pixel work of the post-processing stages and of the denoiser's helpers,
// in place on a float4 image unless a source is named. Alpha is left alone by
// the six simple stages, and nothing is clamped unless said. Where the device
// uses its fast approximate functions (log2, exp2, divide) the host takes the
// exact ones, so the two agree within those functions' error only.

#include "texture_fetch.h"
#include "vector_math.h"

T7_HOST_DEVICE inline float t7_fastLog2(float x)
{
#if defined(__CUDA_ARCH__)
    return __log2f(x);
#else
    return std::log2(x);
#endif
}

T7_HOST_DEVICE inline float t7_fastExp2(float x)
{
#if defined(__CUDA_ARCH__)
    return exp2f(x); // the hardware's approximate exp2
#else
    return std::exp2(x);
#endif
}

T7_HOST_DEVICE inline float t7_fastDivide(float a, float b)
{
#if defined(__CUDA_ARCH__)
    return __fdividef(a, b);
#else
    return a / b;
#endif
}

// (c * scale)^e through log2 and exp2; 0 gives 0.
T7_HOST_DEVICE inline float t7_gamma(float c, float e, float scale)
{
    return t7_fastExp2(t7_fastLog2(c * scale) * e);
}

// (c - low) * inv per channel; `range` is passed for the record and not used.
T7_HOST_DEVICE inline void levelsElement(unsigned i, float4* image, float3 low, float3, float3 inv)
{
    float4& c = image[i];
    c.x = (c.x - low.x) * inv.x;
    c.y = (c.y - low.y) * inv.y;
    c.z = (c.z - low.z) * inv.z;
}

// e = 1 / gamma.
T7_HOST_DEVICE inline void gammaElement(unsigned i, float4* image, float e, float scale)
{
    float4& c = image[i];
    c.x = t7_gamma(c.x, e, scale);
    c.y = t7_gamma(c.y, e, scale);
    c.z = t7_gamma(c.z, e, scale);
}

// Each channel looked up at (c * scale, 0) in its own table; the table's x.
T7_HOST_DEVICE inline void tonemapRgbElement(unsigned i, float4* image, cudaTextureObject_t red,
                                             cudaTextureObject_t green, cudaTextureObject_t blue,
                                             float scale)
{
    float4& c = image[i];
    c.x = t7_tex2D(red, c.x * scale, 0.0f).x;
    c.y = t7_tex2D(green, c.y * scale, 0.0f).x;
    c.z = t7_tex2D(blue, c.z * scale, 0.0f).x;
}

T7_HOST_DEVICE inline void tonemapGrayElement(unsigned i, float4* image, cudaTextureObject_t gray,
                                              float scale)
{
    tonemapRgbElement(i, image, gray, gray, gray, scale);
}

// The overlay texel at the pixel's centre, in normalised coordinates.
T7_HOST_DEVICE inline float4 t7_overlayTexel(unsigned i, cudaTextureObject_t overlay,
                                             unsigned width, float invWidth, float invHeight)
{
    const unsigned row = i / width, col = i - row * width;
    return t7_tex2D(overlay, (float(col) + 0.5f) * invWidth, (float(row) + 0.5f) * invHeight);
}

// c + t.a * (t - c): a blend by the overlay's alpha.
T7_HOST_DEVICE inline void overlayAddElement(unsigned i, float4* image, cudaTextureObject_t overlay,
                                             unsigned width, float invWidth, float invHeight)
{
    const float4 t = t7_overlayTexel(i, overlay, width, invWidth, invHeight);
    float4& c = image[i];
    c.x = c.x + t.w * (t.x - c.x);
    c.y = c.y + t.w * (t.y - c.y);
    c.z = c.z + t.w * (t.z - c.z);
}

// c + t.a * (c * t - c).
T7_HOST_DEVICE inline void overlayMulElement(unsigned i, float4* image, cudaTextureObject_t overlay,
                                             unsigned width, float invWidth, float invHeight)
{
    const float4 t = t7_overlayTexel(i, overlay, width, invWidth, invHeight);
    float4& c = image[i];
    c.x = c.x + t.w * (c.x * t.x - c.x);
    c.y = c.y + t.w * (c.y * t.y - c.y);
    c.z = c.z + t.w * (c.z * t.z - c.z);
}

// The LDR denoiser's input: gamma, then every channel, alpha included, in
// [0, 1] (NaN gives 0).
T7_HOST_DEVICE inline void gammaDenoiserElement(unsigned i, const float4* src, float4* dst,
                                                float e, float scale)
{
    const float4 c = src[i];
    dst[i] = make_float4(t7_saturate(t7_gamma(c.x, e, scale)), t7_saturate(t7_gamma(c.y, e, scale)),
                         t7_saturate(t7_gamma(c.z, e, scale)), t7_saturate(c.w));
}

// A pixel whose r + g + b reaches 5 and whose direct neighbours all stay at or
// below a tenth of it is scaled to their mean. The test of the neighbour above
// is written the other way round from the rest; they differ for NaN sums only.
T7_HOST_DEVICE inline void filterFirefliesElement(unsigned i, const float4* src, float4* dst,
                                                  unsigned w, unsigned h)
{
    const float4 c = src[i];
    const float s = c.x + c.y + c.z;
    if (s < 5.0f) { // a NaN sum goes on to the neighbours
        dst[i] = c;
        return;
    }
    const unsigned row = i / w, col = i - row * w;
    const float t = 0.1f * s;
    float total = 0.0f;
    unsigned count = 0;
    bool isolated = true;
    auto visit = [&](unsigned j, bool above) {
        const float4 n = src[j];
        const float ns = n.x + n.y + n.z;
        total += ns;
        ++count;
        if (above ? !(ns <= t) : ns > t)
            isolated = false;
    };
    if (row > 0)
        visit(i - w, true);
    if (col > 0)
        visit(i - 1, false);
    if (col + 1 < w)
        visit(i + 1, false);
    if (row + 1 < h)
        visit(i + w, false);
    const float f = isolated ? t7_fastDivide(total, s * float(count)) : 1.0f;
    dst[i] = t7_scale4(c, f);
}

// Nearest neighbour: output pixel (row, col) of a w x h image takes source
// pixel (row / 2, col / 2) of the (w / 2) x (h / 2) one; an odd last row or
// column repeats the source's last.
T7_HOST_DEVICE inline void upscale2xElement(unsigned i, const float4* src, float4* dst, unsigned w,
                                            unsigned h)
{
    const unsigned row = i / w, col = i - row * w;
    const unsigned r = row >> 1 < (h >> 1) ? row >> 1 : (h >> 1) - 1;
    const unsigned c = col >> 1 < (w >> 1) ? col >> 1 : (w >> 1) - 1;
    dst[i] = src[r * (w >> 1) + c];
}

// After the upscaling denoiser wrote the even part (w / 2 * 2) x (h / 2 * 2)
// of a w x h image: an odd last column or row repeats its neighbour, which
// lies inside that part, so no pixel reads one written by this pass.
T7_HOST_DEVICE inline void extendEdgesElement(unsigned i, float4* image, unsigned w, unsigned h)
{
    const unsigned row = i / w, col = i - row * w;
    const unsigned evenW = w & ~1u, evenH = h & ~1u;
    if (row < evenH && col < evenW)
        return;
    image[i] = image[(row < evenH ? row : evenH - 1) * w + (col < evenW ? col : evenW - 1)];
}
