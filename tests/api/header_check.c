/* The public header compiles as C99 and as C++17 (this file is built as
 * both), with the values and entry-point signatures hosts rely on.
 * Compile-only check. */
#include "trevix7.h"
#include "trevix7_programs.h"
#include "trevix7_scene.h"

#include <stddef.h>

/* Values hosts compare against. */
TREVIX7_STATIC_ASSERT(READBACK_BGRA32 == 6 && POSTPROC_DENOISER_UP2 == 9, "enumeration values");
TREVIX7_STATIC_ASSERT(geoBSplineCatmullRom == 15 && geoDummy == 127 && nGeoBuffers == 7,
                      "enumeration values");
TREVIX7_STATIC_ASSERT(OPTIX_DENOISER_INPUT_RGB_ALBEDO_NORMAL == 7, "enumeration values");

/* Function pointers of exactly these types pin representative signatures. */
typedef unsigned int (*CreateFn)(unsigned int, unsigned int, int, const char**, int*, size_t,
                                 const char**, unsigned int*, size_t, const char**,
                                 trevix7_uint2*, size_t, const char**, float*, size_t,
                                 const char**, trevix7_float2*, size_t, const char**,
                                 trevix7_float3*, size_t, const unsigned int*, unsigned int, int,
                                 char*);
typedef int (*SetupGeometryFn)(unsigned int, geoPrimirivesType, const unsigned int*,
                               const unsigned int*, unsigned int, unsigned int, char*);
typedef bool (*FacesFn)(unsigned int, unsigned int, trevix7_float3*, unsigned int,
                        trevix7_uint3*, unsigned int, char*);
typedef bool (*SetCxyFn)(unsigned int, unsigned int, trevix7_float2, bool);
typedef void (*DenoiserFn)(unsigned int, OptixDenoiserInputKind, float, unsigned int);

int header_check_touch(void);

int header_check_touch(void)
{
    CreateFn create = &ApiCreatePathTracer;
    SetupGeometryFn triangles = &ApiSetupTrianglesGeometry;
    FacesFn faces = &ApiUploadGeometryMeshFaces;
    SetCxyFn cxy = &ApiSetCameraCxy;
    DenoiserFn denoiser = &ApiSetPostprocDenoiser;
    LightData light;
    trevix7_light_record record;
    light.raw.u[19] = 1u;
    record.light.type = TREVIX7_LIGHT_SPOT;
    record.light.flags = 0;
    return (create != NULL) + (triangles != NULL) + (faces != NULL) + (cxy != NULL) +
           (denoiser != NULL) + (int)light.raw.bytes[76] + (int)record.data.raw.u[0];
}
