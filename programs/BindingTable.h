#pragma once
// The records of the shader binding table, a layout shared with the device
// programs: a 32-byte header packed by OptiX, then the data. Hit-group records
// carry the geometry's record and its material's parameters.

#include "core/optix7.h"
#include "scene/GeometryData.h"
#include "scene/MaterialData.h"

#include <cstddef>

constexpr unsigned RAY_TYPE_COUNT = 2; // 0 radiance, 1 occlusion

template <typename T> struct alignas(OPTIX_SBT_RECORD_ALIGNMENT) Record {
    alignas(OPTIX_SBT_RECORD_ALIGNMENT) char header[OPTIX_SBT_RECORD_HEADER_SIZE];
    T data;
};

struct HitGroupData {
    GeometryData geometry;
    MaterialData material;
};

// Ray generation and miss records carry no data.
struct EmptyData {
    char unused[16];
};

using RayGenRecord = Record<EmptyData>;
using MissRecord = Record<EmptyData>;
using HitGroupRecord = Record<HitGroupData>;

static_assert(sizeof(HitGroupData) == 240, "HitGroupData layout");
static_assert(sizeof(HitGroupRecord) == 272 && alignof(HitGroupRecord) == 16, "hit record layout");
static_assert(offsetof(HitGroupRecord, header) == 0, "hit record layout");
static_assert(offsetof(HitGroupRecord, data) + offsetof(HitGroupData, geometry) == 32,
              "hit record layout");
static_assert(offsetof(HitGroupRecord, data) + offsetof(HitGroupData, material) == 144,
              "hit record layout");
static_assert(sizeof(RayGenRecord) == 48 && sizeof(MissRecord) == 48, "record sizes");
