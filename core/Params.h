#pragma once
// The launch parameters: the record the device programs read as "params". Its
// layout is an interface with the device programs, so every offset is pinned.

#include <cstddef>
#include <vector_types.h>

struct LightData;

struct Params {
    unsigned subframe_index;  // pass index within the current batch
    unsigned last_pass;       // 1 on the last pass of a batch
    unsigned total_frames;    // total-frame counter
    unsigned accum_frames;    // frames held by the accumulated image
    int2* sample_indices;     // pixel of each sample
    float4* sample_accum;
    float4* albedo_accum;     // null when albedo is not kept
    float4* normal_accum;     // null when normals are not kept
    float4* hit_pos;          // hit position per pixel
    uint2* geom_id;           // geometry/primitive id per pixel
    unsigned width;           // render size: image size / output scale factor
    unsigned height;
    int device_idx;
    float scene_epsilon;
    float3 eye;
    float focus_distance;
    float3 U;
    float lens1;
    float3 V;
    float aperture;
    float3 W;
    float fov;                // radians
    float3 nU;                // -U / |U|
    float exposure;
    float3 nV;                // -V / |V|
    float gamma;
    float3 nW;                // -W / |W|
    float lens2;
    float2 center;            // camera centre offset (cx, cy)
    unsigned num_lights;
    LightData* lights;
    unsigned long long camera_tex0; // texture objects of the current camera
    unsigned long long camera_tex1;
    unsigned long long bg_texture;  // background texture object, 0 when none
    float3 ambient_color;
    float lens3;
    uint2 path_seg_range;
    float3 bad_color;
    float3 bg_color;
    unsigned long long handle; // scene root traversable
};

static_assert(sizeof(Params) == 0x128, "Params layout");
static_assert(offsetof(Params, subframe_index) == 0x00, "Params layout");
static_assert(offsetof(Params, last_pass) == 0x04, "Params layout");
static_assert(offsetof(Params, total_frames) == 0x08, "Params layout");
static_assert(offsetof(Params, accum_frames) == 0x0C, "Params layout");
static_assert(offsetof(Params, sample_indices) == 0x10, "Params layout");
static_assert(offsetof(Params, sample_accum) == 0x18, "Params layout");
static_assert(offsetof(Params, albedo_accum) == 0x20, "Params layout");
static_assert(offsetof(Params, normal_accum) == 0x28, "Params layout");
static_assert(offsetof(Params, hit_pos) == 0x30, "Params layout");
static_assert(offsetof(Params, geom_id) == 0x38, "Params layout");
static_assert(offsetof(Params, width) == 0x40, "Params layout");
static_assert(offsetof(Params, height) == 0x44, "Params layout");
static_assert(offsetof(Params, device_idx) == 0x48, "Params layout");
static_assert(offsetof(Params, scene_epsilon) == 0x4C, "Params layout");
static_assert(offsetof(Params, eye) == 0x50, "Params layout");
static_assert(offsetof(Params, focus_distance) == 0x5C, "Params layout");
static_assert(offsetof(Params, U) == 0x60, "Params layout");
static_assert(offsetof(Params, lens1) == 0x6C, "Params layout");
static_assert(offsetof(Params, V) == 0x70, "Params layout");
static_assert(offsetof(Params, aperture) == 0x7C, "Params layout");
static_assert(offsetof(Params, W) == 0x80, "Params layout");
static_assert(offsetof(Params, fov) == 0x8C, "Params layout");
static_assert(offsetof(Params, nU) == 0x90, "Params layout");
static_assert(offsetof(Params, exposure) == 0x9C, "Params layout");
static_assert(offsetof(Params, nV) == 0xA0, "Params layout");
static_assert(offsetof(Params, gamma) == 0xAC, "Params layout");
static_assert(offsetof(Params, nW) == 0xB0, "Params layout");
static_assert(offsetof(Params, lens2) == 0xBC, "Params layout");
static_assert(offsetof(Params, center) == 0xC0, "Params layout");
static_assert(offsetof(Params, num_lights) == 0xC8, "Params layout");
static_assert(offsetof(Params, lights) == 0xD0, "Params layout");
static_assert(offsetof(Params, camera_tex0) == 0xD8, "Params layout");
static_assert(offsetof(Params, camera_tex1) == 0xE0, "Params layout");
static_assert(offsetof(Params, bg_texture) == 0xE8, "Params layout");
static_assert(offsetof(Params, ambient_color) == 0xF0, "Params layout");
static_assert(offsetof(Params, lens3) == 0xFC, "Params layout");
static_assert(offsetof(Params, path_seg_range) == 0x100, "Params layout");
static_assert(offsetof(Params, bad_color) == 0x108, "Params layout");
static_assert(offsetof(Params, bg_color) == 0x114, "Params layout");
static_assert(offsetof(Params, handle) == 0x120, "Params layout");
