#pragma once
// The readback kernels: one pixel a thread from the float4 image into the
// host's format. RGBA32 needs no kernel (a plain copy).

#include "kernel_list.h"
#include "readback_element.h"

#define T7_READBACK_KERNELS(K)                                                              \
    K(readbackRgba8, readbackRgba8Element, (const float4* src, uchar4* dst), (src, dst))    \
    K(readbackBgra8, readbackBgra8Element, (const float4* src, uchar4* dst), (src, dst))    \
    K(readbackRgba16, readbackRgba16Element, (const float4* src, ushort4* dst), (src, dst)) \
    K(readbackBgra16, readbackBgra16Element, (const float4* src, ushort4* dst), (src, dst)) \
    K(readbackBgra32, readbackBgra32Element, (const float4* src, float4* dst), (src, dst))

T7_READBACK_KERNELS(T7_DECLARE_LAUNCHER)
