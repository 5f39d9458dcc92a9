/* trevix7_programs.h: what the project's own device programs make of the
 * records the library hands them. The library forwards these records
 * unchanged; a host that renders with our programs fills them as described
 * here. Compiles as C99 and as C++. */
#ifndef TREVIX7_PROGRAMS_H
#define TREVIX7_PROGRAMS_H

#include "trevix7.h"

#include <stddef.h>

/* ------------------------------------------------------------------------ */
/* Lights: the fields of the 80-byte LightData.                            */
/* ------------------------------------------------------------------------ */

typedef enum trevix7_light_type {
    TREVIX7_LIGHT_POINT = 0,        /* at position, intensity emission (per steradian) */
    TREVIX7_LIGHT_SPOT = 1,         /* a point light within a cone around direction */
    TREVIX7_LIGHT_DIRECTIONAL = 2,  /* from infinitely far, travelling along direction;
                                       emission is the irradiance on a surface facing it */
    TREVIX7_LIGHT_SPHERE = 3,       /* centre position, radius; emission is radiance */
    TREVIX7_LIGHT_PARALLELOGRAM = 4 /* corner position, edges u and v; emission is the
                                       radiance of the side that u x v faces */
} trevix7_light_type;

/* One light as the programs read it. Write it into a LightData by copying
 * the 80 bytes (memcpy), or through trevix7_light_record. */
typedef struct trevix7_light {
    unsigned int type;        /* trevix7_light_type */
    trevix7_float3 emission;  /* per colour channel, see the type */
    trevix7_float3 position;
    float radius;             /* sphere */
    trevix7_float3 direction; /* spot axis, or the directional light's direction of travel;
                                 need not be normalised */
    float cos_inner;          /* spot: full intensity where the angle's cosine is above */
    trevix7_float3 u;         /* parallelogram edges from the corner */
    float cos_outer;          /* spot: nothing where the cosine is below; smooth between */
    trevix7_float3 v;
    unsigned int flags;       /* reserved: 0 */
} trevix7_light;

typedef union trevix7_light_record {
    LightData data;
    trevix7_light light;
} trevix7_light_record;

TREVIX7_STATIC_ASSERT(sizeof(trevix7_light) == sizeof(LightData), "trevix7_light is a LightData");
TREVIX7_STATIC_ASSERT(offsetof(trevix7_light, emission) == 4 &&
                          offsetof(trevix7_light, position) == 16 &&
                          offsetof(trevix7_light, radius) == 28 &&
                          offsetof(trevix7_light, direction) == 32 &&
                          offsetof(trevix7_light, cos_inner) == 44 &&
                          offsetof(trevix7_light, u) == 48 &&
                          offsetof(trevix7_light, cos_outer) == 60 &&
                          offsetof(trevix7_light, v) == 64 && offsetof(trevix7_light, flags) == 76,
                      "trevix7_light layout");

#endif /* TREVIX7_PROGRAMS_H */
