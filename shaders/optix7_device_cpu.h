// trevix7 - the device-side OptiX interface for host builds of our programs.
//
// On the CPU device our programs are compiled from the same sources as host
// C++ (the qualifiers __device__, __global__, __host__ and __constant__
// defined away by the build). Each intrinsic reads or writes the state of the
// program the calling thread runs, which the CPU device's launch sets up;
// optixTrace and optixReportIntersection call into the CPU device. Only what
// our programs use is here.
#pragma once

#if defined(__CUDACC__)
#error "optix7_device_cpu.h is for host builds of the device programs"
#endif

#include "../core/optix7.h"

#include <cuda_runtime.h>

#include <cstring>

#include "kernels/vector_math.h"

// The state of the program a thread runs: its launch index, the ray and, in
// intersection, closest-hit and miss programs, what was hit.
struct T7CpuProgram {
    uint3 launchIndex;
    uint3 launchDimensions;
    float3 worldOrigin, worldDirection;
    float3 objectOrigin, objectDirection;
    float tmin, tmax, time;
    unsigned rayFlags;
    unsigned visibilityMask;
    unsigned primitiveIndex;
    unsigned instanceId;
    unsigned instanceIndex;
    unsigned sbtGasIndex;
    unsigned hitKind;
    OptixPrimitiveType primitiveType;
    float2 barycentrics;
    unsigned attributes[8];
    CUdeviceptr sbtData;      // the record's data, after its 32-byte header
    unsigned* payload;        // the words of the trace the program runs for
    void* intersection;       // the traversal an intersection program reports to
};

// The calling thread's program state (the CPU device keeps one per thread).
extern thread_local T7CpuProgram t7_cpu;

// Implemented by the CPU device: the trace of optixTrace (payload words in
// and out), and a report of an intersection program.
void t7_cpuTrace(OptixTraversableHandle handle, float3 origin, float3 direction, float tmin,
                 float tmax, float time, OptixVisibilityMask mask, unsigned flags,
                 unsigned sbtOffset, unsigned sbtStride, unsigned missIndex, unsigned count,
                 unsigned* payload);
bool t7_cpuReportIntersection(float t, unsigned hitKind, unsigned count,
                              const unsigned* attributes);
// A texture fetch as the texture unit does it (normalised coordinates,
// filtering and addressing of the texture).
float4 t7_hostTex2D(cudaTextureObject_t texture, float u, float v);

// --- CUDA built-ins ---

inline unsigned int __float_as_uint(float f)
{
    unsigned int u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}

inline float __uint_as_float(unsigned int u)
{
    float f;
    std::memcpy(&f, &u, sizeof f);
    return f;
}

template <typename T> T tex2D(cudaTextureObject_t texture, float u, float v);
template <> inline float4 tex2D<float4>(cudaTextureObject_t texture, float u, float v)
{
    return t7_hostTex2D(texture, u, v);
}

// --- Launch ---

inline uint3 optixGetLaunchIndex() { return t7_cpu.launchIndex; }
inline uint3 optixGetLaunchDimensions() { return t7_cpu.launchDimensions; }
inline CUdeviceptr optixGetSbtDataPointer() { return t7_cpu.sbtData; }

// --- Payload ---

#define TREVIX7_PAYLOAD_ACCESSORS(k)                                                        \
    inline void optixSetPayload_##k(unsigned int value) { t7_cpu.payload[k] = value; }     \
    inline unsigned int optixGetPayload_##k() { return t7_cpu.payload[k]; }
TREVIX7_EACH_PAYLOAD(TREVIX7_PAYLOAD_ACCESSORS)
#undef TREVIX7_PAYLOAD_ACCESSORS

// --- Trace: payload words by reference, up to 32 ---

template <typename... Payload>
inline void optixTrace(OptixTraversableHandle handle, float3 rayOrigin, float3 rayDirection,
                       float tmin, float tmax, float rayTime, OptixVisibilityMask visibilityMask,
                       unsigned int rayFlags, unsigned int SBToffset, unsigned int SBTstride,
                       unsigned int missSBTIndex, Payload&... payload)
{
    static_assert(sizeof...(Payload) <= 32, "at most 32 payload values");
    unsigned int words[32] = {payload...};
    t7_cpuTrace(handle, rayOrigin, rayDirection, tmin, tmax, rayTime, visibilityMask, rayFlags,
                SBToffset, SBTstride, missSBTIndex, unsigned(sizeof...(Payload)), words);
    unsigned int i = 0;
    ((payload = words[i++]), ...);
    (void)i;
}

// --- Intersection programs ---

template <typename... Attributes>
inline bool optixReportIntersection(float hitT, unsigned int hitKind, Attributes... attributes)
{
    static_assert(sizeof...(Attributes) <= 8, "at most 8 attribute values");
    const unsigned int words[sizeof...(Attributes) + 1] = {attributes..., 0u};
    return t7_cpuReportIntersection(hitT, hitKind, unsigned(sizeof...(Attributes)), words);
}

#define TREVIX7_ATTRIBUTE_GETTER(k)                                                          \
    inline unsigned int optixGetAttribute_##k() { return t7_cpu.attributes[k]; }
TREVIX7_EACH_ATTRIBUTE(TREVIX7_ATTRIBUTE_GETTER)
#undef TREVIX7_ATTRIBUTE_GETTER

// --- Hit identification ---

inline unsigned int optixGetPrimitiveIndex() { return t7_cpu.primitiveIndex; }
inline unsigned int optixGetInstanceId() { return t7_cpu.instanceId; }
inline unsigned int optixGetInstanceIndex() { return t7_cpu.instanceIndex; }
inline unsigned int optixGetSbtGASIndex() { return t7_cpu.sbtGasIndex; }
inline unsigned int optixGetHitKind() { return t7_cpu.hitKind; }
inline OptixPrimitiveType optixGetPrimitiveType() { return t7_cpu.primitiveType; }
inline bool optixIsTriangleHit()
{
    return t7_cpu.hitKind == OPTIX_HIT_KIND_TRIANGLE_FRONT_FACE ||
           t7_cpu.hitKind == OPTIX_HIT_KIND_TRIANGLE_BACK_FACE;
}
inline bool optixIsTriangleFrontFaceHit()
{
    return t7_cpu.hitKind == OPTIX_HIT_KIND_TRIANGLE_FRONT_FACE;
}
inline bool optixIsTriangleBackFaceHit()
{
    return t7_cpu.hitKind == OPTIX_HIT_KIND_TRIANGLE_BACK_FACE;
}
inline float2 optixGetTriangleBarycentrics() { return t7_cpu.barycentrics; }
// Built-in curves: the curve parameter travels in attribute 0.
inline float optixGetCurveParameter() { return __uint_as_float(t7_cpu.attributes[0]); }

// --- Ray ---

inline float3 optixGetWorldRayOrigin() { return t7_cpu.worldOrigin; }
inline float3 optixGetWorldRayDirection() { return t7_cpu.worldDirection; }
inline float3 optixGetObjectRayOrigin() { return t7_cpu.objectOrigin; }
inline float3 optixGetObjectRayDirection() { return t7_cpu.objectDirection; }
inline float optixGetRayTmin() { return t7_cpu.tmin; }
inline float optixGetRayTmax() { return t7_cpu.tmax; }
inline float optixGetRayTime() { return t7_cpu.time; }
inline unsigned int optixGetRayFlags() { return t7_cpu.rayFlags; }
inline unsigned int optixGetRayVisibilityMask() { return t7_cpu.visibilityMask; }
