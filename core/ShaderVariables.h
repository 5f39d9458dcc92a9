#pragma once
// The named rendering variables a host sets at creation and later by name:
// their values, defaults and destinations (launch parameters, the
// post-processing settings, the denoiser settings).

#include <vector_types.h>

struct ShaderVariables {
    uint2 path_seg_range{2, 6};              // Params 0x100
    float scene_epsilon = 0.001f;            // Params 0x4C
    float tonemap_gamma = 2.2f;              // setPostprocGamma, first argument
    float tonemap_exposure = 1.0f;           // setPostprocGamma, second argument
    float denoiser_blend = 0.0f;
    float3 ambient_color{0.1f, 0.1f, 0.1f};  // Params 0xF0
    float3 bg_color{0.01f, 0.01f, 0.01f};    // Params 0x114
    float3 bad_color{1.0f, 0.0f, 1.0f};      // Params 0x108, shown for invalid samples
    float3 levels_low_range{0.0f, 0.0f, 0.0f};
    float3 levels_high_range{1.0f, 1.0f, 1.0f};
    int denoiser_kind = 3;
    unsigned denoiser_start = 4;             // accumulated frames before the denoiser acts
};
