// The public header compiles as C++17 and pins the signatures of
// representative entry points. Compile-only check.
#include "trevix7.h"

#include <cstddef>
#include <type_traits>

namespace {

template <typename Fn, typename Expected>
constexpr bool sameType = std::is_same<Fn, Expected>::value;

// Devices, instances, launch.
static_assert(sameType<decltype(&ApiGetDeviceCount), int (*)()>, "");
static_assert(sameType<decltype(&ApiCreatePathTracer),
                       unsigned (*)(unsigned, unsigned, int,
                                    const char**, int*, size_t,
                                    const char**, unsigned*, size_t,
                                    const char**, trevix7_uint2*, size_t,
                                    const char**, float*, size_t,
                                    const char**, trevix7_float2*, size_t,
                                    const char**, trevix7_float3*, size_t,
                                    const unsigned*, unsigned, int, char*)>, "");
static_assert(sameType<decltype(&ApiDestroyPathTracer), bool (*)(unsigned, char*)>, "");
static_assert(sameType<decltype(&ApiOutputCudaOrdinal), int (*)(unsigned)>, "");
static_assert(sameType<decltype(&ApiCompile), int (*)(unsigned, char*)>, "");
static_assert(sameType<decltype(&ApiLaunch), int (*)(unsigned, unsigned, unsigned, char*)>, "");
static_assert(sameType<decltype(&ApiBreakLaunch), int (*)(unsigned)>, "");

// Variables, lights, textures.
static_assert(sameType<decltype(&ApiUpdateVariables),
                       bool (*)(unsigned,
                                const char**, int*, size_t,
                                const char**, unsigned*, size_t,
                                const char**, trevix7_uint2*, size_t,
                                const char**, float*, size_t,
                                const char**, trevix7_float2*, size_t,
                                const char**, trevix7_float3*, size_t)>, "");
static_assert(sameType<decltype(&ApiSetupLights), bool (*)(unsigned, LightData*, unsigned)>, "");
static_assert(sameType<decltype(&ApiSetupTexture),
                       unsigned (*)(unsigned, int, int, int, int, int, const void*, char*)>, "");

// Geometry.
static_assert(sameType<decltype(&ApiSetupPrimitivesGeometry),
                       int (*)(unsigned, geoPrimirivesType, const char*, const unsigned*,
                               const unsigned*, unsigned, unsigned, char*)>, "");
static_assert(sameType<decltype(&ApiUploadGeometryMeshTexCoords),
                       bool (*)(unsigned, unsigned, trevix7_float2*, unsigned, trevix7_uint3*,
                                unsigned, char*)>, "");
static_assert(sameType<decltype(&ApiUploadGeometryBuffers),
                       bool (*)(unsigned, unsigned, unsigned, const unsigned*, void* const*,
                                unsigned, char*)>, "");
static_assert(sameType<decltype(&ApiDownloadGeometryBuffer),
                       bool (*)(unsigned, unsigned, unsigned long, unsigned, void*, char*)>, "");
static_assert(sameType<decltype(&ApiSetupConstColor), bool (*)(unsigned, unsigned, trevix7_float3)>,
              "");

// Materials.
static_assert(sameType<decltype(&ApiSetupMaterial),
                       unsigned (*)(unsigned, const char*, const char*,
                                    const char**, unsigned*, size_t,
                                    const char**, float*, size_t,
                                    const char**, trevix7_float3*, size_t,
                                    const char**, trevix7_float4*, size_t,
                                    const unsigned*, unsigned, const unsigned*, unsigned,
                                    const unsigned*, unsigned, const unsigned*, unsigned,
                                    unsigned long, char*)>, "");

// Cameras.
static_assert(sameType<decltype(&ApiSetupCamera),
                       unsigned (*)(unsigned, const char*, trevix7_float3, trevix7_float3,
                                    trevix7_float3, float, float, trevix7_float2, float, float,
                                    float, float, float, float, bool, const unsigned*,
                                    unsigned)>, "");
static_assert(sameType<decltype(&ApiGetCameraEye), bool (*)(unsigned, unsigned, trevix7_float3*)>,
              "");
static_assert(sameType<decltype(&ApiSetCameraCxy),
                       bool (*)(unsigned, unsigned, trevix7_float2, bool)>, "");
static_assert(sameType<decltype(&ApiRotateCameraTarget),
                       bool (*)(unsigned, unsigned, float, float, bool)>, "");

// Output.
static_assert(sameType<decltype(&ApiReadbackCudaPtr), void* (*)(unsigned, char*)>, "");
static_assert(sameType<decltype(&ApiGetOutputBuffer2),
                       bool (*)(unsigned, readbackMode, void**, unsigned*, char*)>, "");
static_assert(sameType<decltype(&ApiGetIdBuffer), bool (*)(unsigned, void**, int*, char*)>, "");
static_assert(sameType<decltype(&ApiReadHitPosAtPoint),
                       void (*)(unsigned, unsigned, unsigned, trevix7_float4*)>, "");
static_assert(sameType<decltype(&ApiReadGeomIdAtPoint),
                       void (*)(unsigned, unsigned, unsigned, unsigned*)>, "");

// Post-processing.
static_assert(sameType<decltype(&ApiAddPostprocessing), void (*)(unsigned, postprocAlgorithm)>, "");
static_assert(sameType<decltype(&ApiSetPostprocLevels),
                       void (*)(unsigned, const trevix7_float3*, const trevix7_float3*)>, "");
static_assert(sameType<decltype(&ApiSetPostprocDenoiser),
                       void (*)(unsigned, OptixDenoiserInputKind, float, unsigned)>, "");
static_assert(sameType<decltype(&ApiSetPostprocMulTexture), bool (*)(unsigned, unsigned)>, "");

// Program files and file-system helpers.
static_assert(sameType<decltype(&ApiGpuArchitectureCfg), void (*)(char*)>, "");
static_assert(sameType<decltype(&ApiCompileToPtx), int (*)(const char*, char*)>, "");
static_assert(sameType<decltype(&createDirectory), void (*)(const char*)>, "");
static_assert(sameType<decltype(&dirExists), bool (*)(const char*)>, "");

// Records and enumerations.
static_assert(sizeof(LightData) == 80 && std::is_trivially_copyable<LightData>::value, "");
static_assert(std::is_standard_layout<trevix7_float4>::value && alignof(trevix7_float4) == 16, "");
static_assert(alignof(trevix7_float2) == 8 && alignof(trevix7_uint2) == 8, "");
static_assert(offsetof(LightData, raw) == 0, "");
static_assert(READBACK_NONE == 0 && READBACK_BGRA16 == 4 && READBACK_RGBA32 == 5, "");
static_assert(POSTPROC_LEVELS == 1 && POSTPROC_DENOISER_LDR == 7, "");
static_assert(geoParticleSet == 1 && geoBezier == 5 && geoParallelograms == 7 &&
                  geoPrimitives10 == 10 && geoBSplineLinear == 11 && geoDummy == 127,
              "");
static_assert(geoBufVertices == 0 && geoBufNormalIndices == 4 && nGeoBuffers == 7, "");
static_assert(OPTIX_DENOISER_INPUT_RGB == 1, "");

} // namespace

int headerCxx17Touch()
{
    LightData light{};
    light.raw.f[0] = 1.0f;
    trevix7_float3 eye{0.0f, 0.0f, 5.0f};
    trevix7_uint2 range{2u, 6u};
    readbackMode mode = READBACK_BGRA8;
    return static_cast<int>(light.raw.u[1] + range.x) + static_cast<int>(eye.z) +
           static_cast<int>(mode);
}
