/* The public header compiles as C99 and its records and entry points have the
 * expected types. Compile-only check. */
#include "trevix7.h"

#include <stddef.h>

/* Records embed with the same offsets as the CUDA vector types. */
struct VectorLayout {
    char c0;
    trevix7_float2 f2;
    char c1;
    trevix7_float4 f4;
    char c2;
    trevix7_uint2 u2;
    char c3;
    trevix7_float3 f3;
    trevix7_uint3 u3;
};
TREVIX7_STATIC_ASSERT(offsetof(struct VectorLayout, f2) == 8, "float2 offset");
TREVIX7_STATIC_ASSERT(offsetof(struct VectorLayout, f4) == 32, "float4 offset");
TREVIX7_STATIC_ASSERT(offsetof(struct VectorLayout, u2) == 56, "uint2 offset");
TREVIX7_STATIC_ASSERT(offsetof(struct VectorLayout, f3) == 68, "float3 offset");
TREVIX7_STATIC_ASSERT(offsetof(struct VectorLayout, u3) == 80, "uint3 offset");

TREVIX7_STATIC_ASSERT(READBACK_BGRA32 == 6, "readbackMode values");
TREVIX7_STATIC_ASSERT(POSTPROC_OVERLAY_MUL == 5 && POSTPROC_OVERLAY_ADD == 6, "overlay values");
TREVIX7_STATIC_ASSERT(POSTPROC_DENOISER_UP2 == 9, "postprocAlgorithm values");
TREVIX7_STATIC_ASSERT(geoBSplineCatmullRom == 15 && geoDummy == 127, "geoPrimirivesType values");
TREVIX7_STATIC_ASSERT(geoBufTexCoordIndices == 6 && nGeoBuffers == 7, "geoBufferIndicex values");
TREVIX7_STATIC_ASSERT(OPTIX_DENOISER_INPUT_RGB_ALBEDO == 3, "denoiser guide values");
TREVIX7_STATIC_ASSERT(OPTIX_DENOISER_INPUT_RGB_ALBEDO_NORMAL == 7, "denoiser guide values");

/* Function pointers of exactly these types pin the signatures. */
typedef unsigned int (*CreateFn)(unsigned int, unsigned int, int,
                                 const char**, int*, size_t,
                                 const char**, unsigned int*, size_t,
                                 const char**, trevix7_uint2*, size_t,
                                 const char**, float*, size_t,
                                 const char**, trevix7_float2*, size_t,
                                 const char**, trevix7_float3*, size_t,
                                 const unsigned int*, unsigned int, int, char*);
typedef int (*LaunchFn)(unsigned int, unsigned int, unsigned int, char*);
typedef int (*SetupGeometryFn)(unsigned int, geoPrimirivesType, const unsigned int*,
                               const unsigned int*, unsigned int, unsigned int, char*);
typedef bool (*FacesFn)(unsigned int, unsigned int, trevix7_float3*, unsigned int,
                        trevix7_uint3*, unsigned int, char*);
typedef bool (*SetEyeFn)(unsigned int, unsigned int, trevix7_float3, bool);
typedef bool (*SetCxyFn)(unsigned int, unsigned int, trevix7_float2, bool);
typedef bool (*OutputFn)(unsigned int, void**, int*, char*);
typedef void (*ReadHitPosFn)(unsigned int, unsigned int, unsigned int, trevix7_float4*);
typedef void (*DenoiserFn)(unsigned int, OptixDenoiserInputKind, float, unsigned int);
typedef bool (*LightsFn)(unsigned int, LightData*, unsigned int);

int header_c99_touch(void);

int header_c99_touch(void)
{
    CreateFn create = &ApiCreatePathTracer;
    LaunchFn launch = &ApiLaunch;
    SetupGeometryFn triangles = &ApiSetupTrianglesGeometry;
    SetupGeometryFn curves = &ApiSetupBSplinesGeometry;
    FacesFn faces = &ApiUploadGeometryMeshFaces;
    FacesFn normals = &ApiUploadGeometryMeshNormals;
    SetEyeFn eye = &ApiSetCameraEye;
    SetCxyFn cxy = &ApiSetCameraCxy;
    OutputFn raw = &ApiGetRawOutputBuffer;
    ReadHitPosFn hitPos = &ApiReadHitPosAtPoint;
    DenoiserFn denoiser = &ApiSetPostprocDenoiser;
    LightsFn lights = &ApiSetupLights;

    LightData light;
    trevix7_float2 f2 = { 0.5f, 0.5f };
    trevix7_float3 f3 = { 1.0f, 2.0f, 3.0f };
    trevix7_float4 f4 = { 1.0f, 2.0f, 3.0f, 4.0f };
    trevix7_uint2 u2 = { 2u, 6u };
    trevix7_uint3 u3 = { 0u, 1u, 2u };
    readbackMode mode = READBACK_RGBA8;
    postprocAlgorithm algorithm = POSTPROC_GAMMA;
    geoPrimirivesType type = geoParticleSet;
    geoBufferIndicex slot = geoBufIndices;
    OptixDenoiserInputKind kind = OPTIX_DENOISER_INPUT_RGB;

    light.raw.f[0] = f3.x;
    light.raw.u[1] = u3.z;
    light.raw.bytes[79] = 0;

    return (create != NULL) + (launch != NULL) + (triangles != NULL) + (curves != NULL)
         + (faces != NULL) + (normals != NULL) + (eye != NULL) + (cxy != NULL)
         + (raw != NULL) + (hitPos != NULL) + (denoiser != NULL) + (lights != NULL)
         + (int)light.raw.bytes[79] + (int)(f2.x + f4.w) + (int)u2.y + (int)mode
         + (int)algorithm + (int)type + (int)slot + (int)kind;
}
