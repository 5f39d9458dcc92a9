#pragma once
// Per-sample arithmetic of the frame launch: which pixel each sample of a
// device renders, and how the samples of a batch fold into the image. The CUDA
// kernels and the simulated device's host loops both call these functions.
//
// Host and device agree bit for bit: the kernels are built without fused
// multiply-add, and square root and division are correctly rounded on both.

#include "vector_math.h"

// Samples come in 8 x 8 pixel tiles of 64 samples. A band of tiles is 8 rows
// high; each device owns one 8-pixel slot in every 8*D-pixel-wide super-tile,
// and the slots shift by one from band to band, so expensive regions are
// shared. `deviceIndex` is the device's CUDA ordinal; the height is not used
// (samples below the image are dropped by the gather).
T7_HOST_DEVICE inline void fillSamples(unsigned s, int deviceIndex, int deviceCount,
                                       unsigned width, unsigned /*height*/, int2* out)
{
    const unsigned devices = unsigned(deviceCount);
    const unsigned superWidth = 8 * devices;
    const unsigned tilesPerRow = (width + superWidth - 1) / superWidth;
    const unsigned tile = s / 64;
    const unsigned r = s % 64;
    const unsigned band = tile / tilesPerRow;
    const unsigned column = tile % tilesPerRow;
    const unsigned slot = (band % devices + unsigned(deviceIndex)) % devices;
    out[s] = make_int2(int(column * superWidth + slot * 8 + r % 8), int(band * 8 + r / 8));
}

// What one device's gather reads and writes. Albedo and normal images are
// null when they are not wanted; the image is stored bottom row first.
struct GatherArgs {
    const int2* indices;      // pixel of each sample
    const float4* accum;      // sum of the batch's passes, per sample
    float4* l2;               // running average, per sample
    const float4* albedoAccum;
    const float4* normalAccum;
    float4* image;
    float4* albedoImage;
    float4* normalImage;
    unsigned width;
    unsigned height;
};

// The image index of sample s, or false for a sample outside the image.
T7_HOST_DEVICE inline bool t7_gatherPixel(const GatherArgs& a, unsigned s, unsigned& pixel)
{
    const int2 p = a.indices[s];
    if (unsigned(p.x) >= a.width || unsigned(p.y) >= a.height)
        return false;
    pixel = (a.height - 1 - unsigned(p.y)) * a.width + unsigned(p.x);
    return true;
}

// Normalised over all four components.
T7_HOST_DEVICE inline float4 t7_normalize4(float4 n)
{
    const float length = t7_sqrt(n.x * n.x + n.y * n.y + n.z * n.z + n.w * n.w);
    return make_float4(n.x / length, n.y / length, n.z / length, n.w / length);
}

// First batch after a clear: the batch mean replaces what was there.
T7_HOST_DEVICE inline void gatherResults0Element(unsigned s, GatherArgs a, float scale)
{
    unsigned pixel = 0;
    if (!t7_gatherPixel(a, s, pixel))
        return;
    const float4 c = t7_scale4(a.accum[s], scale);
    a.l2[s] = c;
    a.image[pixel] = c;
    if (a.albedoImage && a.albedoAccum)
        a.albedoImage[pixel] = t7_scale4(a.albedoAccum[s], scale);
    if (a.normalImage && a.normalAccum)
        a.normalImage[pixel] = t7_normalize4(a.normalAccum[s]);
}

// Later batches: the batch mean is blended into the running average by `weight`.
T7_HOST_DEVICE inline void gatherResultsNElement(unsigned s, GatherArgs a, float scale,
                                                 float weight)
{
    unsigned pixel = 0;
    if (!t7_gatherPixel(a, s, pixel))
        return;
    const float4 v = t7_blend4(a.l2[s], t7_scale4(a.accum[s], scale), weight);
    a.l2[s] = v;
    a.image[pixel] = v;
    if (a.albedoImage && a.albedoAccum)
        a.albedoImage[pixel] =
            t7_blend4(a.albedoImage[pixel], t7_scale4(a.albedoAccum[s], scale), weight);
    if (a.normalImage && a.normalAccum)
        a.normalImage[pixel] = t7_normalize4(a.normalAccum[s]);
}
