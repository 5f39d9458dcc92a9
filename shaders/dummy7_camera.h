#pragma once
// What the placeholder camera writes for each sample, on a GPU as on the CPU
// device (which runs this program's host build), so that a test on either
// knows the value of every pixel. For sample s of a pass, with (x, y) its pixel and d the
// device's CUDA ordinal:
//
//   colour  (x, y, d, total-frame counter)  added to sample_accum[s]
//   albedo  half the colour                 added to albedo_accum[s], when kept
//   normal  (x, y, d + 1, 1)                added to normal_accum[s], when kept
//
// The sums start afresh on pass 0 of a batch. Inside the image, at
// y * width + x (top row first), the pass writes
//
//   hit position  (x + 0.5, y + 0.5, d, total-frame counter)
//   id            (x | last-pass flag << 30, y)

#include "shaders/camera.h"

T7_HOST_DEVICE inline void dummyCameraSample(const Params& p, unsigned s)
{
    const int2 pixel = p.sample_indices[s];
    const float x = float(pixel.x);
    const float y = float(pixel.y);
    const float d = float(p.device_idx);
    const bool first = p.subframe_index == 0;
    const float4 colour = make_float4(x, y, d, float(p.total_frames));
    t7_accumulate(p.sample_accum, s, colour, first);
    t7_accumulate(p.albedo_accum, s, t7_scale4(colour, 0.5f), first);
    t7_accumulate(p.normal_accum, s, make_float4(x, y, d + 1.0f, 1.0f), first);
    if (unsigned(pixel.x) >= p.width || unsigned(pixel.y) >= p.height)
        return;
    const unsigned i = unsigned(pixel.y) * p.width + unsigned(pixel.x);
    if (p.hit_pos)
        p.hit_pos[i] = make_float4(x + 0.5f, y + 0.5f, d, float(p.total_frames));
    if (p.geom_id)
        p.geom_id[i] = make_uint2(unsigned(pixel.x) | p.last_pass << 30, unsigned(pixel.y));
}
