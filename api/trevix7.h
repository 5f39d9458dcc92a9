/*
 * trevix7.h - public interface of the trevix7 path-tracing library.
 *
 * The host creates renderer instances with ApiCreatePathTracer and refers to
 * each by the 32-bit handle it returns (0 never names an instance). Every
 * later call takes that handle first. Calls that can fail take a
 * caller-supplied error buffer last: it is cleared on entry and receives the
 * message text when the call fails; the library does not bound the copy, so
 * the buffer must be large enough for any message. Calls must be serialised
 * by the host, except ApiBreakLaunch, which may be called from another thread
 * while ApiLaunch runs.
 *
 * No C++ exception crosses this interface (createDirectory alone excepted).
 * A call that fails inside the library prints the message as one line on
 * standard output (ApiCreatePathTracer excepted), copies it into the error
 * buffer when the call has one, and returns its failure value: the value its
 * comment names, else the value it gives for an unknown handle (0, false,
 * -1 or a null pointer), or nothing for calls without a result.
 *
 * Usable from C99 and later and from C++.
 */
#ifndef TREVIX7_H
#define TREVIX7_H

#include <stddef.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

/* Export marker: the library is built with hidden visibility by default. */
#ifndef TREVIX7_API
#if defined(__GNUC__)
#define TREVIX7_API __attribute__((visibility("default")))
#else
#define TREVIX7_API
#endif
#endif

#define TREVIX7_CONCAT_(a, b) a##b
#define TREVIX7_CONCAT(a, b) TREVIX7_CONCAT_(a, b)

/* Compile-time checks that hold in C99 (gcc/clang), C11 and C++. */
#if defined(__cplusplus) && __cplusplus >= 201103L
#define TREVIX7_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
#elif !defined(__cplusplus) && defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define TREVIX7_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#elif !defined(__cplusplus) && defined(__GNUC__)
#define TREVIX7_STATIC_ASSERT(cond, msg) __extension__ _Static_assert(cond, msg)
#else
#define TREVIX7_STATIC_ASSERT(cond, msg) \
    typedef char TREVIX7_CONCAT(trevix7_static_assert_, __LINE__)[(cond) ? 1 : -1]
#endif

/* Member alignment and alignment queries. */
#if defined(__cplusplus) && __cplusplus >= 201103L
#define TREVIX7_ALIGN(n) alignas(n)
#define TREVIX7_ALIGNOF(t) alignof(t)
#elif defined(__GNUC__)
#define TREVIX7_ALIGN(n) __attribute__((aligned(n)))
#define TREVIX7_ALIGNOF(t) __alignof__(t)
#elif !defined(__cplusplus) && defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define TREVIX7_ALIGN(n) _Alignas(n)
#define TREVIX7_ALIGNOF(t) _Alignof(t)
#else
#define TREVIX7_ALIGN(n)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------ */
/* Vector records, laid out like the CUDA vector types of the same shape.    */
/* ------------------------------------------------------------------------ */

typedef struct trevix7_float2 { TREVIX7_ALIGN(8) float x; float y; } trevix7_float2;
typedef struct trevix7_float3 { float x; float y; float z; } trevix7_float3;
typedef struct trevix7_float4 { TREVIX7_ALIGN(16) float x; float y; float z; float w; } trevix7_float4;
typedef struct trevix7_uint2 { TREVIX7_ALIGN(8) unsigned int x; unsigned int y; } trevix7_uint2;
typedef struct trevix7_uint3 { unsigned int x; unsigned int y; unsigned int z; } trevix7_uint3;

TREVIX7_STATIC_ASSERT(sizeof(trevix7_float2) == 8, "trevix7_float2 must be 8 bytes");
TREVIX7_STATIC_ASSERT(sizeof(trevix7_float3) == 12, "trevix7_float3 must be 12 bytes");
TREVIX7_STATIC_ASSERT(sizeof(trevix7_float4) == 16, "trevix7_float4 must be 16 bytes");
TREVIX7_STATIC_ASSERT(sizeof(trevix7_uint2) == 8, "trevix7_uint2 must be 8 bytes");
TREVIX7_STATIC_ASSERT(sizeof(trevix7_uint3) == 12, "trevix7_uint3 must be 12 bytes");
#ifdef TREVIX7_ALIGNOF
TREVIX7_STATIC_ASSERT(TREVIX7_ALIGNOF(trevix7_float2) == 8, "trevix7_float2 must be 8-byte aligned");
TREVIX7_STATIC_ASSERT(TREVIX7_ALIGNOF(trevix7_float3) == 4, "trevix7_float3 must be 4-byte aligned");
TREVIX7_STATIC_ASSERT(TREVIX7_ALIGNOF(trevix7_float4) == 16, "trevix7_float4 must be 16-byte aligned");
TREVIX7_STATIC_ASSERT(TREVIX7_ALIGNOF(trevix7_uint2) == 8, "trevix7_uint2 must be 8-byte aligned");
TREVIX7_STATIC_ASSERT(TREVIX7_ALIGNOF(trevix7_uint3) == 4, "trevix7_uint3 must be 4-byte aligned");
#endif

/* ------------------------------------------------------------------------ */
/* Enumerations passed by the host (all 32-bit). In C++ they have a fixed    */
/* 32-bit representation, so every value a host passes is a valid value.    */
/* ------------------------------------------------------------------------ */

#ifdef __cplusplus
#define TREVIX7_ENUM(name) enum name : unsigned int
#else
#define TREVIX7_ENUM(name) enum name
#endif

/* Pixel format of the converted output image. */
typedef TREVIX7_ENUM(readbackMode) {
    READBACK_NONE = 0,   /* no conversion, no output image */
    READBACK_RGBA8 = 1,  /* 4 x 8-bit unsigned, R,G,B,A */
    READBACK_BGRA8 = 2,  /* 4 x 8-bit unsigned, B,G,R,A */
    READBACK_RGBA16 = 3, /* 4 x 16-bit unsigned, R,G,B,A */
    READBACK_BGRA16 = 4, /* 4 x 16-bit unsigned, B,G,R,A */
    READBACK_RGBA32 = 5, /* 4 x float, R,G,B,A (secondary output only) */
    READBACK_BGRA32 = 6  /* 4 x float, B,G,R,A (secondary output only) */
} readbackMode;

/* Post-processing stages; the denoiser kinds always run first. */
typedef TREVIX7_ENUM(postprocAlgorithm) {
    POSTPROC_LEVELS = 1,
    POSTPROC_GAMMA = 2,
    POSTPROC_TONEMAP_GRAY = 3,
    POSTPROC_TONEMAP_RGB = 4,
    POSTPROC_OVERLAY_MUL = 5,
    POSTPROC_OVERLAY_ADD = 6,
    POSTPROC_DENOISER_LDR = 7,
    POSTPROC_DENOISER_HDR = 8,
    POSTPROC_DENOISER_UP2 = 9
} postprocAlgorithm;

/* Geometry kinds. */
typedef TREVIX7_ENUM(geoPrimirivesType) {
    geoPrimitives0 = 0,        /* plain kind, no preprocessing */
    geoParticleSet = 1,        /* spheres: centre and radius per primitive */
    geoPrimitives2 = 2,        /* plain kind, no preprocessing */
    geoPrimitives3 = 3,        /* plain kind, no preprocessing */
    geoParticleSetTex = 4,     /* spheres with two extra vectors each */
    geoBezier = 5,             /* cubic Bezier segments with two radii */
    geoPrimitives6 = 6,        /* plain kind, no preprocessing */
    geoParallelograms = 7,
    geoParallelepipeds = 8,
    geoParallelepipeds2 = 9,   /* boxes computed by the host */
    geoPrimitives10 = 10,      /* boxes computed by the host */
    geoBSplineLinear = 11,     /* round linear curve segments */
    geoBSplineQuadratic = 12,  /* round quadratic B-spline curves */
    geoBSplineCubic = 13,      /* round cubic B-spline curves */
    geoBSplineLinear2 = 14,    /* same as geoBSplineLinear */
    geoBSplineCatmullRom = 15, /* round Catmull-Rom curves */
    geoDummy = 127             /* one fixed box (placeholder geometry) */
} geoPrimirivesType;

/* Buffer slots of a geometry. */
typedef TREVIX7_ENUM(geoBufferIndicex) {
    geoBufVertices = 0,
    geoBufReserved1 = 1,
    geoBufIndices = 2,
    geoBufNormals = 3,
    geoBufNormalIndices = 4,
    geoBufTexCoords = 5,
    geoBufTexCoordIndices = 6,
    nGeoBuffers = 7
} geoBufferIndicex;

/* Guides used by the denoiser: 3 adds the albedo image, 7 adds albedo and
 * normals; any other value (1 in particular) uses the colour image alone. */
#ifndef TREVIX7_OPTIX_DENOISER_INPUT_KIND
#define TREVIX7_OPTIX_DENOISER_INPUT_KIND
typedef TREVIX7_ENUM(OptixDenoiserInputKind) {
    OPTIX_DENOISER_INPUT_RGB = 1,
    OPTIX_DENOISER_INPUT_RGB_ALBEDO = 3,
    OPTIX_DENOISER_INPUT_RGB_ALBEDO_NORMAL = 7
} OptixDenoiserInputKind;
#endif

TREVIX7_STATIC_ASSERT(sizeof(readbackMode) == 4, "readbackMode must be 32-bit");
TREVIX7_STATIC_ASSERT(sizeof(postprocAlgorithm) == 4, "postprocAlgorithm must be 32-bit");
TREVIX7_STATIC_ASSERT(sizeof(geoPrimirivesType) == 4, "geoPrimirivesType must be 32-bit");
TREVIX7_STATIC_ASSERT(sizeof(geoBufferIndicex) == 4, "geoBufferIndicex must be 32-bit");
TREVIX7_STATIC_ASSERT(sizeof(OptixDenoiserInputKind) == 4, "OptixDenoiserInputKind must be 32-bit");

/* ------------------------------------------------------------------------ */
/* Records passed by the host.                                              */
/* ------------------------------------------------------------------------ */

/* One light, 80 bytes, copied unchanged to the device programs. The meaning
 * of the fields is agreed between the host and its device programs; the
 * library only stores and forwards whole records. The project's own
 * programs read them as trevix7_light (trevix7_programs.h). */
typedef struct LightData {
    union {
        float f[20];
        unsigned int u[20];
        unsigned char bytes[80];
    } raw;
} LightData;

TREVIX7_STATIC_ASSERT(sizeof(LightData) == 80, "LightData must be 80 bytes");
TREVIX7_STATIC_ASSERT(offsetof(LightData, raw) == 0, "LightData data must start at offset 0");
#ifdef TREVIX7_ALIGNOF
TREVIX7_STATIC_ASSERT(TREVIX7_ALIGNOF(LightData) == 4, "LightData must be 4-byte aligned");
#endif

/* ------------------------------------------------------------------------ */
/* Entry points.                                                            */
/* ------------------------------------------------------------------------ */

/* Devices and renderer instances. */
TREVIX7_API int ApiGetDeviceCount(void);
TREVIX7_API int ApiGpuArchitecture(unsigned int device);
TREVIX7_API unsigned int ApiCreatePathTracer(
    unsigned int width, unsigned int height, int mode,
    const char** intNames, int* intValues, size_t intCount,
    const char** uintNames, unsigned int* uintValues, size_t uintCount,
    const char** uint2Names, trevix7_uint2* uint2Values, size_t uint2Count,
    const char** floatNames, float* floatValues, size_t floatCount,
    const char** float2Names, trevix7_float2* float2Values, size_t float2Count,
    const char** float3Names, trevix7_float3* float3Values, size_t float3Count,
    const unsigned int* devices, unsigned int deviceCount, int logLevel,
    char* error);
TREVIX7_API bool ApiDestroyPathTracer(unsigned int handle, char* error);
TREVIX7_API int ApiCudaOrdinal(unsigned int handle, unsigned int index);
TREVIX7_API int ApiOutputCudaOrdinal(unsigned int handle);

/* Scene compilation, frame launch and accumulation. */
TREVIX7_API int ApiCompile(unsigned int handle, char* error);
TREVIX7_API int ApiLaunch(unsigned int handle, unsigned int count, unsigned int maxFrames,
                          char* error);
TREVIX7_API int ApiBreakLaunch(unsigned int handle);
TREVIX7_API bool ApiClearAccumulation(unsigned int handle);

/* Image size, shader variables and auxiliary images. */
TREVIX7_API bool ApiResize(unsigned int handle, unsigned int width, unsigned int height,
                           char* error);
TREVIX7_API bool ApiUpdateVariables(
    unsigned int handle,
    const char** intNames, int* intValues, size_t intCount,
    const char** uintNames, unsigned int* uintValues, size_t uintCount,
    const char** uint2Names, trevix7_uint2* uint2Values, size_t uint2Count,
    const char** floatNames, float* floatValues, size_t floatCount,
    const char** float2Names, trevix7_float2* float2Values, size_t float2Count,
    const char** float3Names, trevix7_float3* float3Values, size_t float3Count);
TREVIX7_API bool ApiSetSaveAlbedoState(unsigned int handle, bool save);
TREVIX7_API bool ApiSetSaveNormalsState(unsigned int handle, bool save);

/* Miss program and lights. */
TREVIX7_API bool ApiSetMissProgram(unsigned int handle, const char* program, char* error);
TREVIX7_API bool ApiSetupLights(unsigned int handle, LightData* lights, unsigned int count);

/* Textures. */
TREVIX7_API unsigned int ApiSetupTexture(unsigned int handle, int width, int height,
                                         int channels, int bitsPerChannel, int addressMode,
                                         const void* data, char* error);
TREVIX7_API bool ApiUpdateTexture(unsigned int handle, unsigned int texture, int width,
                                  int height, const void* data, char* error);
TREVIX7_API bool ApiSetBackgroundTexture(unsigned int handle, unsigned int texture);
TREVIX7_API bool ApiSetupDisplacementTexture(unsigned int handle, unsigned int geometry,
                                             unsigned int texture);

/* Geometry: creation (slot numbers with element sizes in bytes), data, removal. */
TREVIX7_API int ApiSetupTrianglesGeometry(unsigned int handle, geoPrimirivesType type,
                                          const unsigned int* slots,
                                          const unsigned int* elementSizes,
                                          unsigned int slotCount, unsigned int material,
                                          char* error);
TREVIX7_API int ApiSetupBSplinesGeometry(unsigned int handle, geoPrimirivesType type,
                                         const unsigned int* slots,
                                         const unsigned int* elementSizes,
                                         unsigned int slotCount, unsigned int material,
                                         char* error);
TREVIX7_API int ApiSetupPrimitivesGeometry(unsigned int handle, geoPrimirivesType type,
                                           const char* intersectionProgram,
                                           const unsigned int* slots,
                                           const unsigned int* elementSizes,
                                           unsigned int slotCount, unsigned int material,
                                           char* error);
TREVIX7_API bool ApiUploadGeometryMeshFaces(unsigned int handle, unsigned int geometry,
                                            trevix7_float3* vertices, unsigned int vertexCount,
                                            trevix7_uint3* faces, unsigned int faceCount,
                                            char* error);
TREVIX7_API bool ApiUploadGeometryMeshNormals(unsigned int handle, unsigned int geometry,
                                              trevix7_float3* normals, unsigned int normalCount,
                                              trevix7_uint3* normalIndices,
                                              unsigned int normalIndexCount, char* error);
TREVIX7_API bool ApiUploadGeometryMeshTexCoords(unsigned int handle, unsigned int geometry,
                                                trevix7_float2* texCoords,
                                                unsigned int texCoordCount,
                                                trevix7_uint3* texCoordIndices,
                                                unsigned int texCoordIndexCount, char* error);
TREVIX7_API bool ApiUploadGeometryBSplineIdx(unsigned int handle, unsigned int geometry,
                                             unsigned int* segmentIndices,
                                             unsigned int segmentCount, char* error);
TREVIX7_API bool ApiUploadGeometryBuffers(unsigned int handle, unsigned int geometry,
                                          unsigned int elementCount, const unsigned int* slots,
                                          void* const* data, unsigned int slotCount,
                                          char* error);
TREVIX7_API bool ApiDownloadGeometryBuffer(unsigned int handle, unsigned int geometry,
                                           unsigned long slot, unsigned int elementCount,
                                           void* destination, char* error);
TREVIX7_API bool ApiFreeGeometryBuffer(unsigned int handle, unsigned int geometry,
                                       unsigned int slot);
TREVIX7_API bool ApiDeleteGeometry(unsigned int handle, unsigned int geometry, char* error);

/* Geometry colour and materials. */
TREVIX7_API bool ApiSetupConstColor(unsigned int handle, unsigned int geometry,
                                    trevix7_float3 color);
TREVIX7_API bool ApiSetupGeometryMaterial(unsigned int handle, unsigned int geometry,
                                          unsigned int material);
TREVIX7_API unsigned int ApiSetupMaterial(
    unsigned int handle, const char* radianceProgram, const char* occlusionProgram,
    const char** uintNames, unsigned int* uintValues, size_t uintCount,
    const char** floatNames, float* floatValues, size_t floatCount,
    const char** float3Names, trevix7_float3* float3Values, size_t float3Count,
    const char** float4Names, trevix7_float4* float4Values, size_t float4Count,
    const unsigned int* colorTextures, unsigned int colorTextureCount,
    const unsigned int* roughnessTextures, unsigned int roughnessTextureCount,
    const unsigned int* metalnessTextures, unsigned int metalnessTextureCount,
    const unsigned int* normalTextures, unsigned int normalTextureCount,
    unsigned long textureCount, char* error);
TREVIX7_API bool ApiUpdateMaterial(
    unsigned int handle, unsigned int material,
    const char** uintNames, unsigned int* uintValues, size_t uintCount,
    const char** floatNames, float* floatValues, size_t floatCount,
    const char** float3Names, trevix7_float3* float3Values, size_t float3Count,
    const char** float4Names, trevix7_float4* float4Values, size_t float4Count,
    const unsigned int* colorTextures, unsigned int colorTextureCount,
    const unsigned int* roughnessTextures, unsigned int roughnessTextureCount,
    const unsigned int* metalnessTextures, unsigned int metalnessTextureCount,
    const unsigned int* normalTextures, unsigned int normalTextureCount,
    unsigned long textureCount, char* error);

/* Cameras. A camera names its ray-generation program ("file.cu::function")
 * and holds a look-at frame, a vertical field of view in degrees, rxy (divides
 * the horizontal extent), a centre offset, the aperture, focus and lens values
 * 1 to 3 (forwarded to the program), and lens value 4: the blend value of the
 * frame launch. Inside (0, 1) it is the weight of each new batch in the image
 * (a running average favouring recent batches, for smooth interactive
 * motion); any other value, 0 and 1 included, keeps the image the exact mean
 * of all passes since accumulation restarted. Ids are process-wide and start
 * at 1. Setters do not publish the camera unless `update` is true (or
 * ApiUpdateCamera is called); publishing restarts accumulation. */
TREVIX7_API unsigned int ApiSetupCamera(unsigned int handle, const char* program,
                                        trevix7_float3 eye, trevix7_float3 target,
                                        trevix7_float3 up, float fov, float rxy,
                                        trevix7_float2 cxy, float aperture, float lens1,
                                        float focus, float lens2, float lens3, float lens4,
                                        bool glock, const unsigned int* textures,
                                        unsigned int textureCount);
TREVIX7_API bool ApiSetCurrentCamera(unsigned int handle, unsigned int camera, char* error);
TREVIX7_API bool ApiUpdateCamera(unsigned int handle);
TREVIX7_API bool ApiGetCameraGLock(unsigned int handle, unsigned int camera);
TREVIX7_API bool ApiSetCameraGLock(unsigned int handle, unsigned int camera, bool glock);
TREVIX7_API bool ApiGetCameraEye(unsigned int handle, unsigned int camera, trevix7_float3* eye);
TREVIX7_API bool ApiGetCameraTarget(unsigned int handle, unsigned int camera,
                                    trevix7_float3* target);
TREVIX7_API bool ApiGetCameraUp(unsigned int handle, unsigned int camera, trevix7_float3* up);
TREVIX7_API bool ApiSetCameraEye(unsigned int handle, unsigned int camera, trevix7_float3 eye,
                                 bool update);
TREVIX7_API bool ApiSetCameraTarget(unsigned int handle, unsigned int camera,
                                    trevix7_float3 target, bool update);
TREVIX7_API bool ApiSetCameraUp(unsigned int handle, unsigned int camera, trevix7_float3 up,
                                bool update);
TREVIX7_API bool ApiSetCameraFocus(unsigned int handle, unsigned int camera, float focus,
                                   bool update);
TREVIX7_API bool ApiSetCameraFov(unsigned int handle, unsigned int camera, float fov,
                                 bool update);
TREVIX7_API bool ApiSetCameraRxy(unsigned int handle, unsigned int camera, float rxy,
                                 bool update);
TREVIX7_API bool ApiSetCameraAperture(unsigned int handle, unsigned int camera, float aperture,
                                      bool update);
TREVIX7_API bool ApiSetCameraCxy(unsigned int handle, unsigned int camera, trevix7_float2 cxy,
                                 bool update);
TREVIX7_API bool ApiRotateCameraEye(unsigned int handle, unsigned int camera, float dx,
                                    float dy, bool update);
TREVIX7_API bool ApiRotateCameraTarget(unsigned int handle, unsigned int camera, float dx,
                                       float dy, bool update);

/* Readback and output images. */
TREVIX7_API bool ApiSetReadbackMode(unsigned int handle, readbackMode mode);
TREVIX7_API void* ApiReadbackCudaPtr(unsigned int handle, char* error);
TREVIX7_API bool ApiGetOutputBuffer(unsigned int handle, void** data, unsigned int* size,
                                    char* error);
TREVIX7_API bool ApiGetOutputBuffer2(unsigned int handle, readbackMode mode, void** data,
                                     unsigned int* size, char* error);
TREVIX7_API bool ApiGetRawOutputBuffer(unsigned int handle, void** data, int* size,
                                       char* error);
TREVIX7_API bool ApiGetHitPosBuffer(unsigned int handle, void** data, int* size, char* error);
TREVIX7_API bool ApiGetIdBuffer(unsigned int handle, void** data, int* size, char* error);
TREVIX7_API bool ApiGetAlbedoBuffer(unsigned int handle, void** data, int* size, char* error);
TREVIX7_API bool ApiGetNormalBuffer(unsigned int handle, void** data, int* size, char* error);
TREVIX7_API void ApiReadHitPosAtPoint(unsigned int handle, unsigned int x, unsigned int y,
                                      trevix7_float4* hitPosition);
TREVIX7_API void ApiReadGeomIdAtPoint(unsigned int handle, unsigned int x, unsigned int y,
                                      unsigned int ids[4]);

/* Post-processing and denoiser. */
TREVIX7_API void ApiAddPostprocessing(unsigned int handle, postprocAlgorithm algorithm);
TREVIX7_API void ApiSetPostprocGamma(unsigned int handle, float gamma, float scale);
TREVIX7_API void ApiSetPostprocLevels(unsigned int handle, const trevix7_float3* low,
                                      const trevix7_float3* high);
TREVIX7_API void ApiSetPostprocDenoiser(unsigned int handle, OptixDenoiserInputKind kind,
                                        float blend, unsigned int start);
TREVIX7_API bool ApiSetPostprocTonemapGrayTexture(unsigned int handle, unsigned int texture);
TREVIX7_API bool ApiSetPostprocTonemapRedTexture(unsigned int handle, unsigned int texture);
TREVIX7_API bool ApiSetPostprocTonemapGreenTexture(unsigned int handle, unsigned int texture);
TREVIX7_API bool ApiSetPostprocTonemapBlueTexture(unsigned int handle, unsigned int texture);
TREVIX7_API bool ApiSetPostprocAddTexture(unsigned int handle, unsigned int texture);
TREVIX7_API bool ApiSetPostprocMulTexture(unsigned int handle, unsigned int texture);

/* Program files: search settings and preloading (no instance needed). */
TREVIX7_API void ApiSetupIncludeDir(const char* dir);
TREVIX7_API void ApiSetupLibraryDir(const char* dir);
TREVIX7_API void ApiSetupGpuArchitecture(const char* arch);
TREVIX7_API void ApiGpuArchitectureCfg(char* arch);
TREVIX7_API int ApiCompileToPtx(const char* file, char* error);

/* File-system helpers. createDirectory reports failure by throwing a C++
 * exception, so only C++ hosts can recover from it. */
TREVIX7_API void createDirectory(const char* path);
TREVIX7_API bool dirExists(const char* path);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TREVIX7_H */
