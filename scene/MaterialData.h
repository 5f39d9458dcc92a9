#pragma once
// The parameter record of a material, copied whole into every hit-group record
// of the binding table and read by the hit programs; its layout is pinned.

#include <cuda_runtime.h>

#include <cstddef>

struct MaterialData {
    float4 base_color = {1.0f, 1.0f, 1.0f, 1.0f};
    float3 surface_albedo = {1.0f, 1.0f, 1.0f};
    float light_emission = 0.0f;
    float3 refraction_index = {1.41f, 1.41f, 1.41f}; // per colour channel
    float base_roughness = 0.0f;
    float3 subsurface_color = {1.0f, 1.0f, 1.0f};
    float radiation_length = 0.0f;
    float reflectivity_index = 1.0f;
    float reflectivity_range = 1.0f;
    float normaltilt_iar = 1.0f;
    unsigned flags = 2; // bit meanings belong to the hit programs
    // Device arrays of tex_count texture objects each, owned by the material.
    cudaTextureObject_t* color_tex = nullptr;
    cudaTextureObject_t* roughness_tex = nullptr;
    cudaTextureObject_t* metalness_tex = nullptr;
    cudaTextureObject_t* normal_tex = nullptr;
    unsigned tex_count = 0;
    unsigned pad_[3] = {};
};

static_assert(sizeof(MaterialData) == 128, "MaterialData layout");
static_assert(offsetof(MaterialData, base_color) == 0, "MaterialData layout");
static_assert(offsetof(MaterialData, surface_albedo) == 16, "MaterialData layout");
static_assert(offsetof(MaterialData, light_emission) == 28, "MaterialData layout");
static_assert(offsetof(MaterialData, refraction_index) == 32, "MaterialData layout");
static_assert(offsetof(MaterialData, base_roughness) == 44, "MaterialData layout");
static_assert(offsetof(MaterialData, subsurface_color) == 48, "MaterialData layout");
static_assert(offsetof(MaterialData, radiation_length) == 60, "MaterialData layout");
static_assert(offsetof(MaterialData, reflectivity_index) == 64, "MaterialData layout");
static_assert(offsetof(MaterialData, reflectivity_range) == 68, "MaterialData layout");
static_assert(offsetof(MaterialData, normaltilt_iar) == 72, "MaterialData layout");
static_assert(offsetof(MaterialData, flags) == 76, "MaterialData layout");
static_assert(offsetof(MaterialData, color_tex) == 80, "MaterialData layout");
static_assert(offsetof(MaterialData, roughness_tex) == 88, "MaterialData layout");
static_assert(offsetof(MaterialData, metalness_tex) == 96, "MaterialData layout");
static_assert(offsetof(MaterialData, normal_tex) == 104, "MaterialData layout");
static_assert(offsetof(MaterialData, tex_count) == 112, "MaterialData layout");
