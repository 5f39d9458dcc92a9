// trevix7 - host-side declarations of the OptiX 7.6 interface (function table ABI 68).
//
// The OptiX runtime lives in the display driver (libnvoptix.so.1). We reach it only
// through the function table returned by its exported optixQueryFunctionTable entry,
// so everything the renderer passes across that boundary is declared here: handles,
// enums, structs and the table itself. Layouts are pinned down by static_asserts;
// a failing assert means the declaration no longer matches ABI 68.
//
// Usable from C++17 host code and from nvcc (host and device passes).
#pragma once

#include <cuda.h>

#include <cstddef>
#include <cstdint>

#define OPTIX_ABI_VERSION 68
#define OPTIX_VERSION 70600

// ---------------------------------------------------------------------------
// Constants
// ---------------------------------------------------------------------------

// Opaque header at the start of every SBT record, and record alignment/stride.
#define OPTIX_SBT_RECORD_HEADER_SIZE ((size_t)32)
#define OPTIX_SBT_RECORD_ALIGNMENT 16ull

// Alignment of acceleration-structure buffers (output, temp, compacted).
#define OPTIX_ACCEL_BUFFER_BYTE_ALIGNMENT 128ull
// Alignment of instance arrays / of each instance behind an instance pointer.
#define OPTIX_INSTANCE_BYTE_ALIGNMENT 16ull
// Alignment of AABB buffers and of a non-zero AABB stride.
#define OPTIX_AABB_BUFFER_BYTE_ALIGNMENT 8ull
// Alignment of a triangle build input's 3x4 preTransform.
#define OPTIX_GEOMETRY_TRANSFORM_BYTE_ALIGNMENT 16ull
// Alignment of static / matrix-motion / SRT-motion transform traversables.
#define OPTIX_TRANSFORM_BYTE_ALIGNMENT 64ull

// Module compilation limits.
#define OPTIX_COMPILE_DEFAULT_MAX_REGISTER_COUNT 0
#define OPTIX_COMPILE_DEFAULT_MAX_PAYLOAD_TYPE_COUNT 8
#define OPTIX_COMPILE_DEFAULT_MAX_PAYLOAD_VALUE_COUNT 32

// Opacity micromap states and predefined indices.
#define OPTIX_OPACITY_MICROMAP_STATE_TRANSPARENT 0
#define OPTIX_OPACITY_MICROMAP_STATE_OPAQUE 1
#define OPTIX_OPACITY_MICROMAP_STATE_UNKNOWN_TRANSPARENT 2
#define OPTIX_OPACITY_MICROMAP_STATE_UNKNOWN_OPAQUE 3
#define OPTIX_OPACITY_MICROMAP_PREDEFINED_INDEX_FULLY_TRANSPARENT (-1)
#define OPTIX_OPACITY_MICROMAP_PREDEFINED_INDEX_FULLY_OPAQUE (-2)
#define OPTIX_OPACITY_MICROMAP_PREDEFINED_INDEX_FULLY_UNKNOWN_TRANSPARENT (-3)
#define OPTIX_OPACITY_MICROMAP_PREDEFINED_INDEX_FULLY_UNKNOWN_OPAQUE (-4)
#define OPTIX_OPACITY_MICROMAP_ARRAY_BUFFER_BYTE_ALIGNMENT 128ull
#define OPTIX_OPACITY_MICROMAP_MAX_SUBDIVISION_LEVEL 12

// ---------------------------------------------------------------------------
// Basic types and opaque handles
// ---------------------------------------------------------------------------

static_assert(sizeof(CUdeviceptr) == 8, "64-bit device pointers required");

typedef unsigned long long OptixTraversableHandle;
typedef unsigned int OptixVisibilityMask;

typedef struct OptixDeviceContext_t* OptixDeviceContext;
typedef struct OptixModule_t* OptixModule;
typedef struct OptixProgramGroup_t* OptixProgramGroup;
typedef struct OptixPipeline_t* OptixPipeline;
typedef struct OptixDenoiser_t* OptixDenoiser;
typedef struct OptixTask_t* OptixTask;

// level: 1 fatal, 2 error, 3 warning, 4 print (higher values may occur).
typedef void (*OptixLogCallback)(unsigned int level, const char* tag, const char* message, void* cbdata);

static_assert(sizeof(OptixTraversableHandle) == 8, "");
static_assert(sizeof(OptixVisibilityMask) == 4, "");

// ---------------------------------------------------------------------------
// Enums. All are 32-bit; the ones holding 0x80000000 / 0xFFFFFFFF are unsigned,
// the exception codes (negative) are signed.
// ---------------------------------------------------------------------------

// Results, device properties, context validation
enum OptixResult : unsigned int
{
    OPTIX_SUCCESS                               = 0,
    OPTIX_ERROR_INVALID_VALUE                   = 0x1B59,
    OPTIX_ERROR_HOST_OUT_OF_MEMORY              = 0x1B5A,
    OPTIX_ERROR_INVALID_OPERATION               = 0x1B5B,
    OPTIX_ERROR_FILE_IO_ERROR                   = 0x1B5C,
    OPTIX_ERROR_INVALID_FILE_FORMAT             = 0x1B5D,
    OPTIX_ERROR_DISK_CACHE_INVALID_PATH         = 0x1B62,
    OPTIX_ERROR_DISK_CACHE_PERMISSION_ERROR     = 0x1B63,
    OPTIX_ERROR_DISK_CACHE_DATABASE_ERROR       = 0x1B64,
    OPTIX_ERROR_DISK_CACHE_INVALID_DATA         = 0x1B65,
    OPTIX_ERROR_LAUNCH_FAILURE                  = 0x1B8A,
    OPTIX_ERROR_INVALID_DEVICE_CONTEXT          = 0x1B8B,
    OPTIX_ERROR_CUDA_NOT_INITIALIZED            = 0x1B8C,
    OPTIX_ERROR_VALIDATION_FAILURE              = 0x1B8D,
    OPTIX_ERROR_INVALID_PTX                     = 0x1C20,
    OPTIX_ERROR_INVALID_LAUNCH_PARAMETER        = 0x1C21,
    OPTIX_ERROR_INVALID_PAYLOAD_ACCESS          = 0x1C22,
    OPTIX_ERROR_INVALID_ATTRIBUTE_ACCESS        = 0x1C23,
    OPTIX_ERROR_INVALID_FUNCTION_USE            = 0x1C24,
    OPTIX_ERROR_INVALID_FUNCTION_ARGUMENTS      = 0x1C25,
    OPTIX_ERROR_PIPELINE_OUT_OF_CONSTANT_MEMORY = 0x1C52,
    OPTIX_ERROR_PIPELINE_LINK_ERROR             = 0x1C53,
    OPTIX_ERROR_ILLEGAL_DURING_TASK_EXECUTE     = 0x1C66,
    OPTIX_ERROR_INTERNAL_COMPILER_ERROR         = 0x1C83,
    OPTIX_ERROR_DENOISER_MODEL_NOT_SET          = 0x1C84,
    OPTIX_ERROR_DENOISER_NOT_INITIALIZED        = 0x1C85,
    OPTIX_ERROR_NOT_COMPATIBLE                  = 0x1CE8,
    OPTIX_ERROR_PAYLOAD_TYPE_MISMATCH           = 0x1D4C,
    OPTIX_ERROR_PAYLOAD_TYPE_RESOLUTION_FAILED  = 0x1D4D,
    OPTIX_ERROR_PAYLOAD_TYPE_ID_INVALID         = 0x1D4E,
    OPTIX_ERROR_NOT_SUPPORTED                   = 0x1E78,
    OPTIX_ERROR_UNSUPPORTED_ABI_VERSION         = 0x1E79,
    OPTIX_ERROR_FUNCTION_TABLE_SIZE_MISMATCH    = 0x1E7A,
    OPTIX_ERROR_INVALID_ENTRY_FUNCTION_OPTIONS  = 0x1E7B,
    OPTIX_ERROR_LIBRARY_NOT_FOUND               = 0x1E7C,
    OPTIX_ERROR_ENTRY_SYMBOL_NOT_FOUND          = 0x1E7D,
    OPTIX_ERROR_LIBRARY_UNLOAD_FAILURE          = 0x1E7E,
    OPTIX_ERROR_DEVICE_OUT_OF_MEMORY            = 0x1E7F,
    OPTIX_ERROR_CUDA_ERROR                      = 0x1EDC,
    OPTIX_ERROR_INTERNAL_ERROR                  = 0x1F36,
    OPTIX_ERROR_UNKNOWN                         = 0x1F3F,
};
static_assert(sizeof(OptixResult) == 4, "");

enum OptixDeviceProperty : unsigned int
{
    OPTIX_DEVICE_PROPERTY_LIMIT_MAX_TRACE_DEPTH                   = 0x2001,
    OPTIX_DEVICE_PROPERTY_LIMIT_MAX_TRAVERSABLE_GRAPH_DEPTH       = 0x2002,
    OPTIX_DEVICE_PROPERTY_LIMIT_MAX_PRIMITIVES_PER_GAS            = 0x2003,
    OPTIX_DEVICE_PROPERTY_LIMIT_MAX_INSTANCES_PER_IAS             = 0x2004,
    OPTIX_DEVICE_PROPERTY_RTCORE_VERSION                          = 0x2005,
    OPTIX_DEVICE_PROPERTY_LIMIT_MAX_INSTANCE_ID                   = 0x2006,
    OPTIX_DEVICE_PROPERTY_LIMIT_NUM_BITS_INSTANCE_VISIBILITY_MASK = 0x2007,
    OPTIX_DEVICE_PROPERTY_LIMIT_MAX_SBT_RECORDS_PER_GAS           = 0x2008,
    OPTIX_DEVICE_PROPERTY_LIMIT_MAX_SBT_OFFSET                    = 0x2009,
};
static_assert(sizeof(OptixDeviceProperty) == 4, "");

enum OptixDeviceContextValidationMode : unsigned int
{
    OPTIX_DEVICE_CONTEXT_VALIDATION_MODE_OFF = 0,
    OPTIX_DEVICE_CONTEXT_VALIDATION_MODE_ALL = 0xFFFFFFFFu,
};
static_assert(sizeof(OptixDeviceContextValidationMode) == 4, "");

// Module compilation and payload types
enum OptixCompileOptimizationLevel : unsigned int
{
    OPTIX_COMPILE_OPTIMIZATION_DEFAULT = 0,
    OPTIX_COMPILE_OPTIMIZATION_LEVEL_0 = 0x2340,
    OPTIX_COMPILE_OPTIMIZATION_LEVEL_1 = 0x2341,
    OPTIX_COMPILE_OPTIMIZATION_LEVEL_2 = 0x2342,
    OPTIX_COMPILE_OPTIMIZATION_LEVEL_3 = 0x2343,
};
static_assert(sizeof(OptixCompileOptimizationLevel) == 4, "");

enum OptixCompileDebugLevel : unsigned int
{
    OPTIX_COMPILE_DEBUG_LEVEL_DEFAULT  = 0,
    OPTIX_COMPILE_DEBUG_LEVEL_NONE     = 0x2350,
    OPTIX_COMPILE_DEBUG_LEVEL_MINIMAL  = 0x2351,
    OPTIX_COMPILE_DEBUG_LEVEL_MODERATE = 0x2353,
    OPTIX_COMPILE_DEBUG_LEVEL_FULL     = 0x2352,
};
static_assert(sizeof(OptixCompileDebugLevel) == 4, "");

enum OptixModuleCompileState : unsigned int
{
    OPTIX_MODULE_COMPILE_STATE_NOT_STARTED       = 0x2360,
    OPTIX_MODULE_COMPILE_STATE_STARTED           = 0x2361,
    OPTIX_MODULE_COMPILE_STATE_IMPENDING_FAILURE = 0x2362,
    OPTIX_MODULE_COMPILE_STATE_FAILED            = 0x2363,
    OPTIX_MODULE_COMPILE_STATE_COMPLETED         = 0x2364,
};
static_assert(sizeof(OptixModuleCompileState) == 4, "");

enum OptixPayloadTypeID : unsigned int
{
    OPTIX_PAYLOAD_TYPE_DEFAULT = 0,
    OPTIX_PAYLOAD_TYPE_ID_0    = 1,
    OPTIX_PAYLOAD_TYPE_ID_1    = 2,
    OPTIX_PAYLOAD_TYPE_ID_2    = 4,
    OPTIX_PAYLOAD_TYPE_ID_3    = 8,
    OPTIX_PAYLOAD_TYPE_ID_4    = 0x10,
    OPTIX_PAYLOAD_TYPE_ID_5    = 0x20,
    OPTIX_PAYLOAD_TYPE_ID_6    = 0x40,
    OPTIX_PAYLOAD_TYPE_ID_7    = 0x80,
};
static_assert(sizeof(OptixPayloadTypeID) == 4, "");

enum OptixPayloadSemantics : unsigned int
{
    OPTIX_PAYLOAD_SEMANTICS_TRACE_CALLER_NONE       = 0,
    OPTIX_PAYLOAD_SEMANTICS_TRACE_CALLER_READ       = 1,
    OPTIX_PAYLOAD_SEMANTICS_TRACE_CALLER_WRITE      = 2,
    OPTIX_PAYLOAD_SEMANTICS_TRACE_CALLER_READ_WRITE = 3,
    OPTIX_PAYLOAD_SEMANTICS_CH_NONE                 = 0,
    OPTIX_PAYLOAD_SEMANTICS_CH_READ                 = 4,
    OPTIX_PAYLOAD_SEMANTICS_CH_WRITE                = 8,
    OPTIX_PAYLOAD_SEMANTICS_CH_READ_WRITE           = 12,
    OPTIX_PAYLOAD_SEMANTICS_MS_NONE                 = 0,
    OPTIX_PAYLOAD_SEMANTICS_MS_READ                 = 0x10,
    OPTIX_PAYLOAD_SEMANTICS_MS_WRITE                = 0x20,
    OPTIX_PAYLOAD_SEMANTICS_MS_READ_WRITE           = 0x30,
    OPTIX_PAYLOAD_SEMANTICS_AH_NONE                 = 0,
    OPTIX_PAYLOAD_SEMANTICS_AH_READ                 = 0x40,
    OPTIX_PAYLOAD_SEMANTICS_AH_WRITE                = 0x80,
    OPTIX_PAYLOAD_SEMANTICS_AH_READ_WRITE           = 0xC0,
    OPTIX_PAYLOAD_SEMANTICS_IS_NONE                 = 0,
    OPTIX_PAYLOAD_SEMANTICS_IS_READ                 = 0x100,
    OPTIX_PAYLOAD_SEMANTICS_IS_WRITE                = 0x200,
    OPTIX_PAYLOAD_SEMANTICS_IS_READ_WRITE           = 0x300,
};
static_assert(sizeof(OptixPayloadSemantics) == 4, "");

// Program groups
enum OptixProgramGroupKind : unsigned int
{
    OPTIX_PROGRAM_GROUP_KIND_RAYGEN    = 0x2421,
    OPTIX_PROGRAM_GROUP_KIND_MISS      = 0x2422,
    OPTIX_PROGRAM_GROUP_KIND_EXCEPTION = 0x2423,
    OPTIX_PROGRAM_GROUP_KIND_HITGROUP  = 0x2424,
    OPTIX_PROGRAM_GROUP_KIND_CALLABLES = 0x2425,
};
static_assert(sizeof(OptixProgramGroupKind) == 4, "");

enum OptixProgramGroupFlags : unsigned int
{
    OPTIX_PROGRAM_GROUP_FLAGS_NONE = 0,
};
static_assert(sizeof(OptixProgramGroupFlags) == 4, "");

// Primitive types and pipeline-wide flags
enum OptixPrimitiveType : unsigned int
{
    OPTIX_PRIMITIVE_TYPE_CUSTOM                  = 0x2500,
    OPTIX_PRIMITIVE_TYPE_ROUND_QUADRATIC_BSPLINE = 0x2501,
    OPTIX_PRIMITIVE_TYPE_ROUND_CUBIC_BSPLINE     = 0x2502,
    OPTIX_PRIMITIVE_TYPE_ROUND_LINEAR            = 0x2503,
    OPTIX_PRIMITIVE_TYPE_ROUND_CATMULLROM        = 0x2504,
    OPTIX_PRIMITIVE_TYPE_SPHERE                  = 0x2506,
    OPTIX_PRIMITIVE_TYPE_TRIANGLE                = 0x2531,
};
static_assert(sizeof(OptixPrimitiveType) == 4, "");

enum OptixPrimitiveTypeFlags : unsigned int
{
    OPTIX_PRIMITIVE_TYPE_FLAGS_CUSTOM                  = 1,
    OPTIX_PRIMITIVE_TYPE_FLAGS_ROUND_QUADRATIC_BSPLINE = 2,
    OPTIX_PRIMITIVE_TYPE_FLAGS_ROUND_CUBIC_BSPLINE     = 4,
    OPTIX_PRIMITIVE_TYPE_FLAGS_ROUND_LINEAR            = 8,
    OPTIX_PRIMITIVE_TYPE_FLAGS_ROUND_CATMULLROM        = 0x10,
    OPTIX_PRIMITIVE_TYPE_FLAGS_SPHERE                  = 0x40,
    OPTIX_PRIMITIVE_TYPE_FLAGS_TRIANGLE                = 0x80000000u,
};
static_assert(sizeof(OptixPrimitiveTypeFlags) == 4, "");

enum OptixCurveEndcapFlags : unsigned int
{
    OPTIX_CURVE_ENDCAP_DEFAULT = 0,
    OPTIX_CURVE_ENDCAP_ON      = 1,
};
static_assert(sizeof(OptixCurveEndcapFlags) == 4, "");

enum OptixTraversableGraphFlags : unsigned int
{
    OPTIX_TRAVERSABLE_GRAPH_FLAG_ALLOW_ANY                     = 0,
    OPTIX_TRAVERSABLE_GRAPH_FLAG_ALLOW_SINGLE_GAS              = 1,
    OPTIX_TRAVERSABLE_GRAPH_FLAG_ALLOW_SINGLE_LEVEL_INSTANCING = 2,
};
static_assert(sizeof(OptixTraversableGraphFlags) == 4, "");

enum OptixExceptionFlags : unsigned int
{
    OPTIX_EXCEPTION_FLAG_NONE           = 0,
    OPTIX_EXCEPTION_FLAG_STACK_OVERFLOW = 1,
    OPTIX_EXCEPTION_FLAG_TRACE_DEPTH    = 2,
    OPTIX_EXCEPTION_FLAG_USER           = 4,
    OPTIX_EXCEPTION_FLAG_DEBUG          = 8,
};
static_assert(sizeof(OptixExceptionFlags) == 4, "");

enum OptixExceptionCodes : int
{
    OPTIX_EXCEPTION_CODE_STACK_OVERFLOW                = -1,
    OPTIX_EXCEPTION_CODE_TRACE_DEPTH_EXCEEDED          = -2,
    OPTIX_EXCEPTION_CODE_TRAVERSAL_DEPTH_EXCEEDED      = -3,
    OPTIX_EXCEPTION_CODE_TRAVERSAL_INVALID_TRAVERSABLE = -5,
    OPTIX_EXCEPTION_CODE_TRAVERSAL_INVALID_MISS_SBT    = -6,
    OPTIX_EXCEPTION_CODE_TRAVERSAL_INVALID_HIT_SBT     = -7,
    OPTIX_EXCEPTION_CODE_UNSUPPORTED_PRIMITIVE_TYPE    = -8,
    OPTIX_EXCEPTION_CODE_INVALID_RAY                   = -9,
    OPTIX_EXCEPTION_CODE_CALLABLE_PARAMETER_MISMATCH   = -10,
    OPTIX_EXCEPTION_CODE_BUILTIN_IS_MISMATCH           = -11,
    OPTIX_EXCEPTION_CODE_CALLABLE_INVALID_SBT          = -12,
    OPTIX_EXCEPTION_CODE_CALLABLE_NO_DC_SBT_RECORD     = -13,
    OPTIX_EXCEPTION_CODE_CALLABLE_NO_CC_SBT_RECORD     = -14,
    OPTIX_EXCEPTION_CODE_UNSUPPORTED_SINGLE_LEVEL_GAS  = -15,
    OPTIX_EXCEPTION_CODE_INVALID_VALUE_ARGUMENT_0      = -16,
    OPTIX_EXCEPTION_CODE_INVALID_VALUE_ARGUMENT_1      = -17,
    OPTIX_EXCEPTION_CODE_INVALID_VALUE_ARGUMENT_2      = -18,
    OPTIX_EXCEPTION_CODE_UNSUPPORTED_DATA_ACCESS       = -32,
    OPTIX_EXCEPTION_CODE_PAYLOAD_TYPE_MISMATCH         = -33,
};
static_assert(sizeof(OptixExceptionCodes) == 4, "");

// Acceleration structure builds
enum OptixBuildInputType : unsigned int
{
    OPTIX_BUILD_INPUT_TYPE_TRIANGLES         = 0x2141,
    OPTIX_BUILD_INPUT_TYPE_CUSTOM_PRIMITIVES = 0x2142,
    OPTIX_BUILD_INPUT_TYPE_INSTANCES         = 0x2143,
    OPTIX_BUILD_INPUT_TYPE_INSTANCE_POINTERS = 0x2144,
    OPTIX_BUILD_INPUT_TYPE_CURVES            = 0x2145,
    OPTIX_BUILD_INPUT_TYPE_SPHERES           = 0x2146,
};
static_assert(sizeof(OptixBuildInputType) == 4, "");

enum OptixVertexFormat : unsigned int
{
    OPTIX_VERTEX_FORMAT_NONE      = 0,
    OPTIX_VERTEX_FORMAT_FLOAT3    = 0x2121,
    OPTIX_VERTEX_FORMAT_FLOAT2    = 0x2122,
    OPTIX_VERTEX_FORMAT_HALF3     = 0x2123,
    OPTIX_VERTEX_FORMAT_HALF2     = 0x2124,
    OPTIX_VERTEX_FORMAT_SNORM16_3 = 0x2125,
    OPTIX_VERTEX_FORMAT_SNORM16_2 = 0x2126,
};
static_assert(sizeof(OptixVertexFormat) == 4, "");

enum OptixIndicesFormat : unsigned int
{
    OPTIX_INDICES_FORMAT_NONE            = 0,
    OPTIX_INDICES_FORMAT_UNSIGNED_SHORT3 = 0x2102,
    OPTIX_INDICES_FORMAT_UNSIGNED_INT3   = 0x2103,
};
static_assert(sizeof(OptixIndicesFormat) == 4, "");

enum OptixGeometryFlags : unsigned int
{
    OPTIX_GEOMETRY_FLAG_NONE                          = 0,
    OPTIX_GEOMETRY_FLAG_DISABLE_ANYHIT                = 1,
    OPTIX_GEOMETRY_FLAG_REQUIRE_SINGLE_ANYHIT_CALL    = 2,
    OPTIX_GEOMETRY_FLAG_DISABLE_TRIANGLE_FACE_CULLING = 4,
};
static_assert(sizeof(OptixGeometryFlags) == 4, "");

enum OptixTransformFormat : unsigned int
{
    OPTIX_TRANSFORM_FORMAT_NONE           = 0,
    OPTIX_TRANSFORM_FORMAT_MATRIX_FLOAT12 = 0x21E1,
};
static_assert(sizeof(OptixTransformFormat) == 4, "");

enum OptixBuildFlags : unsigned int
{
    OPTIX_BUILD_FLAG_NONE                            = 0,
    OPTIX_BUILD_FLAG_ALLOW_UPDATE                    = 1,
    OPTIX_BUILD_FLAG_ALLOW_COMPACTION                = 2,
    OPTIX_BUILD_FLAG_PREFER_FAST_TRACE               = 4,
    OPTIX_BUILD_FLAG_PREFER_FAST_BUILD               = 8,
    OPTIX_BUILD_FLAG_ALLOW_RANDOM_VERTEX_ACCESS      = 0x10,
    OPTIX_BUILD_FLAG_ALLOW_RANDOM_INSTANCE_ACCESS    = 0x20,
    OPTIX_BUILD_FLAG_ALLOW_OPACITY_MICROMAP_UPDATE   = 0x40,
    OPTIX_BUILD_FLAG_ALLOW_DISABLE_OPACITY_MICROMAPS = 0x80,
};
static_assert(sizeof(OptixBuildFlags) == 4, "");

enum OptixBuildOperation : unsigned int
{
    OPTIX_BUILD_OPERATION_BUILD  = 0x2161,
    OPTIX_BUILD_OPERATION_UPDATE = 0x2162,
};
static_assert(sizeof(OptixBuildOperation) == 4, "");

enum OptixMotionFlags : unsigned int
{
    OPTIX_MOTION_FLAG_NONE         = 0,
    OPTIX_MOTION_FLAG_START_VANISH = 1,
    OPTIX_MOTION_FLAG_END_VANISH   = 2,
};
static_assert(sizeof(OptixMotionFlags) == 4, "");

enum OptixAccelPropertyType : unsigned int
{
    OPTIX_PROPERTY_TYPE_COMPACTED_SIZE = 0x2181,
    OPTIX_PROPERTY_TYPE_AABBS          = 0x2182,
};
static_assert(sizeof(OptixAccelPropertyType) == 4, "");

enum OptixInstanceFlags : unsigned int
{
    OPTIX_INSTANCE_FLAG_NONE                           = 0,
    OPTIX_INSTANCE_FLAG_DISABLE_TRIANGLE_FACE_CULLING  = 1,
    OPTIX_INSTANCE_FLAG_FLIP_TRIANGLE_FACING           = 2,
    OPTIX_INSTANCE_FLAG_DISABLE_ANYHIT                 = 4,
    OPTIX_INSTANCE_FLAG_ENFORCE_ANYHIT                 = 8,
    OPTIX_INSTANCE_FLAG_FORCE_OPACITY_MICROMAP_2_STATE = 0x10,
    OPTIX_INSTANCE_FLAG_DISABLE_OPACITY_MICROMAPS      = 0x20,
};
static_assert(sizeof(OptixInstanceFlags) == 4, "");

// Transform traversables
enum OptixTraversableType : unsigned int
{
    OPTIX_TRAVERSABLE_TYPE_STATIC_TRANSFORM        = 0x21C1,
    OPTIX_TRAVERSABLE_TYPE_MATRIX_MOTION_TRANSFORM = 0x21C2,
    OPTIX_TRAVERSABLE_TYPE_SRT_MOTION_TRANSFORM    = 0x21C3,
};
static_assert(sizeof(OptixTraversableType) == 4, "");

enum OptixTransformType : unsigned int
{
    OPTIX_TRANSFORM_TYPE_NONE                    = 0,
    OPTIX_TRANSFORM_TYPE_STATIC_TRANSFORM        = 1,
    OPTIX_TRANSFORM_TYPE_MATRIX_MOTION_TRANSFORM = 2,
    OPTIX_TRANSFORM_TYPE_SRT_MOTION_TRANSFORM    = 3,
    OPTIX_TRANSFORM_TYPE_INSTANCE                = 4,
};
static_assert(sizeof(OptixTransformType) == 4, "");

// Ray flags and built-in hit kinds (device side)
enum OptixRayFlags : unsigned int
{
    OPTIX_RAY_FLAG_NONE                           = 0,
    OPTIX_RAY_FLAG_DISABLE_ANYHIT                 = 1,
    OPTIX_RAY_FLAG_ENFORCE_ANYHIT                 = 2,
    OPTIX_RAY_FLAG_TERMINATE_ON_FIRST_HIT         = 4,
    OPTIX_RAY_FLAG_DISABLE_CLOSESTHIT             = 8,
    OPTIX_RAY_FLAG_CULL_BACK_FACING_TRIANGLES     = 0x10,
    OPTIX_RAY_FLAG_CULL_FRONT_FACING_TRIANGLES    = 0x20,
    OPTIX_RAY_FLAG_CULL_DISABLED_ANYHIT           = 0x40,
    OPTIX_RAY_FLAG_CULL_ENFORCED_ANYHIT           = 0x80,
    OPTIX_RAY_FLAG_FORCE_OPACITY_MICROMAP_2_STATE = 0x400,
};
static_assert(sizeof(OptixRayFlags) == 4, "");

enum OptixHitKind : unsigned int
{
    OPTIX_HIT_KIND_TRIANGLE_FRONT_FACE = 0xFE,
    OPTIX_HIT_KIND_TRIANGLE_BACK_FACE  = 0xFF,
};
static_assert(sizeof(OptixHitKind) == 4, "");

// Denoiser
enum OptixPixelFormat : unsigned int
{
    OPTIX_PIXEL_FORMAT_HALF2                = 0x2207,
    OPTIX_PIXEL_FORMAT_HALF3                = 0x2201,
    OPTIX_PIXEL_FORMAT_HALF4                = 0x2202,
    OPTIX_PIXEL_FORMAT_FLOAT2               = 0x2208,
    OPTIX_PIXEL_FORMAT_FLOAT3               = 0x2203,
    OPTIX_PIXEL_FORMAT_FLOAT4               = 0x2204,
    OPTIX_PIXEL_FORMAT_UCHAR3               = 0x2205,
    OPTIX_PIXEL_FORMAT_UCHAR4               = 0x2206,
    OPTIX_PIXEL_FORMAT_INTERNAL_GUIDE_LAYER = 0x2209,
};
static_assert(sizeof(OptixPixelFormat) == 4, "");

enum OptixDenoiserModelKind : unsigned int
{
    OPTIX_DENOISER_MODEL_KIND_LDR                = 0x2322,
    OPTIX_DENOISER_MODEL_KIND_HDR                = 0x2323,
    OPTIX_DENOISER_MODEL_KIND_AOV                = 0x2324,
    OPTIX_DENOISER_MODEL_KIND_TEMPORAL           = 0x2325,
    OPTIX_DENOISER_MODEL_KIND_TEMPORAL_AOV       = 0x2326,
    OPTIX_DENOISER_MODEL_KIND_UPSCALE2X          = 0x2327,
    OPTIX_DENOISER_MODEL_KIND_TEMPORAL_UPSCALE2X = 0x2328,
};
static_assert(sizeof(OptixDenoiserModelKind) == 4, "");

enum OptixDenoiserAlphaMode : unsigned int
{
    OPTIX_DENOISER_ALPHA_MODE_COPY              = 0,
    OPTIX_DENOISER_ALPHA_MODE_ALPHA_AS_AOV      = 1,
    OPTIX_DENOISER_ALPHA_MODE_FULL_DENOISE_PASS = 2,
};
static_assert(sizeof(OptixDenoiserAlphaMode) == 4, "");

// Guide images requested for the denoiser, as the host application passes them
// (bit 0 colour, bit 1 albedo, bit 2 normal). Shared with the public C header.
#ifndef TREVIX7_OPTIX_DENOISER_INPUT_KIND
#define TREVIX7_OPTIX_DENOISER_INPUT_KIND
typedef enum OptixDenoiserInputKind : unsigned int
{
    OPTIX_DENOISER_INPUT_RGB               = 1,
    OPTIX_DENOISER_INPUT_RGB_ALBEDO        = 3,
    OPTIX_DENOISER_INPUT_RGB_ALBEDO_NORMAL = 7
} OptixDenoiserInputKind;
#endif
static_assert(sizeof(OptixDenoiserInputKind) == 4, "");

// Opacity micromaps
enum OptixOpacityMicromapFormat : unsigned int
{
    OPTIX_OPACITY_MICROMAP_FORMAT_NONE    = 0,
    OPTIX_OPACITY_MICROMAP_FORMAT_2_STATE = 1,
    OPTIX_OPACITY_MICROMAP_FORMAT_4_STATE = 2,
};
static_assert(sizeof(OptixOpacityMicromapFormat) == 4, "");

enum OptixOpacityMicromapArrayIndexingMode : unsigned int
{
    OPTIX_OPACITY_MICROMAP_ARRAY_INDEXING_MODE_NONE    = 0,
    OPTIX_OPACITY_MICROMAP_ARRAY_INDEXING_MODE_LINEAR  = 1,
    OPTIX_OPACITY_MICROMAP_ARRAY_INDEXING_MODE_INDEXED = 2,
};
static_assert(sizeof(OptixOpacityMicromapArrayIndexingMode) == 4, "");

enum OptixOpacityMicromapFlags : unsigned int
{
    OPTIX_OPACITY_MICROMAP_FLAG_NONE              = 0,
    OPTIX_OPACITY_MICROMAP_FLAG_PREFER_FAST_TRACE = 1,
    OPTIX_OPACITY_MICROMAP_FLAG_PREFER_FAST_BUILD = 2,
};
static_assert(sizeof(OptixOpacityMicromapFlags) == 4, "");

// Function table query
enum OptixQueryFunctionTableOptions : unsigned int
{
    OPTIX_QUERY_FUNCTION_TABLE_OPTION_DUMMY = 0,
};
static_assert(sizeof(OptixQueryFunctionTableOptions) == 4, "");

// ---------------------------------------------------------------------------
// Structs. Natural alignment, never packed; many have padding holes, so zero the
// whole struct before filling it.
// ---------------------------------------------------------------------------

// Device context
struct OptixDeviceContextOptions
{
    OptixLogCallback logCallbackFunction;
    void* logCallbackData;
    int logCallbackLevel;
    OptixDeviceContextValidationMode validationMode;
};
static_assert(sizeof(OptixDeviceContextOptions) == 24, "");
static_assert(alignof(OptixDeviceContextOptions) == 8, "");
static_assert(offsetof(OptixDeviceContextOptions, logCallbackFunction) == 0, "");
static_assert(offsetof(OptixDeviceContextOptions, logCallbackData) == 8, "");
static_assert(offsetof(OptixDeviceContextOptions, logCallbackLevel) == 16, "");
static_assert(offsetof(OptixDeviceContextOptions, validationMode) == 20, "");

// Modules and pipelines
struct OptixModuleCompileBoundValueEntry
{
    size_t pipelineParamOffsetInBytes;
    size_t sizeInBytes;
    const void* boundValuePtr;
    const char* annotation;
};
static_assert(sizeof(OptixModuleCompileBoundValueEntry) == 32, "");
static_assert(alignof(OptixModuleCompileBoundValueEntry) == 8, "");
static_assert(offsetof(OptixModuleCompileBoundValueEntry, pipelineParamOffsetInBytes) == 0, "");
static_assert(offsetof(OptixModuleCompileBoundValueEntry, sizeInBytes) == 8, "");
static_assert(offsetof(OptixModuleCompileBoundValueEntry, boundValuePtr) == 16, "");
static_assert(offsetof(OptixModuleCompileBoundValueEntry, annotation) == 24, "");

struct OptixPayloadType
{
    unsigned int numPayloadValues;
    const unsigned int* payloadSemantics;
};
static_assert(sizeof(OptixPayloadType) == 16, "");
static_assert(alignof(OptixPayloadType) == 8, "");
static_assert(offsetof(OptixPayloadType, numPayloadValues) == 0, "");
static_assert(offsetof(OptixPayloadType, payloadSemantics) == 8, "");

struct OptixModuleCompileOptions
{
    int maxRegisterCount;
    OptixCompileOptimizationLevel optLevel;
    OptixCompileDebugLevel debugLevel;
    const OptixModuleCompileBoundValueEntry* boundValues;
    unsigned int numBoundValues;
    unsigned int numPayloadTypes;
    OptixPayloadType* payloadTypes;
};
static_assert(sizeof(OptixModuleCompileOptions) == 40, "");
static_assert(alignof(OptixModuleCompileOptions) == 8, "");
static_assert(offsetof(OptixModuleCompileOptions, maxRegisterCount) == 0, "");
static_assert(offsetof(OptixModuleCompileOptions, optLevel) == 4, "");
static_assert(offsetof(OptixModuleCompileOptions, debugLevel) == 8, "");
static_assert(offsetof(OptixModuleCompileOptions, boundValues) == 16, "");
static_assert(offsetof(OptixModuleCompileOptions, numBoundValues) == 24, "");
static_assert(offsetof(OptixModuleCompileOptions, numPayloadTypes) == 28, "");
static_assert(offsetof(OptixModuleCompileOptions, payloadTypes) == 32, "");

struct OptixPipelineCompileOptions
{
    int usesMotionBlur;
    unsigned int traversableGraphFlags;
    int numPayloadValues;
    int numAttributeValues;
    unsigned int exceptionFlags;
    const char* pipelineLaunchParamsVariableName;
    unsigned int usesPrimitiveTypeFlags;
    int allowOpacityMicromaps;
};
static_assert(sizeof(OptixPipelineCompileOptions) == 40, "");
static_assert(alignof(OptixPipelineCompileOptions) == 8, "");
static_assert(offsetof(OptixPipelineCompileOptions, usesMotionBlur) == 0, "");
static_assert(offsetof(OptixPipelineCompileOptions, traversableGraphFlags) == 4, "");
static_assert(offsetof(OptixPipelineCompileOptions, numPayloadValues) == 8, "");
static_assert(offsetof(OptixPipelineCompileOptions, numAttributeValues) == 12, "");
static_assert(offsetof(OptixPipelineCompileOptions, exceptionFlags) == 16, "");
static_assert(offsetof(OptixPipelineCompileOptions, pipelineLaunchParamsVariableName) == 24, "");
static_assert(offsetof(OptixPipelineCompileOptions, usesPrimitiveTypeFlags) == 32, "");
static_assert(offsetof(OptixPipelineCompileOptions, allowOpacityMicromaps) == 36, "");

struct OptixPipelineLinkOptions
{
    unsigned int maxTraceDepth;
    OptixCompileDebugLevel debugLevel;
};
static_assert(sizeof(OptixPipelineLinkOptions) == 8, "");
static_assert(alignof(OptixPipelineLinkOptions) == 4, "");
static_assert(offsetof(OptixPipelineLinkOptions, maxTraceDepth) == 0, "");
static_assert(offsetof(OptixPipelineLinkOptions, debugLevel) == 4, "");

struct OptixBuiltinISOptions
{
    OptixPrimitiveType builtinISModuleType;
    int usesMotionBlur;
    unsigned int buildFlags;
    unsigned int curveEndcapFlags;
};
static_assert(sizeof(OptixBuiltinISOptions) == 16, "");
static_assert(alignof(OptixBuiltinISOptions) == 4, "");
static_assert(offsetof(OptixBuiltinISOptions, builtinISModuleType) == 0, "");
static_assert(offsetof(OptixBuiltinISOptions, usesMotionBlur) == 4, "");
static_assert(offsetof(OptixBuiltinISOptions, buildFlags) == 8, "");
static_assert(offsetof(OptixBuiltinISOptions, curveEndcapFlags) == 12, "");

// Program groups; the union member is selected by kind.
struct OptixProgramGroupSingleModule
{
    OptixModule module;
    const char* entryFunctionName;
};
static_assert(sizeof(OptixProgramGroupSingleModule) == 16, "");
static_assert(alignof(OptixProgramGroupSingleModule) == 8, "");
static_assert(offsetof(OptixProgramGroupSingleModule, module) == 0, "");
static_assert(offsetof(OptixProgramGroupSingleModule, entryFunctionName) == 8, "");

struct OptixProgramGroupHitgroup
{
    OptixModule moduleCH;
    const char* entryFunctionNameCH;
    OptixModule moduleAH;
    const char* entryFunctionNameAH;
    OptixModule moduleIS;
    const char* entryFunctionNameIS;
};
static_assert(sizeof(OptixProgramGroupHitgroup) == 48, "");
static_assert(alignof(OptixProgramGroupHitgroup) == 8, "");
static_assert(offsetof(OptixProgramGroupHitgroup, moduleCH) == 0, "");
static_assert(offsetof(OptixProgramGroupHitgroup, entryFunctionNameCH) == 8, "");
static_assert(offsetof(OptixProgramGroupHitgroup, moduleAH) == 16, "");
static_assert(offsetof(OptixProgramGroupHitgroup, entryFunctionNameAH) == 24, "");
static_assert(offsetof(OptixProgramGroupHitgroup, moduleIS) == 32, "");
static_assert(offsetof(OptixProgramGroupHitgroup, entryFunctionNameIS) == 40, "");

struct OptixProgramGroupCallables
{
    OptixModule moduleDC;
    const char* entryFunctionNameDC;
    OptixModule moduleCC;
    const char* entryFunctionNameCC;
};
static_assert(sizeof(OptixProgramGroupCallables) == 32, "");
static_assert(alignof(OptixProgramGroupCallables) == 8, "");
static_assert(offsetof(OptixProgramGroupCallables, moduleDC) == 0, "");
static_assert(offsetof(OptixProgramGroupCallables, entryFunctionNameDC) == 8, "");
static_assert(offsetof(OptixProgramGroupCallables, moduleCC) == 16, "");
static_assert(offsetof(OptixProgramGroupCallables, entryFunctionNameCC) == 24, "");

struct OptixProgramGroupDesc
{
    OptixProgramGroupKind kind;
    unsigned int flags;
    union
    {
        OptixProgramGroupSingleModule raygen;
        OptixProgramGroupSingleModule miss;
        OptixProgramGroupSingleModule exception;
        OptixProgramGroupCallables callables;
        OptixProgramGroupHitgroup hitgroup;
    };
};
static_assert(sizeof(OptixProgramGroupDesc) == 56, "");
static_assert(alignof(OptixProgramGroupDesc) == 8, "");
static_assert(offsetof(OptixProgramGroupDesc, kind) == 0, "");
static_assert(offsetof(OptixProgramGroupDesc, flags) == 4, "");
static_assert(offsetof(OptixProgramGroupDesc, raygen) == 8, "");
static_assert(offsetof(OptixProgramGroupDesc, miss) == 8, "");
static_assert(offsetof(OptixProgramGroupDesc, exception) == 8, "");
static_assert(offsetof(OptixProgramGroupDesc, callables) == 8, "");
static_assert(offsetof(OptixProgramGroupDesc, hitgroup) == 8, "");

struct OptixProgramGroupOptions
{
    OptixPayloadType* payloadType;
};
static_assert(sizeof(OptixProgramGroupOptions) == 8, "");
static_assert(alignof(OptixProgramGroupOptions) == 8, "");
static_assert(offsetof(OptixProgramGroupOptions, payloadType) == 0, "");

// Build inputs. Buffer-array members (vertexBuffers, aabbBuffers, flags, ...) are
// host arrays holding one device pointer per motion key / one flag per SBT record.
struct OptixOpacityMicromapUsageCount
{
    unsigned int count;
    unsigned int subdivisionLevel;
    OptixOpacityMicromapFormat format;
};
static_assert(sizeof(OptixOpacityMicromapUsageCount) == 12, "");
static_assert(alignof(OptixOpacityMicromapUsageCount) == 4, "");
static_assert(offsetof(OptixOpacityMicromapUsageCount, count) == 0, "");
static_assert(offsetof(OptixOpacityMicromapUsageCount, subdivisionLevel) == 4, "");
static_assert(offsetof(OptixOpacityMicromapUsageCount, format) == 8, "");

struct OptixBuildInputOpacityMicromap
{
    OptixOpacityMicromapArrayIndexingMode indexingMode;
    CUdeviceptr opacityMicromapArray;
    CUdeviceptr indexBuffer;
    unsigned int indexSizeInBytes;
    unsigned int indexStrideInBytes;
    unsigned int indexOffset;
    unsigned int numMicromapUsageCounts;
    const OptixOpacityMicromapUsageCount* micromapUsageCounts;
};
static_assert(sizeof(OptixBuildInputOpacityMicromap) == 48, "");
static_assert(alignof(OptixBuildInputOpacityMicromap) == 8, "");
static_assert(offsetof(OptixBuildInputOpacityMicromap, indexingMode) == 0, "");
static_assert(offsetof(OptixBuildInputOpacityMicromap, opacityMicromapArray) == 8, "");
static_assert(offsetof(OptixBuildInputOpacityMicromap, indexBuffer) == 16, "");
static_assert(offsetof(OptixBuildInputOpacityMicromap, indexSizeInBytes) == 24, "");
static_assert(offsetof(OptixBuildInputOpacityMicromap, indexStrideInBytes) == 28, "");
static_assert(offsetof(OptixBuildInputOpacityMicromap, indexOffset) == 32, "");
static_assert(offsetof(OptixBuildInputOpacityMicromap, numMicromapUsageCounts) == 36, "");
static_assert(offsetof(OptixBuildInputOpacityMicromap, micromapUsageCounts) == 40, "");

struct OptixBuildInputTriangleArray
{
    const CUdeviceptr* vertexBuffers;
    unsigned int numVertices;
    OptixVertexFormat vertexFormat;
    unsigned int vertexStrideInBytes;
    CUdeviceptr indexBuffer;
    unsigned int numIndexTriplets;
    OptixIndicesFormat indexFormat;
    unsigned int indexStrideInBytes;
    CUdeviceptr preTransform;
    const unsigned int* flags;
    unsigned int numSbtRecords;
    CUdeviceptr sbtIndexOffsetBuffer;
    unsigned int sbtIndexOffsetSizeInBytes;
    unsigned int sbtIndexOffsetStrideInBytes;
    unsigned int primitiveIndexOffset;
    OptixTransformFormat transformFormat;
    OptixBuildInputOpacityMicromap opacityMicromap;
};
static_assert(sizeof(OptixBuildInputTriangleArray) == 144, "");
static_assert(alignof(OptixBuildInputTriangleArray) == 8, "");
static_assert(offsetof(OptixBuildInputTriangleArray, vertexBuffers) == 0, "");
static_assert(offsetof(OptixBuildInputTriangleArray, numVertices) == 8, "");
static_assert(offsetof(OptixBuildInputTriangleArray, vertexFormat) == 12, "");
static_assert(offsetof(OptixBuildInputTriangleArray, vertexStrideInBytes) == 16, "");
static_assert(offsetof(OptixBuildInputTriangleArray, indexBuffer) == 24, "");
static_assert(offsetof(OptixBuildInputTriangleArray, numIndexTriplets) == 32, "");
static_assert(offsetof(OptixBuildInputTriangleArray, indexFormat) == 36, "");
static_assert(offsetof(OptixBuildInputTriangleArray, indexStrideInBytes) == 40, "");
static_assert(offsetof(OptixBuildInputTriangleArray, preTransform) == 48, "");
static_assert(offsetof(OptixBuildInputTriangleArray, flags) == 56, "");
static_assert(offsetof(OptixBuildInputTriangleArray, numSbtRecords) == 64, "");
static_assert(offsetof(OptixBuildInputTriangleArray, sbtIndexOffsetBuffer) == 72, "");
static_assert(offsetof(OptixBuildInputTriangleArray, sbtIndexOffsetSizeInBytes) == 80, "");
static_assert(offsetof(OptixBuildInputTriangleArray, sbtIndexOffsetStrideInBytes) == 84, "");
static_assert(offsetof(OptixBuildInputTriangleArray, primitiveIndexOffset) == 88, "");
static_assert(offsetof(OptixBuildInputTriangleArray, transformFormat) == 92, "");
static_assert(offsetof(OptixBuildInputTriangleArray, opacityMicromap) == 96, "");

struct OptixBuildInputCurveArray
{
    OptixPrimitiveType curveType;
    unsigned int numPrimitives;
    const CUdeviceptr* vertexBuffers;
    unsigned int numVertices;
    unsigned int vertexStrideInBytes;
    const CUdeviceptr* widthBuffers;
    unsigned int widthStrideInBytes;
    const CUdeviceptr* normalBuffers;
    unsigned int normalStrideInBytes;
    CUdeviceptr indexBuffer;
    unsigned int indexStrideInBytes;
    unsigned int flag;
    unsigned int primitiveIndexOffset;
    unsigned int endcapFlags;
};
static_assert(sizeof(OptixBuildInputCurveArray) == 80, "");
static_assert(alignof(OptixBuildInputCurveArray) == 8, "");
static_assert(offsetof(OptixBuildInputCurveArray, curveType) == 0, "");
static_assert(offsetof(OptixBuildInputCurveArray, numPrimitives) == 4, "");
static_assert(offsetof(OptixBuildInputCurveArray, vertexBuffers) == 8, "");
static_assert(offsetof(OptixBuildInputCurveArray, numVertices) == 16, "");
static_assert(offsetof(OptixBuildInputCurveArray, vertexStrideInBytes) == 20, "");
static_assert(offsetof(OptixBuildInputCurveArray, widthBuffers) == 24, "");
static_assert(offsetof(OptixBuildInputCurveArray, widthStrideInBytes) == 32, "");
static_assert(offsetof(OptixBuildInputCurveArray, normalBuffers) == 40, "");
static_assert(offsetof(OptixBuildInputCurveArray, normalStrideInBytes) == 48, "");
static_assert(offsetof(OptixBuildInputCurveArray, indexBuffer) == 56, "");
static_assert(offsetof(OptixBuildInputCurveArray, indexStrideInBytes) == 64, "");
static_assert(offsetof(OptixBuildInputCurveArray, flag) == 68, "");
static_assert(offsetof(OptixBuildInputCurveArray, primitiveIndexOffset) == 72, "");
static_assert(offsetof(OptixBuildInputCurveArray, endcapFlags) == 76, "");

struct OptixBuildInputSphereArray
{
    const CUdeviceptr* vertexBuffers;
    unsigned int vertexStrideInBytes;
    unsigned int numVertices;
    const CUdeviceptr* radiusBuffers;
    unsigned int radiusStrideInBytes;
    int singleRadius;
    const unsigned int* flags;
    unsigned int numSbtRecords;
    CUdeviceptr sbtIndexOffsetBuffer;
    unsigned int sbtIndexOffsetSizeInBytes;
    unsigned int sbtIndexOffsetStrideInBytes;
    unsigned int primitiveIndexOffset;
};
static_assert(sizeof(OptixBuildInputSphereArray) == 72, "");
static_assert(alignof(OptixBuildInputSphereArray) == 8, "");
static_assert(offsetof(OptixBuildInputSphereArray, vertexBuffers) == 0, "");
static_assert(offsetof(OptixBuildInputSphereArray, vertexStrideInBytes) == 8, "");
static_assert(offsetof(OptixBuildInputSphereArray, numVertices) == 12, "");
static_assert(offsetof(OptixBuildInputSphereArray, radiusBuffers) == 16, "");
static_assert(offsetof(OptixBuildInputSphereArray, radiusStrideInBytes) == 24, "");
static_assert(offsetof(OptixBuildInputSphereArray, singleRadius) == 28, "");
static_assert(offsetof(OptixBuildInputSphereArray, flags) == 32, "");
static_assert(offsetof(OptixBuildInputSphereArray, numSbtRecords) == 40, "");
static_assert(offsetof(OptixBuildInputSphereArray, sbtIndexOffsetBuffer) == 48, "");
static_assert(offsetof(OptixBuildInputSphereArray, sbtIndexOffsetSizeInBytes) == 56, "");
static_assert(offsetof(OptixBuildInputSphereArray, sbtIndexOffsetStrideInBytes) == 60, "");
static_assert(offsetof(OptixBuildInputSphereArray, primitiveIndexOffset) == 64, "");

struct OptixAabb
{
    float minX;
    float minY;
    float minZ;
    float maxX;
    float maxY;
    float maxZ;
};
static_assert(sizeof(OptixAabb) == 24, "");
static_assert(alignof(OptixAabb) == 4, "");
static_assert(offsetof(OptixAabb, minX) == 0, "");
static_assert(offsetof(OptixAabb, minY) == 4, "");
static_assert(offsetof(OptixAabb, minZ) == 8, "");
static_assert(offsetof(OptixAabb, maxX) == 12, "");
static_assert(offsetof(OptixAabb, maxY) == 16, "");
static_assert(offsetof(OptixAabb, maxZ) == 20, "");

struct OptixBuildInputCustomPrimitiveArray
{
    const CUdeviceptr* aabbBuffers;
    unsigned int numPrimitives;
    unsigned int strideInBytes;
    const unsigned int* flags;
    unsigned int numSbtRecords;
    CUdeviceptr sbtIndexOffsetBuffer;
    unsigned int sbtIndexOffsetSizeInBytes;
    unsigned int sbtIndexOffsetStrideInBytes;
    unsigned int primitiveIndexOffset;
};
static_assert(sizeof(OptixBuildInputCustomPrimitiveArray) == 56, "");
static_assert(alignof(OptixBuildInputCustomPrimitiveArray) == 8, "");
static_assert(offsetof(OptixBuildInputCustomPrimitiveArray, aabbBuffers) == 0, "");
static_assert(offsetof(OptixBuildInputCustomPrimitiveArray, numPrimitives) == 8, "");
static_assert(offsetof(OptixBuildInputCustomPrimitiveArray, strideInBytes) == 12, "");
static_assert(offsetof(OptixBuildInputCustomPrimitiveArray, flags) == 16, "");
static_assert(offsetof(OptixBuildInputCustomPrimitiveArray, numSbtRecords) == 24, "");
static_assert(offsetof(OptixBuildInputCustomPrimitiveArray, sbtIndexOffsetBuffer) == 32, "");
static_assert(offsetof(OptixBuildInputCustomPrimitiveArray, sbtIndexOffsetSizeInBytes) == 40, "");
static_assert(offsetof(OptixBuildInputCustomPrimitiveArray, sbtIndexOffsetStrideInBytes) == 44, "");
static_assert(offsetof(OptixBuildInputCustomPrimitiveArray, primitiveIndexOffset) == 48, "");

struct OptixBuildInputInstanceArray
{
    CUdeviceptr instances;
    unsigned int numInstances;
    unsigned int instanceStride;
};
static_assert(sizeof(OptixBuildInputInstanceArray) == 16, "");
static_assert(alignof(OptixBuildInputInstanceArray) == 8, "");
static_assert(offsetof(OptixBuildInputInstanceArray, instances) == 0, "");
static_assert(offsetof(OptixBuildInputInstanceArray, numInstances) == 8, "");
static_assert(offsetof(OptixBuildInputInstanceArray, instanceStride) == 12, "");

// One build input: type tag plus a 1024-byte union (the pad member keeps the
// stride of build-input arrays at 1032 bytes).
struct OptixBuildInput
{
    OptixBuildInputType type;
    union
    {
        OptixBuildInputTriangleArray triangleArray;
        OptixBuildInputCurveArray curveArray;
        OptixBuildInputSphereArray sphereArray;
        OptixBuildInputCustomPrimitiveArray customPrimitiveArray;
        OptixBuildInputInstanceArray instanceArray;
        char pad[1024];
    };
};
static_assert(sizeof(OptixBuildInput) == 1032, "");
static_assert(alignof(OptixBuildInput) == 8, "");
static_assert(offsetof(OptixBuildInput, type) == 0, "");
static_assert(offsetof(OptixBuildInput, triangleArray) == 8, "");
static_assert(offsetof(OptixBuildInput, curveArray) == 8, "");
static_assert(offsetof(OptixBuildInput, sphereArray) == 8, "");
static_assert(offsetof(OptixBuildInput, customPrimitiveArray) == 8, "");
static_assert(offsetof(OptixBuildInput, instanceArray) == 8, "");
static_assert(offsetof(OptixBuildInput, pad) == 8, "");

// Instance record of an IAS; transform is a row-major 3x4 object-to-world matrix.
struct OptixInstance
{
    float transform[12];
    unsigned int instanceId;
    unsigned int sbtOffset;
    unsigned int visibilityMask;
    unsigned int flags;
    OptixTraversableHandle traversableHandle;
    unsigned int pad[2];
};
static_assert(sizeof(OptixInstance) == 80, "");
static_assert(alignof(OptixInstance) == 8, "");
static_assert(offsetof(OptixInstance, transform) == 0, "");
static_assert(offsetof(OptixInstance, instanceId) == 48, "");
static_assert(offsetof(OptixInstance, sbtOffset) == 52, "");
static_assert(offsetof(OptixInstance, visibilityMask) == 56, "");
static_assert(offsetof(OptixInstance, flags) == 60, "");
static_assert(offsetof(OptixInstance, traversableHandle) == 64, "");
static_assert(offsetof(OptixInstance, pad) == 72, "");

// Build options and results
struct OptixMotionOptions
{
    unsigned short numKeys;
    unsigned short flags;
    float timeBegin;
    float timeEnd;
};
static_assert(sizeof(OptixMotionOptions) == 12, "");
static_assert(alignof(OptixMotionOptions) == 4, "");
static_assert(offsetof(OptixMotionOptions, numKeys) == 0, "");
static_assert(offsetof(OptixMotionOptions, flags) == 2, "");
static_assert(offsetof(OptixMotionOptions, timeBegin) == 4, "");
static_assert(offsetof(OptixMotionOptions, timeEnd) == 8, "");

struct OptixAccelBuildOptions
{
    unsigned int buildFlags;
    OptixBuildOperation operation;
    OptixMotionOptions motionOptions;
};
static_assert(sizeof(OptixAccelBuildOptions) == 20, "");
static_assert(alignof(OptixAccelBuildOptions) == 4, "");
static_assert(offsetof(OptixAccelBuildOptions, buildFlags) == 0, "");
static_assert(offsetof(OptixAccelBuildOptions, operation) == 4, "");
static_assert(offsetof(OptixAccelBuildOptions, motionOptions) == 8, "");

struct OptixAccelBufferSizes
{
    size_t outputSizeInBytes;
    size_t tempSizeInBytes;
    size_t tempUpdateSizeInBytes;
};
static_assert(sizeof(OptixAccelBufferSizes) == 24, "");
static_assert(alignof(OptixAccelBufferSizes) == 8, "");
static_assert(offsetof(OptixAccelBufferSizes, outputSizeInBytes) == 0, "");
static_assert(offsetof(OptixAccelBufferSizes, tempSizeInBytes) == 8, "");
static_assert(offsetof(OptixAccelBufferSizes, tempUpdateSizeInBytes) == 16, "");

struct OptixAccelEmitDesc
{
    CUdeviceptr result;
    OptixAccelPropertyType type;
};
static_assert(sizeof(OptixAccelEmitDesc) == 16, "");
static_assert(alignof(OptixAccelEmitDesc) == 8, "");
static_assert(offsetof(OptixAccelEmitDesc, result) == 0, "");
static_assert(offsetof(OptixAccelEmitDesc, type) == 8, "");

// Relocation
struct OptixRelocationInfo
{
    unsigned long long info[4];
};
static_assert(sizeof(OptixRelocationInfo) == 32, "");
static_assert(alignof(OptixRelocationInfo) == 8, "");
static_assert(offsetof(OptixRelocationInfo, info) == 0, "");

struct OptixRelocateInputOpacityMicromap
{
    CUdeviceptr opacityMicromapArray;
};
static_assert(sizeof(OptixRelocateInputOpacityMicromap) == 8, "");
static_assert(alignof(OptixRelocateInputOpacityMicromap) == 8, "");
static_assert(offsetof(OptixRelocateInputOpacityMicromap, opacityMicromapArray) == 0, "");

struct OptixRelocateInputTriangleArray
{
    unsigned int numSbtRecords;
    OptixRelocateInputOpacityMicromap opacityMicromap;
};
static_assert(sizeof(OptixRelocateInputTriangleArray) == 16, "");
static_assert(alignof(OptixRelocateInputTriangleArray) == 8, "");
static_assert(offsetof(OptixRelocateInputTriangleArray, numSbtRecords) == 0, "");
static_assert(offsetof(OptixRelocateInputTriangleArray, opacityMicromap) == 8, "");

struct OptixRelocateInputInstanceArray
{
    unsigned int numInstances;
    CUdeviceptr traversableHandles;
};
static_assert(sizeof(OptixRelocateInputInstanceArray) == 16, "");
static_assert(alignof(OptixRelocateInputInstanceArray) == 8, "");
static_assert(offsetof(OptixRelocateInputInstanceArray, numInstances) == 0, "");
static_assert(offsetof(OptixRelocateInputInstanceArray, traversableHandles) == 8, "");

struct OptixRelocateInput
{
    OptixBuildInputType type;
    union
    {
        OptixRelocateInputInstanceArray instanceArray;
        OptixRelocateInputTriangleArray triangleArray;
    };
};
static_assert(sizeof(OptixRelocateInput) == 24, "");
static_assert(alignof(OptixRelocateInput) == 8, "");
static_assert(offsetof(OptixRelocateInput, type) == 0, "");
static_assert(offsetof(OptixRelocateInput, instanceArray) == 8, "");
static_assert(offsetof(OptixRelocateInput, triangleArray) == 8, "");

// Transform traversables
struct OptixStaticTransform
{
    OptixTraversableHandle child;
    unsigned int pad[2];
    float transform[12];
    float invTransform[12];
};
static_assert(sizeof(OptixStaticTransform) == 112, "");
static_assert(alignof(OptixStaticTransform) == 8, "");
static_assert(offsetof(OptixStaticTransform, child) == 0, "");
static_assert(offsetof(OptixStaticTransform, pad) == 8, "");
static_assert(offsetof(OptixStaticTransform, transform) == 16, "");
static_assert(offsetof(OptixStaticTransform, invTransform) == 64, "");

struct OptixMatrixMotionTransform
{
    OptixTraversableHandle child;
    OptixMotionOptions motionOptions;
    unsigned int pad[3];
    float transform[2][12];
};
static_assert(sizeof(OptixMatrixMotionTransform) == 128, "");
static_assert(alignof(OptixMatrixMotionTransform) == 8, "");
static_assert(offsetof(OptixMatrixMotionTransform, child) == 0, "");
static_assert(offsetof(OptixMatrixMotionTransform, motionOptions) == 8, "");
static_assert(offsetof(OptixMatrixMotionTransform, pad) == 20, "");
static_assert(offsetof(OptixMatrixMotionTransform, transform) == 32, "");

struct OptixSRTData
{
    float sx;
    float a;
    float b;
    float pvx;
    float sy;
    float c;
    float pvy;
    float sz;
    float pvz;
    float qx;
    float qy;
    float qz;
    float qw;
    float tx;
    float ty;
    float tz;
};
static_assert(sizeof(OptixSRTData) == 64, "");
static_assert(alignof(OptixSRTData) == 4, "");
static_assert(offsetof(OptixSRTData, sx) == 0, "");
static_assert(offsetof(OptixSRTData, a) == 4, "");
static_assert(offsetof(OptixSRTData, b) == 8, "");
static_assert(offsetof(OptixSRTData, pvx) == 12, "");
static_assert(offsetof(OptixSRTData, sy) == 16, "");
static_assert(offsetof(OptixSRTData, c) == 20, "");
static_assert(offsetof(OptixSRTData, pvy) == 24, "");
static_assert(offsetof(OptixSRTData, sz) == 28, "");
static_assert(offsetof(OptixSRTData, pvz) == 32, "");
static_assert(offsetof(OptixSRTData, qx) == 36, "");
static_assert(offsetof(OptixSRTData, qy) == 40, "");
static_assert(offsetof(OptixSRTData, qz) == 44, "");
static_assert(offsetof(OptixSRTData, qw) == 48, "");
static_assert(offsetof(OptixSRTData, tx) == 52, "");
static_assert(offsetof(OptixSRTData, ty) == 56, "");
static_assert(offsetof(OptixSRTData, tz) == 60, "");

struct OptixSRTMotionTransform
{
    OptixTraversableHandle child;
    OptixMotionOptions motionOptions;
    unsigned int pad[3];
    OptixSRTData srtData[2];
};
static_assert(sizeof(OptixSRTMotionTransform) == 160, "");
static_assert(alignof(OptixSRTMotionTransform) == 8, "");
static_assert(offsetof(OptixSRTMotionTransform, child) == 0, "");
static_assert(offsetof(OptixSRTMotionTransform, motionOptions) == 8, "");
static_assert(offsetof(OptixSRTMotionTransform, pad) == 20, "");
static_assert(offsetof(OptixSRTMotionTransform, srtData) == 32, "");

// Opacity micromap arrays
struct OptixOpacityMicromapHistogramEntry
{
    unsigned int count;
    unsigned int subdivisionLevel;
    OptixOpacityMicromapFormat format;
};
static_assert(sizeof(OptixOpacityMicromapHistogramEntry) == 12, "");
static_assert(alignof(OptixOpacityMicromapHistogramEntry) == 4, "");
static_assert(offsetof(OptixOpacityMicromapHistogramEntry, count) == 0, "");
static_assert(offsetof(OptixOpacityMicromapHistogramEntry, subdivisionLevel) == 4, "");
static_assert(offsetof(OptixOpacityMicromapHistogramEntry, format) == 8, "");

struct OptixOpacityMicromapArrayBuildInput
{
    OptixOpacityMicromapFlags flags;
    CUdeviceptr inputBuffer;
    CUdeviceptr perMicromapDescBuffer;
    unsigned int perMicromapDescStrideInBytes;
    unsigned int numMicromapHistogramEntries;
    const OptixOpacityMicromapHistogramEntry* micromapHistogramEntries;
};
static_assert(sizeof(OptixOpacityMicromapArrayBuildInput) == 40, "");
static_assert(alignof(OptixOpacityMicromapArrayBuildInput) == 8, "");
static_assert(offsetof(OptixOpacityMicromapArrayBuildInput, flags) == 0, "");
static_assert(offsetof(OptixOpacityMicromapArrayBuildInput, inputBuffer) == 8, "");
static_assert(offsetof(OptixOpacityMicromapArrayBuildInput, perMicromapDescBuffer) == 16, "");
static_assert(offsetof(OptixOpacityMicromapArrayBuildInput, perMicromapDescStrideInBytes) == 24, "");
static_assert(offsetof(OptixOpacityMicromapArrayBuildInput, numMicromapHistogramEntries) == 28, "");
static_assert(offsetof(OptixOpacityMicromapArrayBuildInput, micromapHistogramEntries) == 32, "");

struct OptixOpacityMicromapDesc
{
    unsigned int byteOffset;
    unsigned short subdivisionLevel;
    unsigned short format;
};
static_assert(sizeof(OptixOpacityMicromapDesc) == 8, "");
static_assert(alignof(OptixOpacityMicromapDesc) == 4, "");
static_assert(offsetof(OptixOpacityMicromapDesc, byteOffset) == 0, "");
static_assert(offsetof(OptixOpacityMicromapDesc, subdivisionLevel) == 4, "");
static_assert(offsetof(OptixOpacityMicromapDesc, format) == 6, "");

struct OptixMicromapBufferSizes
{
    size_t outputSizeInBytes;
    size_t tempSizeInBytes;
};
static_assert(sizeof(OptixMicromapBufferSizes) == 16, "");
static_assert(alignof(OptixMicromapBufferSizes) == 8, "");
static_assert(offsetof(OptixMicromapBufferSizes, outputSizeInBytes) == 0, "");
static_assert(offsetof(OptixMicromapBufferSizes, tempSizeInBytes) == 8, "");

struct OptixMicromapBuffers
{
    CUdeviceptr output;
    size_t outputSizeInBytes;
    CUdeviceptr temp;
    size_t tempSizeInBytes;
};
static_assert(sizeof(OptixMicromapBuffers) == 32, "");
static_assert(alignof(OptixMicromapBuffers) == 8, "");
static_assert(offsetof(OptixMicromapBuffers, output) == 0, "");
static_assert(offsetof(OptixMicromapBuffers, outputSizeInBytes) == 8, "");
static_assert(offsetof(OptixMicromapBuffers, temp) == 16, "");
static_assert(offsetof(OptixMicromapBuffers, tempSizeInBytes) == 24, "");

// Launch: shader binding table and program stack sizes
struct OptixShaderBindingTable
{
    CUdeviceptr raygenRecord;
    CUdeviceptr exceptionRecord;
    CUdeviceptr missRecordBase;
    unsigned int missRecordStrideInBytes;
    unsigned int missRecordCount;
    CUdeviceptr hitgroupRecordBase;
    unsigned int hitgroupRecordStrideInBytes;
    unsigned int hitgroupRecordCount;
    CUdeviceptr callablesRecordBase;
    unsigned int callablesRecordStrideInBytes;
    unsigned int callablesRecordCount;
};
static_assert(sizeof(OptixShaderBindingTable) == 64, "");
static_assert(alignof(OptixShaderBindingTable) == 8, "");
static_assert(offsetof(OptixShaderBindingTable, raygenRecord) == 0, "");
static_assert(offsetof(OptixShaderBindingTable, exceptionRecord) == 8, "");
static_assert(offsetof(OptixShaderBindingTable, missRecordBase) == 16, "");
static_assert(offsetof(OptixShaderBindingTable, missRecordStrideInBytes) == 24, "");
static_assert(offsetof(OptixShaderBindingTable, missRecordCount) == 28, "");
static_assert(offsetof(OptixShaderBindingTable, hitgroupRecordBase) == 32, "");
static_assert(offsetof(OptixShaderBindingTable, hitgroupRecordStrideInBytes) == 40, "");
static_assert(offsetof(OptixShaderBindingTable, hitgroupRecordCount) == 44, "");
static_assert(offsetof(OptixShaderBindingTable, callablesRecordBase) == 48, "");
static_assert(offsetof(OptixShaderBindingTable, callablesRecordStrideInBytes) == 56, "");
static_assert(offsetof(OptixShaderBindingTable, callablesRecordCount) == 60, "");

struct OptixStackSizes
{
    unsigned int cssRG;
    unsigned int cssMS;
    unsigned int cssCH;
    unsigned int cssAH;
    unsigned int cssIS;
    unsigned int cssCC;
    unsigned int dssDC;
};
static_assert(sizeof(OptixStackSizes) == 28, "");
static_assert(alignof(OptixStackSizes) == 4, "");
static_assert(offsetof(OptixStackSizes, cssRG) == 0, "");
static_assert(offsetof(OptixStackSizes, cssMS) == 4, "");
static_assert(offsetof(OptixStackSizes, cssCH) == 8, "");
static_assert(offsetof(OptixStackSizes, cssAH) == 12, "");
static_assert(offsetof(OptixStackSizes, cssIS) == 16, "");
static_assert(offsetof(OptixStackSizes, cssCC) == 20, "");
static_assert(offsetof(OptixStackSizes, dssDC) == 24, "");

// Denoiser
struct OptixImage2D
{
    CUdeviceptr data;
    unsigned int width;
    unsigned int height;
    unsigned int rowStrideInBytes;
    unsigned int pixelStrideInBytes;
    OptixPixelFormat format;
};
static_assert(sizeof(OptixImage2D) == 32, "");
static_assert(alignof(OptixImage2D) == 8, "");
static_assert(offsetof(OptixImage2D, data) == 0, "");
static_assert(offsetof(OptixImage2D, width) == 8, "");
static_assert(offsetof(OptixImage2D, height) == 12, "");
static_assert(offsetof(OptixImage2D, rowStrideInBytes) == 16, "");
static_assert(offsetof(OptixImage2D, pixelStrideInBytes) == 20, "");
static_assert(offsetof(OptixImage2D, format) == 24, "");

struct OptixDenoiserOptions
{
    unsigned int guideAlbedo;
    unsigned int guideNormal;
};
static_assert(sizeof(OptixDenoiserOptions) == 8, "");
static_assert(alignof(OptixDenoiserOptions) == 4, "");
static_assert(offsetof(OptixDenoiserOptions, guideAlbedo) == 0, "");
static_assert(offsetof(OptixDenoiserOptions, guideNormal) == 4, "");

struct OptixDenoiserSizes
{
    size_t stateSizeInBytes;
    size_t withOverlapScratchSizeInBytes;
    size_t withoutOverlapScratchSizeInBytes;
    unsigned int overlapWindowSizeInPixels;
    size_t computeAverageColorSizeInBytes;
    size_t computeIntensitySizeInBytes;
    size_t internalGuideLayerPixelSizeInBytes;
};
static_assert(sizeof(OptixDenoiserSizes) == 56, "");
static_assert(alignof(OptixDenoiserSizes) == 8, "");
static_assert(offsetof(OptixDenoiserSizes, stateSizeInBytes) == 0, "");
static_assert(offsetof(OptixDenoiserSizes, withOverlapScratchSizeInBytes) == 8, "");
static_assert(offsetof(OptixDenoiserSizes, withoutOverlapScratchSizeInBytes) == 16, "");
static_assert(offsetof(OptixDenoiserSizes, overlapWindowSizeInPixels) == 24, "");
static_assert(offsetof(OptixDenoiserSizes, computeAverageColorSizeInBytes) == 32, "");
static_assert(offsetof(OptixDenoiserSizes, computeIntensitySizeInBytes) == 40, "");
static_assert(offsetof(OptixDenoiserSizes, internalGuideLayerPixelSizeInBytes) == 48, "");

struct OptixDenoiserParams
{
    OptixDenoiserAlphaMode denoiseAlpha;
    CUdeviceptr hdrIntensity;
    float blendFactor;
    CUdeviceptr hdrAverageColor;
    unsigned int temporalModeUsePreviousLayers;
};
static_assert(sizeof(OptixDenoiserParams) == 40, "");
static_assert(alignof(OptixDenoiserParams) == 8, "");
static_assert(offsetof(OptixDenoiserParams, denoiseAlpha) == 0, "");
static_assert(offsetof(OptixDenoiserParams, hdrIntensity) == 8, "");
static_assert(offsetof(OptixDenoiserParams, blendFactor) == 16, "");
static_assert(offsetof(OptixDenoiserParams, hdrAverageColor) == 24, "");
static_assert(offsetof(OptixDenoiserParams, temporalModeUsePreviousLayers) == 32, "");

struct OptixDenoiserGuideLayer
{
    OptixImage2D albedo;
    OptixImage2D normal;
    OptixImage2D flow;
    OptixImage2D previousOutputInternalGuideLayer;
    OptixImage2D outputInternalGuideLayer;
};
static_assert(sizeof(OptixDenoiserGuideLayer) == 160, "");
static_assert(alignof(OptixDenoiserGuideLayer) == 8, "");
static_assert(offsetof(OptixDenoiserGuideLayer, albedo) == 0, "");
static_assert(offsetof(OptixDenoiserGuideLayer, normal) == 32, "");
static_assert(offsetof(OptixDenoiserGuideLayer, flow) == 64, "");
static_assert(offsetof(OptixDenoiserGuideLayer, previousOutputInternalGuideLayer) == 96, "");
static_assert(offsetof(OptixDenoiserGuideLayer, outputInternalGuideLayer) == 128, "");

struct OptixDenoiserLayer
{
    OptixImage2D input;
    OptixImage2D previousOutput;
    OptixImage2D output;
};
static_assert(sizeof(OptixDenoiserLayer) == 96, "");
static_assert(alignof(OptixDenoiserLayer) == 8, "");
static_assert(offsetof(OptixDenoiserLayer, input) == 0, "");
static_assert(offsetof(OptixDenoiserLayer, previousOutput) == 32, "");
static_assert(offsetof(OptixDenoiserLayer, output) == 64, "");

// ---------------------------------------------------------------------------
// Function table (ABI 68): 47 slots, filled by optixQueryFunctionTable.
// ---------------------------------------------------------------------------

struct OptixFunctionTable
{
    const char* (*optixGetErrorName)(OptixResult result);
    const char* (*optixGetErrorString)(OptixResult result);
    OptixResult (*optixDeviceContextCreate)(
        CUcontext fromContext, const OptixDeviceContextOptions* options,
        OptixDeviceContext* context);
    OptixResult (*optixDeviceContextDestroy)(OptixDeviceContext context);
    OptixResult (*optixDeviceContextGetProperty)(
        OptixDeviceContext context, OptixDeviceProperty property, void* value, size_t sizeInBytes);
    OptixResult (*optixDeviceContextSetLogCallback)(
        OptixDeviceContext context, OptixLogCallback callbackFunction, void* callbackData,
        unsigned int callbackLevel);
    OptixResult (*optixDeviceContextSetCacheEnabled)(OptixDeviceContext context, int enabled);
    OptixResult (*optixDeviceContextSetCacheLocation)(
        OptixDeviceContext context, const char* location);
    OptixResult (*optixDeviceContextSetCacheDatabaseSizes)(
        OptixDeviceContext context, size_t lowWaterMark, size_t highWaterMark);
    OptixResult (*optixDeviceContextGetCacheEnabled)(OptixDeviceContext context, int* enabled);
    OptixResult (*optixDeviceContextGetCacheLocation)(
        OptixDeviceContext context, char* location, size_t locationSize);
    OptixResult (*optixDeviceContextGetCacheDatabaseSizes)(
        OptixDeviceContext context, size_t* lowWaterMark, size_t* highWaterMark);
    OptixResult (*optixModuleCreateFromPTX)(
        OptixDeviceContext context, const OptixModuleCompileOptions* moduleCompileOptions,
        const OptixPipelineCompileOptions* pipelineCompileOptions, const char* PTX, size_t PTXsize,
        char* logString, size_t* logStringSize, OptixModule* module);
    OptixResult (*optixModuleCreateFromPTXWithTasks)(
        OptixDeviceContext context, const OptixModuleCompileOptions* moduleCompileOptions,
        const OptixPipelineCompileOptions* pipelineCompileOptions, const char* PTX, size_t PTXsize,
        char* logString, size_t* logStringSize, OptixModule* module, OptixTask* firstTask);
    OptixResult (*optixModuleGetCompilationState)(
        OptixModule module, OptixModuleCompileState* state);
    OptixResult (*optixModuleDestroy)(OptixModule module);
    OptixResult (*optixBuiltinISModuleGet)(
        OptixDeviceContext context, const OptixModuleCompileOptions* moduleCompileOptions,
        const OptixPipelineCompileOptions* pipelineCompileOptions,
        const OptixBuiltinISOptions* builtinISOptions, OptixModule* builtinModule);
    OptixResult (*optixTaskExecute)(
        OptixTask task, OptixTask* additionalTasks, unsigned int maxNumAdditionalTasks,
        unsigned int* numAdditionalTasksCreated);
    OptixResult (*optixProgramGroupCreate)(
        OptixDeviceContext context, const OptixProgramGroupDesc* programDescriptions,
        unsigned int numProgramGroups, const OptixProgramGroupOptions* options, char* logString,
        size_t* logStringSize, OptixProgramGroup* programGroups);
    OptixResult (*optixProgramGroupDestroy)(OptixProgramGroup programGroup);
    OptixResult (*optixProgramGroupGetStackSize)(
        OptixProgramGroup programGroup, OptixStackSizes* stackSizes);
    OptixResult (*optixPipelineCreate)(
        OptixDeviceContext context, const OptixPipelineCompileOptions* pipelineCompileOptions,
        const OptixPipelineLinkOptions* pipelineLinkOptions, const OptixProgramGroup* programGroups,
        unsigned int numProgramGroups, char* logString, size_t* logStringSize,
        OptixPipeline* pipeline);
    OptixResult (*optixPipelineDestroy)(OptixPipeline pipeline);
    OptixResult (*optixPipelineSetStackSize)(
        OptixPipeline pipeline, unsigned int directCallableStackSizeFromTraversal,
        unsigned int directCallableStackSizeFromState, unsigned int continuationStackSize,
        unsigned int maxTraversableGraphDepth);
    OptixResult (*optixAccelComputeMemoryUsage)(
        OptixDeviceContext context, const OptixAccelBuildOptions* accelOptions,
        const OptixBuildInput* buildInputs, unsigned int numBuildInputs,
        OptixAccelBufferSizes* bufferSizes);
    OptixResult (*optixAccelBuild)(
        OptixDeviceContext context, CUstream stream, const OptixAccelBuildOptions* accelOptions,
        const OptixBuildInput* buildInputs, unsigned int numBuildInputs, CUdeviceptr tempBuffer,
        size_t tempBufferSizeInBytes, CUdeviceptr outputBuffer, size_t outputBufferSizeInBytes,
        OptixTraversableHandle* outputHandle, const OptixAccelEmitDesc* emittedProperties,
        unsigned int numEmittedProperties);
    OptixResult (*optixAccelGetRelocationInfo)(
        OptixDeviceContext context, OptixTraversableHandle handle, OptixRelocationInfo* info);
    OptixResult (*optixCheckRelocationCompatibility)(
        OptixDeviceContext context, const OptixRelocationInfo* info, int* compatible);
    OptixResult (*optixAccelRelocate)(
        OptixDeviceContext context, CUstream stream, const OptixRelocationInfo* info,
        const OptixRelocateInput* relocateInputs, size_t numRelocateInputs, CUdeviceptr targetAccel,
        size_t targetAccelSizeInBytes, OptixTraversableHandle* targetHandle);
    OptixResult (*optixAccelCompact)(
        OptixDeviceContext context, CUstream stream, OptixTraversableHandle inputHandle,
        CUdeviceptr outputBuffer, size_t outputBufferSizeInBytes,
        OptixTraversableHandle* outputHandle);
    OptixResult (*optixConvertPointerToTraversableHandle)(
        OptixDeviceContext onDevice, CUdeviceptr pointer, OptixTraversableType traversableType,
        OptixTraversableHandle* traversableHandle);
    OptixResult (*optixOpacityMicromapArrayComputeMemoryUsage)(
        OptixDeviceContext context, const OptixOpacityMicromapArrayBuildInput* buildInput,
        OptixMicromapBufferSizes* bufferSizes);
    OptixResult (*optixOpacityMicromapArrayBuild)(
        OptixDeviceContext context, CUstream stream,
        const OptixOpacityMicromapArrayBuildInput* buildInput, const OptixMicromapBuffers* buffers);
    OptixResult (*optixOpacityMicromapArrayGetRelocationInfo)(
        OptixDeviceContext context, CUdeviceptr opacityMicromapArray, OptixRelocationInfo* info);
    OptixResult (*optixOpacityMicromapArrayRelocate)(
        OptixDeviceContext context, CUstream stream, const OptixRelocationInfo* info,
        CUdeviceptr targetOpacityMicromapArray, size_t targetOpacityMicromapArraySizeInBytes);
    void (*reserved1)(void);
    void (*reserved2)(void);
    OptixResult (*optixSbtRecordPackHeader)(
        OptixProgramGroup programGroup, void* sbtRecordHeaderHostPointer);
    OptixResult (*optixLaunch)(
        OptixPipeline pipeline, CUstream stream, CUdeviceptr pipelineParams,
        size_t pipelineParamsSize, const OptixShaderBindingTable* sbt, unsigned int width,
        unsigned int height, unsigned int depth);
    OptixResult (*optixDenoiserCreate)(
        OptixDeviceContext context, OptixDenoiserModelKind modelKind,
        const OptixDenoiserOptions* options, OptixDenoiser* returnHandle);
    OptixResult (*optixDenoiserDestroy)(OptixDenoiser handle);
    OptixResult (*optixDenoiserComputeMemoryResources)(
        const OptixDenoiser handle, unsigned int maximumInputWidth, unsigned int maximumInputHeight,
        OptixDenoiserSizes* returnSizes);
    OptixResult (*optixDenoiserSetup)(
        OptixDenoiser denoiser, CUstream stream, unsigned int inputWidth, unsigned int inputHeight,
        CUdeviceptr state, size_t stateSizeInBytes, CUdeviceptr scratch, size_t scratchSizeInBytes);
    OptixResult (*optixDenoiserInvoke)(
        OptixDenoiser denoiser, CUstream stream, const OptixDenoiserParams* params,
        CUdeviceptr denoiserState, size_t denoiserStateSizeInBytes,
        const OptixDenoiserGuideLayer* guideLayer, const OptixDenoiserLayer* layers,
        unsigned int numLayers, unsigned int inputOffsetX, unsigned int inputOffsetY,
        CUdeviceptr scratch, size_t scratchSizeInBytes);
    OptixResult (*optixDenoiserComputeIntensity)(
        OptixDenoiser handle, CUstream stream, const OptixImage2D* inputImage,
        CUdeviceptr outputIntensity, CUdeviceptr scratch, size_t scratchSizeInBytes);
    OptixResult (*optixDenoiserComputeAverageColor)(
        OptixDenoiser handle, CUstream stream, const OptixImage2D* inputImage,
        CUdeviceptr outputAverageColor, CUdeviceptr scratch, size_t scratchSizeInBytes);
    OptixResult (*optixDenoiserCreateWithUserModel)(
        OptixDeviceContext context, const void* data, size_t dataSizeInBytes,
        OptixDenoiser* returnHandle);
};
static_assert(sizeof(OptixFunctionTable) == 376, "");
static_assert(alignof(OptixFunctionTable) == 8, "");
static_assert(offsetof(OptixFunctionTable, optixGetErrorName) == 0, "");
static_assert(offsetof(OptixFunctionTable, optixGetErrorString) == 8, "");
static_assert(offsetof(OptixFunctionTable, optixDeviceContextCreate) == 16, "");
static_assert(offsetof(OptixFunctionTable, optixDeviceContextDestroy) == 24, "");
static_assert(offsetof(OptixFunctionTable, optixDeviceContextGetProperty) == 32, "");
static_assert(offsetof(OptixFunctionTable, optixDeviceContextSetLogCallback) == 40, "");
static_assert(offsetof(OptixFunctionTable, optixDeviceContextSetCacheEnabled) == 48, "");
static_assert(offsetof(OptixFunctionTable, optixDeviceContextSetCacheLocation) == 56, "");
static_assert(offsetof(OptixFunctionTable, optixDeviceContextSetCacheDatabaseSizes) == 64, "");
static_assert(offsetof(OptixFunctionTable, optixDeviceContextGetCacheEnabled) == 72, "");
static_assert(offsetof(OptixFunctionTable, optixDeviceContextGetCacheLocation) == 80, "");
static_assert(offsetof(OptixFunctionTable, optixDeviceContextGetCacheDatabaseSizes) == 88, "");
static_assert(offsetof(OptixFunctionTable, optixModuleCreateFromPTX) == 96, "");
static_assert(offsetof(OptixFunctionTable, optixModuleCreateFromPTXWithTasks) == 104, "");
static_assert(offsetof(OptixFunctionTable, optixModuleGetCompilationState) == 112, "");
static_assert(offsetof(OptixFunctionTable, optixModuleDestroy) == 120, "");
static_assert(offsetof(OptixFunctionTable, optixBuiltinISModuleGet) == 128, "");
static_assert(offsetof(OptixFunctionTable, optixTaskExecute) == 136, "");
static_assert(offsetof(OptixFunctionTable, optixProgramGroupCreate) == 144, "");
static_assert(offsetof(OptixFunctionTable, optixProgramGroupDestroy) == 152, "");
static_assert(offsetof(OptixFunctionTable, optixProgramGroupGetStackSize) == 160, "");
static_assert(offsetof(OptixFunctionTable, optixPipelineCreate) == 168, "");
static_assert(offsetof(OptixFunctionTable, optixPipelineDestroy) == 176, "");
static_assert(offsetof(OptixFunctionTable, optixPipelineSetStackSize) == 184, "");
static_assert(offsetof(OptixFunctionTable, optixAccelComputeMemoryUsage) == 192, "");
static_assert(offsetof(OptixFunctionTable, optixAccelBuild) == 200, "");
static_assert(offsetof(OptixFunctionTable, optixAccelGetRelocationInfo) == 208, "");
static_assert(offsetof(OptixFunctionTable, optixCheckRelocationCompatibility) == 216, "");
static_assert(offsetof(OptixFunctionTable, optixAccelRelocate) == 224, "");
static_assert(offsetof(OptixFunctionTable, optixAccelCompact) == 232, "");
static_assert(offsetof(OptixFunctionTable, optixConvertPointerToTraversableHandle) == 240, "");
static_assert(offsetof(OptixFunctionTable, optixOpacityMicromapArrayComputeMemoryUsage) == 248, "");
static_assert(offsetof(OptixFunctionTable, optixOpacityMicromapArrayBuild) == 256, "");
static_assert(offsetof(OptixFunctionTable, optixOpacityMicromapArrayGetRelocationInfo) == 264, "");
static_assert(offsetof(OptixFunctionTable, optixOpacityMicromapArrayRelocate) == 272, "");
static_assert(offsetof(OptixFunctionTable, reserved1) == 280, "");
static_assert(offsetof(OptixFunctionTable, reserved2) == 288, "");
static_assert(offsetof(OptixFunctionTable, optixSbtRecordPackHeader) == 296, "");
static_assert(offsetof(OptixFunctionTable, optixLaunch) == 304, "");
static_assert(offsetof(OptixFunctionTable, optixDenoiserCreate) == 312, "");
static_assert(offsetof(OptixFunctionTable, optixDenoiserDestroy) == 320, "");
static_assert(offsetof(OptixFunctionTable, optixDenoiserComputeMemoryResources) == 328, "");
static_assert(offsetof(OptixFunctionTable, optixDenoiserSetup) == 336, "");
static_assert(offsetof(OptixFunctionTable, optixDenoiserInvoke) == 344, "");
static_assert(offsetof(OptixFunctionTable, optixDenoiserComputeIntensity) == 352, "");
static_assert(offsetof(OptixFunctionTable, optixDenoiserComputeAverageColor) == 360, "");
static_assert(offsetof(OptixFunctionTable, optixDenoiserCreateWithUserModel) == 368, "");

// Exported entry of libnvoptix.so.1; call with abiId = OPTIX_ABI_VERSION and
// sizeOfTable = sizeof(OptixFunctionTable).
typedef OptixResult (*OptixQueryFunctionTable_t)(int abiId, unsigned int numOptions,
                                                 OptixQueryFunctionTableOptions* optionKeys,
                                                 const void** optionValues, void* functionTable,
                                                 size_t sizeOfTable);

// The process-wide table; call through it, e.g. g_optixFunctionTable.optixLaunch(...).
extern OptixFunctionTable g_optixFunctionTable;
