#pragma once
// The shader-data record of a geometry, copied byte for byte into each of its
// hit-group records and read by the hit programs; its layout is pinned.

#include "api/trevix7.h"

#include <cuda_runtime.h>

#include <cstddef>
#include <cstdint>

struct GeometryData {
    uint64_t buffers[nGeoBuffers] = {};         // device address per slot, 0 when empty
    cudaTextureObject_t displacement_tex = 0;   // 0 when none
    float2 displacement_size = {0.0f, 0.0f};    // width, height
    float2 displacement_inv_size = {1.0f, 1.0f};
    float3 const_color = {1.0f, 1.0f, 1.0f};
    unsigned n_primitives = 0;                  // element count of slot 0
    unsigned geometry_id = 0;
    geoPrimirivesType type = geoPrimitives0;
    uint64_t pad_ = 0;
};

static_assert(sizeof(GeometryData) == 112, "GeometryData layout");
static_assert(offsetof(GeometryData, buffers) == 0, "GeometryData layout");
static_assert(offsetof(GeometryData, displacement_tex) == 56, "GeometryData layout");
static_assert(offsetof(GeometryData, displacement_size) == 64, "GeometryData layout");
static_assert(offsetof(GeometryData, displacement_inv_size) == 72, "GeometryData layout");
static_assert(offsetof(GeometryData, const_color) == 80, "GeometryData layout");
static_assert(offsetof(GeometryData, n_primitives) == 92, "GeometryData layout");
static_assert(offsetof(GeometryData, geometry_id) == 96, "GeometryData layout");
static_assert(offsetof(GeometryData, type) == 100, "GeometryData layout");
