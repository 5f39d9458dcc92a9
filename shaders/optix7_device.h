// trevix7 - device-side declarations for OptiX 7.6 (ABI 68) programs.
//
// Host builds of our programs (the CPU device) get the same interface from
// optix7_device_cpu.h. On the device, every OptiX function is a thin inline wrapper around an inline-PTX
// `call` to an `_optix_*` pseudo-function; OptiX substitutes the real operation
// when it compiles the module. Device programs are built with
//   nvcc -ptx -rdc=true -arch=compute_75 -std=c++17 ...
// Payload and attribute words are 32-bit; floats travel as their bit pattern
// (__float_as_uint / __uint_as_float).
#pragma once

// The eight attribute words' getters, optixGetAttribute_0 to _7, and the 32
// payload words' accessors, optix[GS]etPayload_0 to _31, from one list each
// in both halves.
#define TREVIX7_EACH_ATTRIBUTE(M) M(0) M(1) M(2) M(3) M(4) M(5) M(6) M(7)
#define TREVIX7_EACH_PAYLOAD(M)                                                                    \
    TREVIX7_EACH_ATTRIBUTE(M) M(8) M(9) M(10) M(11) M(12) M(13) M(14) M(15) M(16) M(17) M(18)      \
    M(19) M(20) M(21) M(22) M(23) M(24) M(25) M(26) M(27) M(28) M(29) M(30) M(31)

#if !defined(__CUDACC__)
#include "optix7_device_cpu.h"
#else

// Handle, mask, ray-flag, primitive-type and transform types are shared with the host.
#include "../core/optix7.h"

#include <cuda_runtime.h>

#include "kernels/vector_math.h"

#define TREVIX7_DEVICE __forceinline__ __device__

// ---------------------------------------------------------------------------
// Launch
// ---------------------------------------------------------------------------

TREVIX7_DEVICE uint3 optixGetLaunchIndex()
{
    unsigned int x, y, z;
    asm volatile("call (%0), _optix_get_launch_index_x, ();" : "=r"(x) :);
    asm volatile("call (%0), _optix_get_launch_index_y, ();" : "=r"(y) :);
    asm volatile("call (%0), _optix_get_launch_index_z, ();" : "=r"(z) :);
    return make_uint3(x, y, z);
}

TREVIX7_DEVICE uint3 optixGetLaunchDimensions()
{
    unsigned int x, y, z;
    asm volatile("call (%0), _optix_get_launch_dimension_x, ();" : "=r"(x) :);
    asm volatile("call (%0), _optix_get_launch_dimension_y, ();" : "=r"(y) :);
    asm volatile("call (%0), _optix_get_launch_dimension_z, ();" : "=r"(z) :);
    return make_uint3(x, y, z);
}

// Address of the current SBT record's data (record start + OPTIX_SBT_RECORD_HEADER_SIZE).
TREVIX7_DEVICE CUdeviceptr optixGetSbtDataPointer()
{
    unsigned long long ptr;
    asm volatile("call (%0), _optix_get_sbt_data_ptr_64, ();" : "=l"(ptr) :);
    return (CUdeviceptr)ptr;
}

// ---------------------------------------------------------------------------
// Payload: one pair of generic intrinsics, the register index is the first operand.
// ---------------------------------------------------------------------------

#define TREVIX7_PAYLOAD_ACCESSORS(k)                                                  \
    TREVIX7_DEVICE void optixSetPayload_##k(unsigned int value)                       \
    {                                                                                 \
        asm volatile("call _optix_set_payload, (%0, %1);" : : "r"(k##u), "r"(value)); \
    }                                                                                 \
    TREVIX7_DEVICE unsigned int optixGetPayload_##k()                                 \
    {                                                                                 \
        unsigned int value;                                                           \
        asm volatile("call (%0), _optix_get_payload, (%1);" : "=r"(value) : "r"(k##u)); \
        return value;                                                                 \
    }

TREVIX7_EACH_PAYLOAD(TREVIX7_PAYLOAD_ACCESSORS)

#undef TREVIX7_PAYLOAD_ACCESSORS

// ---------------------------------------------------------------------------
// optixTrace: a single `_optix_trace_typed_32` call with 32 payload outputs and
// 49 inputs (payload type, handle, origin, direction, tmin, tmax, time, mask,
// flags, SBT offset, SBT stride, miss index, payload count, 32 payload words).
// Payload words beyond the count are passed as 0.
// ---------------------------------------------------------------------------

namespace trevix7_optix_detail
{
template <typename T> struct IsPayloadWord { static constexpr bool value = false; };
template <> struct IsPayloadWord<unsigned int> { static constexpr bool value = true; };

template <typename... T>
constexpr bool kAllPayloadWords = (IsPayloadWord<T>::value && ... && true);

TREVIX7_DEVICE void trace32(unsigned int payloadType, OptixTraversableHandle handle,
                            float3 rayOrigin, float3 rayDirection, float tmin, float tmax,
                            float rayTime, OptixVisibilityMask visibilityMask,
                            unsigned int rayFlags, unsigned int SBToffset, unsigned int SBTstride,
                            unsigned int missSBTIndex, unsigned int payloadCount,
                            const unsigned int (&in)[32], unsigned int (&out)[32])
{
    asm volatile(
        "call(%0,%1,%2,%3,%4,%5,%6,%7,%8,%9,%10,%11,%12,%13,%14,%15,%16,%17,%18,%19,%20,%21,"
        "%22,%23,%24,%25,%26,%27,%28,%29,%30,%31),_optix_trace_typed_32,"
        "(%32,%33,%34,%35,%36,%37,%38,%39,%40,%41,%42,%43,%44,%45,%46,%47,%48,%49,%50,%51,%52,"
        "%53,%54,%55,%56,%57,%58,%59,%60,%61,%62,%63,%64,%65,%66,%67,%68,%69,%70,%71,%72,%73,"
        "%74,%75,%76,%77,%78,%79,%80);"
        : "=r"(out[0]), "=r"(out[1]), "=r"(out[2]), "=r"(out[3]), "=r"(out[4]), "=r"(out[5]),
          "=r"(out[6]), "=r"(out[7]), "=r"(out[8]), "=r"(out[9]), "=r"(out[10]), "=r"(out[11]),
          "=r"(out[12]), "=r"(out[13]), "=r"(out[14]), "=r"(out[15]), "=r"(out[16]),
          "=r"(out[17]), "=r"(out[18]), "=r"(out[19]), "=r"(out[20]), "=r"(out[21]),
          "=r"(out[22]), "=r"(out[23]), "=r"(out[24]), "=r"(out[25]), "=r"(out[26]),
          "=r"(out[27]), "=r"(out[28]), "=r"(out[29]), "=r"(out[30]), "=r"(out[31])
        : "r"(payloadType), "l"(handle),
          "f"(rayOrigin.x), "f"(rayOrigin.y), "f"(rayOrigin.z),
          "f"(rayDirection.x), "f"(rayDirection.y), "f"(rayDirection.z),
          "f"(tmin), "f"(tmax), "f"(rayTime),
          "r"(visibilityMask), "r"(rayFlags), "r"(SBToffset), "r"(SBTstride), "r"(missSBTIndex),
          "r"(payloadCount),
          "r"(in[0]), "r"(in[1]), "r"(in[2]), "r"(in[3]), "r"(in[4]), "r"(in[5]), "r"(in[6]),
          "r"(in[7]), "r"(in[8]), "r"(in[9]), "r"(in[10]), "r"(in[11]), "r"(in[12]),
          "r"(in[13]), "r"(in[14]), "r"(in[15]), "r"(in[16]), "r"(in[17]), "r"(in[18]),
          "r"(in[19]), "r"(in[20]), "r"(in[21]), "r"(in[22]), "r"(in[23]), "r"(in[24]),
          "r"(in[25]), "r"(in[26]), "r"(in[27]), "r"(in[28]), "r"(in[29]), "r"(in[30]),
          "r"(in[31])
        :);
}

template <typename... Payload>
TREVIX7_DEVICE void trace(unsigned int payloadType, OptixTraversableHandle handle,
                          float3 rayOrigin, float3 rayDirection, float tmin, float tmax,
                          float rayTime, OptixVisibilityMask visibilityMask,
                          unsigned int rayFlags, unsigned int SBToffset, unsigned int SBTstride,
                          unsigned int missSBTIndex, Payload&... payload)
{
    static_assert(sizeof...(Payload) <= 32, "at most 32 payload values");
    static_assert(kAllPayloadWords<Payload...>, "payload values must be unsigned int");
    const unsigned int in[32] = {payload...};  // unused words stay 0
    unsigned int out[32];
    trace32(payloadType, handle, rayOrigin, rayDirection, tmin, tmax, rayTime, visibilityMask,
            rayFlags, SBToffset, SBTstride, missSBTIndex, (unsigned int)sizeof...(Payload), in,
            out);
    unsigned int i = 0;
    ((payload = out[i++]), ...);
    (void)i;
}
}  // namespace trevix7_optix_detail

// Untyped trace (payload type OPTIX_PAYLOAD_TYPE_DEFAULT), 0..32 payload words by reference.
template <typename... Payload>
TREVIX7_DEVICE void optixTrace(OptixTraversableHandle handle, float3 rayOrigin,
                               float3 rayDirection, float tmin, float tmax, float rayTime,
                               OptixVisibilityMask visibilityMask, unsigned int rayFlags,
                               unsigned int SBToffset, unsigned int SBTstride,
                               unsigned int missSBTIndex, Payload&... payload)
{
    trevix7_optix_detail::trace(OPTIX_PAYLOAD_TYPE_DEFAULT, handle, rayOrigin, rayDirection,
                                tmin, tmax, rayTime, visibilityMask, rayFlags, SBToffset,
                                SBTstride, missSBTIndex, payload...);
}

// Trace with an explicit payload type (one of OPTIX_PAYLOAD_TYPE_ID_0..7).
template <typename... Payload>
TREVIX7_DEVICE void optixTrace(OptixPayloadTypeID type, OptixTraversableHandle handle,
                               float3 rayOrigin, float3 rayDirection, float tmin, float tmax,
                               float rayTime, OptixVisibilityMask visibilityMask,
                               unsigned int rayFlags, unsigned int SBToffset,
                               unsigned int SBTstride, unsigned int missSBTIndex,
                               Payload&... payload)
{
    trevix7_optix_detail::trace((unsigned int)type, handle, rayOrigin, rayDirection, tmin, tmax,
                                rayTime, visibilityMask, rayFlags, SBToffset, SBTstride,
                                missSBTIndex, payload...);
}

// ---------------------------------------------------------------------------
// Intersection programs: report a hit with 0..8 attribute words. Hit kinds from
// custom intersection programs must be 0..127. Returns true if the hit was accepted.
// ---------------------------------------------------------------------------

TREVIX7_DEVICE bool optixReportIntersection(float hitT, unsigned int hitKind)
{
    int ret;
    asm volatile("call (%0), _optix_report_intersection_0, (%1, %2);"
                 : "=r"(ret)
                 : "f"(hitT), "r"(hitKind));
    return ret != 0;
}

TREVIX7_DEVICE bool optixReportIntersection(float hitT, unsigned int hitKind, unsigned int a0)
{
    int ret;
    asm volatile("call (%0), _optix_report_intersection_1, (%1, %2, %3);"
                 : "=r"(ret)
                 : "f"(hitT), "r"(hitKind), "r"(a0));
    return ret != 0;
}

TREVIX7_DEVICE bool optixReportIntersection(float hitT, unsigned int hitKind, unsigned int a0,
                                            unsigned int a1)
{
    int ret;
    asm volatile("call (%0), _optix_report_intersection_2, (%1, %2, %3, %4);"
                 : "=r"(ret)
                 : "f"(hitT), "r"(hitKind), "r"(a0), "r"(a1));
    return ret != 0;
}

TREVIX7_DEVICE bool optixReportIntersection(float hitT, unsigned int hitKind, unsigned int a0,
                                            unsigned int a1, unsigned int a2)
{
    int ret;
    asm volatile("call (%0), _optix_report_intersection_3, (%1, %2, %3, %4, %5);"
                 : "=r"(ret)
                 : "f"(hitT), "r"(hitKind), "r"(a0), "r"(a1), "r"(a2));
    return ret != 0;
}

TREVIX7_DEVICE bool optixReportIntersection(float hitT, unsigned int hitKind, unsigned int a0,
                                            unsigned int a1, unsigned int a2, unsigned int a3)
{
    int ret;
    asm volatile("call (%0), _optix_report_intersection_4, (%1, %2, %3, %4, %5, %6);"
                 : "=r"(ret)
                 : "f"(hitT), "r"(hitKind), "r"(a0), "r"(a1), "r"(a2), "r"(a3));
    return ret != 0;
}

TREVIX7_DEVICE bool optixReportIntersection(float hitT, unsigned int hitKind, unsigned int a0,
                                            unsigned int a1, unsigned int a2, unsigned int a3,
                                            unsigned int a4)
{
    int ret;
    asm volatile("call (%0), _optix_report_intersection_5, (%1, %2, %3, %4, %5, %6, %7);"
                 : "=r"(ret)
                 : "f"(hitT), "r"(hitKind), "r"(a0), "r"(a1), "r"(a2), "r"(a3), "r"(a4));
    return ret != 0;
}

TREVIX7_DEVICE bool optixReportIntersection(float hitT, unsigned int hitKind, unsigned int a0,
                                            unsigned int a1, unsigned int a2, unsigned int a3,
                                            unsigned int a4, unsigned int a5)
{
    int ret;
    asm volatile("call (%0), _optix_report_intersection_6, (%1, %2, %3, %4, %5, %6, %7, %8);"
                 : "=r"(ret)
                 : "f"(hitT), "r"(hitKind), "r"(a0), "r"(a1), "r"(a2), "r"(a3), "r"(a4),
                   "r"(a5));
    return ret != 0;
}

TREVIX7_DEVICE bool optixReportIntersection(float hitT, unsigned int hitKind, unsigned int a0,
                                            unsigned int a1, unsigned int a2, unsigned int a3,
                                            unsigned int a4, unsigned int a5, unsigned int a6)
{
    int ret;
    asm volatile(
        "call (%0), _optix_report_intersection_7, (%1, %2, %3, %4, %5, %6, %7, %8, %9);"
        : "=r"(ret)
        : "f"(hitT), "r"(hitKind), "r"(a0), "r"(a1), "r"(a2), "r"(a3), "r"(a4), "r"(a5),
          "r"(a6));
    return ret != 0;
}

TREVIX7_DEVICE bool optixReportIntersection(float hitT, unsigned int hitKind, unsigned int a0,
                                            unsigned int a1, unsigned int a2, unsigned int a3,
                                            unsigned int a4, unsigned int a5, unsigned int a6,
                                            unsigned int a7)
{
    int ret;
    asm volatile(
        "call (%0), _optix_report_intersection_8, (%1, %2, %3, %4, %5, %6, %7, %8, %9, %10);"
        : "=r"(ret)
        : "f"(hitT), "r"(hitKind), "r"(a0), "r"(a1), "r"(a2), "r"(a3), "r"(a4), "r"(a5),
          "r"(a6), "r"(a7));
    return ret != 0;
}

// Attribute words of the current hit (any-hit / closest-hit).
#define TREVIX7_ATTRIBUTE_GETTER(k)                                                  \
    TREVIX7_DEVICE unsigned int optixGetAttribute_##k()                              \
    {                                                                                \
        unsigned int value;                                                          \
        asm volatile("call (%0), _optix_get_attribute_" #k ", ();" : "=r"(value) :); \
        return value;                                                                \
    }

TREVIX7_EACH_ATTRIBUTE(TREVIX7_ATTRIBUTE_GETTER)
#undef TREVIX7_ATTRIBUTE_GETTER

// Any-hit control.
TREVIX7_DEVICE void optixTerminateRay()
{
    asm volatile("call _optix_terminate_ray, ();");
}

TREVIX7_DEVICE void optixIgnoreIntersection()
{
    asm volatile("call _optix_ignore_intersection, ();");
}

// ---------------------------------------------------------------------------
// Hit identification
// ---------------------------------------------------------------------------

TREVIX7_DEVICE unsigned int optixGetPrimitiveIndex()
{
    unsigned int v;
    asm volatile("call (%0), _optix_read_primitive_idx, ();" : "=r"(v) :);
    return v;
}

// User-assigned OptixInstance::instanceId.
TREVIX7_DEVICE unsigned int optixGetInstanceId()
{
    unsigned int v;
    asm volatile("call (%0), _optix_read_instance_id, ();" : "=r"(v) :);
    return v;
}

// Position of the instance in its IAS.
TREVIX7_DEVICE unsigned int optixGetInstanceIndex()
{
    unsigned int v;
    asm volatile("call (%0), _optix_read_instance_idx, ();" : "=r"(v) :);
    return v;
}

TREVIX7_DEVICE unsigned int optixGetSbtGASIndex()
{
    unsigned int v;
    asm volatile("call (%0), _optix_read_sbt_gas_idx, ();" : "=r"(v) :);
    return v;
}

TREVIX7_DEVICE OptixTraversableHandle optixGetGASTraversableHandle()
{
    unsigned long long h;
    asm volatile("call (%0), _optix_get_gas_traversable_handle, ();" : "=l"(h) :);
    return (OptixTraversableHandle)h;
}

TREVIX7_DEVICE unsigned int optixGetHitKind()
{
    unsigned int v;
    asm volatile("call (%0), _optix_get_hit_kind, ();" : "=r"(v) :);
    return v;
}

TREVIX7_DEVICE OptixPrimitiveType optixGetPrimitiveType(unsigned int hitKind)
{
    unsigned int v;
    asm volatile("call (%0), _optix_get_primitive_type_from_hit_kind, (%1);"
                 : "=r"(v)
                 : "r"(hitKind));
    return (OptixPrimitiveType)v;
}

TREVIX7_DEVICE OptixPrimitiveType optixGetPrimitiveType()
{
    return optixGetPrimitiveType(optixGetHitKind());
}

TREVIX7_DEVICE bool optixIsBackFaceHit(unsigned int hitKind)
{
    unsigned int v;
    asm volatile("call (%0), _optix_get_backface_from_hit_kind, (%1);"
                 : "=r"(v)
                 : "r"(hitKind));
    return v == 1;
}

TREVIX7_DEVICE bool optixIsFrontFaceHit(unsigned int hitKind)
{
    return !optixIsBackFaceHit(hitKind);
}

TREVIX7_DEVICE bool optixIsBackFaceHit()
{
    return optixIsBackFaceHit(optixGetHitKind());
}

TREVIX7_DEVICE bool optixIsFrontFaceHit()
{
    return optixIsFrontFaceHit(optixGetHitKind());
}

TREVIX7_DEVICE bool optixIsTriangleFrontFaceHit()
{
    return optixGetHitKind() == OPTIX_HIT_KIND_TRIANGLE_FRONT_FACE;
}

TREVIX7_DEVICE bool optixIsTriangleBackFaceHit()
{
    return optixGetHitKind() == OPTIX_HIT_KIND_TRIANGLE_BACK_FACE;
}

TREVIX7_DEVICE bool optixIsTriangleHit()
{
    const unsigned int k = optixGetHitKind();
    return k == OPTIX_HIT_KIND_TRIANGLE_FRONT_FACE || k == OPTIX_HIT_KIND_TRIANGLE_BACK_FACE;
}

// Built-in triangles: weights of vertices 1 and 2 (vertex 0 gets 1 - u - v).
TREVIX7_DEVICE float2 optixGetTriangleBarycentrics()
{
    float u, v;
    asm volatile("call (%0, %1), _optix_get_triangle_barycentrics, ();" : "=f"(u), "=f"(v) :);
    return make_float2(u, v);
}

// Built-in curves: the curve parameter travels in attribute 0.
TREVIX7_DEVICE float optixGetCurveParameter()
{
    return __uint_as_float(optixGetAttribute_0());
}

// ---------------------------------------------------------------------------
// Ray state
// ---------------------------------------------------------------------------

TREVIX7_DEVICE float3 optixGetWorldRayOrigin()
{
    float x, y, z;
    asm volatile("call (%0), _optix_get_world_ray_origin_x, ();" : "=f"(x) :);
    asm volatile("call (%0), _optix_get_world_ray_origin_y, ();" : "=f"(y) :);
    asm volatile("call (%0), _optix_get_world_ray_origin_z, ();" : "=f"(z) :);
    return make_float3(x, y, z);
}

TREVIX7_DEVICE float3 optixGetWorldRayDirection()
{
    float x, y, z;
    asm volatile("call (%0), _optix_get_world_ray_direction_x, ();" : "=f"(x) :);
    asm volatile("call (%0), _optix_get_world_ray_direction_y, ();" : "=f"(y) :);
    asm volatile("call (%0), _optix_get_world_ray_direction_z, ();" : "=f"(z) :);
    return make_float3(x, y, z);
}

TREVIX7_DEVICE float3 optixGetObjectRayOrigin()
{
    float x, y, z;
    asm volatile("call (%0), _optix_get_object_ray_origin_x, ();" : "=f"(x) :);
    asm volatile("call (%0), _optix_get_object_ray_origin_y, ();" : "=f"(y) :);
    asm volatile("call (%0), _optix_get_object_ray_origin_z, ();" : "=f"(z) :);
    return make_float3(x, y, z);
}

TREVIX7_DEVICE float3 optixGetObjectRayDirection()
{
    float x, y, z;
    asm volatile("call (%0), _optix_get_object_ray_direction_x, ();" : "=f"(x) :);
    asm volatile("call (%0), _optix_get_object_ray_direction_y, ();" : "=f"(y) :);
    asm volatile("call (%0), _optix_get_object_ray_direction_z, ();" : "=f"(z) :);
    return make_float3(x, y, z);
}

TREVIX7_DEVICE float optixGetRayTmin()
{
    float v;
    asm volatile("call (%0), _optix_get_ray_tmin, ();" : "=f"(v) :);
    return v;
}

TREVIX7_DEVICE float optixGetRayTmax()
{
    float v;
    asm volatile("call (%0), _optix_get_ray_tmax, ();" : "=f"(v) :);
    return v;
}

TREVIX7_DEVICE float optixGetRayTime()
{
    float v;
    asm volatile("call (%0), _optix_get_ray_time, ();" : "=f"(v) :);
    return v;
}

TREVIX7_DEVICE unsigned int optixGetRayFlags()
{
    unsigned int v;
    asm volatile("call (%0), _optix_get_ray_flags, ();" : "=r"(v) :);
    return v;
}

TREVIX7_DEVICE unsigned int optixGetRayVisibilityMask()
{
    unsigned int v;
    asm volatile("call (%0), _optix_get_ray_visibility_mask, ();" : "=r"(v) :);
    return v;
}

// ---------------------------------------------------------------------------
// Geometry queries (the GAS must be built with OPTIX_BUILD_FLAG_ALLOW_RANDOM_VERTEX_ACCESS)
// ---------------------------------------------------------------------------

TREVIX7_DEVICE void optixGetTriangleVertexData(OptixTraversableHandle gas, unsigned int primIdx,
                                               unsigned int sbtGASIndex, float time,
                                               float3 data[3])
{
    asm volatile("call (%0, %1, %2, %3, %4, %5, %6, %7, %8), _optix_get_triangle_vertex_data, "
                 "(%9, %10, %11, %12);"
                 : "=f"(data[0].x), "=f"(data[0].y), "=f"(data[0].z), "=f"(data[1].x),
                   "=f"(data[1].y), "=f"(data[1].z), "=f"(data[2].x), "=f"(data[2].y),
                   "=f"(data[2].z)
                 : "l"(gas), "r"(primIdx), "r"(sbtGASIndex), "f"(time)
                 :);
}

// Curve control points: xyz position, w radius.
TREVIX7_DEVICE void optixGetLinearCurveVertexData(OptixTraversableHandle gas,
                                                  unsigned int primIdx, unsigned int sbtGASIndex,
                                                  float time, float4 data[2])
{
    asm volatile("call (%0, %1, %2, %3, %4, %5, %6, %7), _optix_get_linear_curve_vertex_data, "
                 "(%8, %9, %10, %11);"
                 : "=f"(data[0].x), "=f"(data[0].y), "=f"(data[0].z), "=f"(data[0].w),
                   "=f"(data[1].x), "=f"(data[1].y), "=f"(data[1].z), "=f"(data[1].w)
                 : "l"(gas), "r"(primIdx), "r"(sbtGASIndex), "f"(time)
                 :);
}

TREVIX7_DEVICE void optixGetQuadraticBSplineVertexData(OptixTraversableHandle gas,
                                                       unsigned int primIdx,
                                                       unsigned int sbtGASIndex, float time,
                                                       float4 data[3])
{
    asm volatile("call (%0, %1, %2, %3, %4, %5, %6, %7, %8, %9, %10, %11), "
                 "_optix_get_quadratic_bspline_vertex_data, (%12, %13, %14, %15);"
                 : "=f"(data[0].x), "=f"(data[0].y), "=f"(data[0].z), "=f"(data[0].w),
                   "=f"(data[1].x), "=f"(data[1].y), "=f"(data[1].z), "=f"(data[1].w),
                   "=f"(data[2].x), "=f"(data[2].y), "=f"(data[2].z), "=f"(data[2].w)
                 : "l"(gas), "r"(primIdx), "r"(sbtGASIndex), "f"(time)
                 :);
}

TREVIX7_DEVICE void optixGetCubicBSplineVertexData(OptixTraversableHandle gas,
                                                   unsigned int primIdx, unsigned int sbtGASIndex,
                                                   float time, float4 data[4])
{
    asm volatile("call (%0, %1, %2, %3, %4, %5, %6, %7, %8, %9, %10, %11, %12, %13, %14, %15), "
                 "_optix_get_cubic_bspline_vertex_data, (%16, %17, %18, %19);"
                 : "=f"(data[0].x), "=f"(data[0].y), "=f"(data[0].z), "=f"(data[0].w),
                   "=f"(data[1].x), "=f"(data[1].y), "=f"(data[1].z), "=f"(data[1].w),
                   "=f"(data[2].x), "=f"(data[2].y), "=f"(data[2].z), "=f"(data[2].w),
                   "=f"(data[3].x), "=f"(data[3].y), "=f"(data[3].z), "=f"(data[3].w)
                 : "l"(gas), "r"(primIdx), "r"(sbtGASIndex), "f"(time)
                 :);
}

TREVIX7_DEVICE void optixGetCatmullRomVertexData(OptixTraversableHandle gas,
                                                 unsigned int primIdx, unsigned int sbtGASIndex,
                                                 float time, float4 data[4])
{
    asm volatile("call (%0, %1, %2, %3, %4, %5, %6, %7, %8, %9, %10, %11, %12, %13, %14, %15), "
                 "_optix_get_catmullrom_vertex_data, (%16, %17, %18, %19);"
                 : "=f"(data[0].x), "=f"(data[0].y), "=f"(data[0].z), "=f"(data[0].w),
                   "=f"(data[1].x), "=f"(data[1].y), "=f"(data[1].z), "=f"(data[1].w),
                   "=f"(data[2].x), "=f"(data[2].y), "=f"(data[2].z), "=f"(data[2].w),
                   "=f"(data[3].x), "=f"(data[3].y), "=f"(data[3].z), "=f"(data[3].w)
                 : "l"(gas), "r"(primIdx), "r"(sbtGASIndex), "f"(time)
                 :);
}

// Sphere: xyz center, w radius.
TREVIX7_DEVICE void optixGetSphereData(OptixTraversableHandle gas, unsigned int primIdx,
                                       unsigned int sbtGASIndex, float time, float4 data[1])
{
    asm volatile("call (%0, %1, %2, %3), _optix_get_sphere_data, (%4, %5, %6, %7);"
                 : "=f"(data[0].x), "=f"(data[0].y), "=f"(data[0].z), "=f"(data[0].w)
                 : "l"(gas), "r"(primIdx), "r"(sbtGASIndex), "f"(time)
                 :);
}

// ---------------------------------------------------------------------------
// Transform list of the current hit
// ---------------------------------------------------------------------------

TREVIX7_DEVICE unsigned int optixGetTransformListSize()
{
    unsigned int v;
    asm volatile("call (%0), _optix_get_transform_list_size, ();" : "=r"(v) :);
    return v;
}

TREVIX7_DEVICE OptixTraversableHandle optixGetTransformListHandle(unsigned int index)
{
    unsigned long long h;
    asm volatile("call (%0), _optix_get_transform_list_handle, (%1);" : "=l"(h) : "r"(index));
    return (OptixTraversableHandle)h;
}

TREVIX7_DEVICE OptixTransformType optixGetTransformTypeFromHandle(OptixTraversableHandle handle)
{
    unsigned int v;
    asm volatile("call (%0), _optix_get_transform_type_from_handle, (%1);"
                 : "=r"(v)
                 : "l"(handle));
    return (OptixTransformType)v;
}

// Three float4 rows of the instance's object-to-world matrix.
TREVIX7_DEVICE const float4* optixGetInstanceTransformFromHandle(OptixTraversableHandle handle)
{
    unsigned long long p;
    asm volatile("call (%0), _optix_get_instance_transform_from_handle, (%1);"
                 : "=l"(p)
                 : "l"(handle));
    return (const float4*)p;
}

// Three float4 rows of the instance's world-to-object matrix.
TREVIX7_DEVICE const float4* optixGetInstanceInverseTransformFromHandle(
    OptixTraversableHandle handle)
{
    unsigned long long p;
    asm volatile("call (%0), _optix_get_instance_inverse_transform_from_handle, (%1);"
                 : "=l"(p)
                 : "l"(handle));
    return (const float4*)p;
}

TREVIX7_DEVICE const OptixStaticTransform* optixGetStaticTransformFromHandle(
    OptixTraversableHandle handle)
{
    unsigned long long p;
    asm volatile("call (%0), _optix_get_static_transform_from_handle, (%1);"
                 : "=l"(p)
                 : "l"(handle));
    return (const OptixStaticTransform*)p;
}

TREVIX7_DEVICE const OptixMatrixMotionTransform* optixGetMatrixMotionTransformFromHandle(
    OptixTraversableHandle handle)
{
    unsigned long long p;
    asm volatile("call (%0), _optix_get_matrix_motion_transform_from_handle, (%1);"
                 : "=l"(p)
                 : "l"(handle));
    return (const OptixMatrixMotionTransform*)p;
}

TREVIX7_DEVICE const OptixSRTMotionTransform* optixGetSRTMotionTransformFromHandle(
    OptixTraversableHandle handle)
{
    unsigned long long p;
    asm volatile("call (%0), _optix_get_srt_motion_transform_from_handle, (%1);"
                 : "=l"(p)
                 : "l"(handle));
    return (const OptixSRTMotionTransform*)p;
}

// ---------------------------------------------------------------------------
// Exception programs
// ---------------------------------------------------------------------------

TREVIX7_DEVICE int optixGetExceptionCode()
{
    int v;
    asm volatile("call (%0), _optix_get_exception_code, ();" : "=r"(v) :);
    return v;
}

#undef TREVIX7_DEVICE

#endif // __CUDACC__
