/* trevix7_programs.h: what the project's own device programs make of the
 * records the library hands them. The library forwards these records
 * unchanged; a host that renders with our programs fills them as described
 * here. Compiles as C99 and as C++.
 *
 * The programs, as a host names them (the files lie in <build>/cuda, and in
 * <prefix>/share/trevix7/cuda once installed: give ApiSetupLibraryDir the
 * directory above cuda/):
 *
 *   camera         "t7_camera.cu::__raygen__pinhole", "t7_camera.cu::__raygen__thinlens"
 *   miss           "t7_miss.cu::__miss__environment"
 *   materials      "t7_hit.cu::__closesthit__radiance" and "t7_hit.cu::__closesthit__occlusion",
 *                  for every geometry kind
 *   intersection   "t7_intersect.cu::__intersection__particles"      (geoParticleSet)
 *                  "t7_intersect.cu::__intersection__particles_tex"  (geoParticleSetTex)
 *                  "t7_intersect.cu::__intersection__bezier"         (geoBezier)
 *                  "t7_intersect.cu::__intersection__parallelograms" (geoParallelograms)
 *                  "t7_intersect.cu::__intersection__parallelepipeds"(geoParallelepipeds)
 *
 * Paths. The camera program traces one path per launch index for the pixel
 * in the sample list, adds its colour (w = 1) to the sample sums on pass 0
 * of a batch afresh and on later passes on top, and does the same with the
 * first surface's colour and normal in the albedo and normal sums when they
 * are kept. Random numbers come from the pixel and the total-frame counter.
 * A path has at most path_seg_range.y segments (the camera ray is the
 * first); from segment path_seg_range.x on, Russian roulette ends it with a
 * probability that follows its remaining weight. A path cut at the last
 * segment sees ambient_color, scaled by the colour of the surface it stands
 * on, in place of the light it no longer follows. Each surface point takes
 * light from one randomly chosen light (or the environment) by a shadow ray,
 * weighted against the scattered ray by multiple importance sampling. Rays
 * start scene_epsilon away from the surface they leave, along its normal.
 * A sample that comes out NaN or infinite is replaced by bad_color.
 *
 * The background is bg_color, or, when a background texture is set, that
 * texture as an equirectangular map: u = 0.5 + atan2(d.x, -d.z) / (2 pi),
 * v = acos(d.y) / pi for the unit direction d (so +y is up, v = 0 at the
 * zenith and the image centre looks along -z). It lights the scene too. */
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

/* ------------------------------------------------------------------------ */
/* Cameras: what the camera programs make of the camera values.             */
/* ------------------------------------------------------------------------ */
/*
 * Both programs send the ray of image point (x, y), in [-1, 1] from the
 * left/bottom edge to the right/top edge, along x U + y V + W from the eye,
 * where x = 2 (column + jitter) / width - 1 + cxy.x and
 * y = 1 - 2 (row + jitter) / height + cxy.y (row 0 is the top row): cxy
 * shifts the image on the film in half-image units; rxy has already
 * narrowed U.
 *   lens value 3   width of the pixel filter in pixels: the jitter is uniform
 *                  over a box of this width around the pixel centre; 0 means
 *                  1 (the whole pixel), a negative value sends every ray
 *                  through the pixel centre.
 *   camera texture 0 (optional)  multiplies each sample by its colour at
 *                  ((x + 1) / 2, (y + 1) / 2): vignetting or a film mask.
 * The thin lens (__raygen__thinlens) adds:
 *   aperture       the lens radius in scene units (0: a pinhole);
 *   focus          the distance, along the view direction, of the plane in
 *                  focus; 0 or less focuses on the target;
 *   lens value 1   the number of aperture blades: 3 or more makes the lens a
 *                  regular polygon, anything else a disc;
 *   lens value 2   the rotation of the blades, in degrees;
 *   camera texture 1 (optional)  the lens's transmission: each sample is
 *                  multiplied by its colour at ((a + 1) / 2, (b + 1) / 2) for
 *                  the lens point (a, b) in the unit disc.
 */

/* ------------------------------------------------------------------------ */
/* Materials: the meaning of MaterialData's fields and flags.               */
/* ------------------------------------------------------------------------ */
/*
 * The colour of a surface point is base_color.rgb, times the geometry's
 * constant colour, times the base-colour texture (base_color.w is not read).
 * Texture arrays: with tex_count textures in each array, the integer part of
 * the texture coordinate u picks the texture (clamped to 0 .. tex_count-1)
 * and its fraction is the coordinate within it; every array has the same
 * count, and a texture object 0 in an array means "none".
 *
 *   base_color        colour: the diffuse albedo; a conductor's reflectance
 *                     at normal incidence; what a dielectric's surface lets
 *                     through (transmission filter)
 *   surface_albedo    tints specular reflection off clear coats and
 *                     dielectrics (1, 1, 1 is physical)
 *   light_emission    emitted radiance = light_emission x colour, from the
 *                     front side (or both, see the flags)
 *   refraction_index  a dielectric's index per channel (outside is 1); when
 *                     the channels differ, each path follows one channel,
 *                     drawn at its first refraction (dispersion)
 *   base_roughness    r in [0, 1], times the roughness texture's red channel;
 *                     the microfacet width is r * r; below 0.03 the surface
 *                     is smooth (a perfect mirror or window)
 *   subsurface_color  what a dielectric lets through per radiation_length of
 *                     travel inside it (absorption, per channel)
 *   radiation_length  that distance; 0 or less: no absorption
 *   reflectivity_index  refraction index of a clear coat over diffuse
 *                     surfaces; 1 or less: no coat
 *   reflectivity_range  a conductor's reflectance at grazing incidence
 *                     (Schlick's edge; 1 is physical)
 *   normaltilt_iar    strength of the normal map and of the bump map from a
 *                     displacement texture (1: as stored, 0: off)
 *   flags             the model in bits 0-3 (trevix7_material_model), and
 *                     TREVIX7_MATERIAL_TWO_SIDED
 *
 * The metalness texture's red channel, when there is one, blends the
 * diffuse (0) and conductor (1) models whatever the model bits say. The
 * normal texture is a tangent-space normal map (rgb = (n + 1) / 2): red along
 * the direction of increasing u, green along n x that (with v = 0 at the
 * image's top row, the image's up, as the usual normal maps have it), blue
 * along the normal. The displacement texture of a custom-primitive
 * geometry is a bump map: its red channel's slope over one texel tilts the
 * shading normal of particles, parallelograms and parallelepipeds; the
 * geometry itself does not move.
 */
typedef enum trevix7_material_model {
    TREVIX7_MATERIAL_EMITTER = 0,   /* reflects nothing; only its emission is seen */
    TREVIX7_MATERIAL_CONDUCTOR = 1, /* rough or smooth metal (GGX) */
    TREVIX7_MATERIAL_DIFFUSE = 2,   /* Lambertian, under an optional clear coat: the default */
    TREVIX7_MATERIAL_DIELECTRIC = 3 /* rough or smooth glass, with absorption inside */
} trevix7_material_model;

#define TREVIX7_MATERIAL_MODEL_MASK 0xFu
#define TREVIX7_MATERIAL_TWO_SIDED 0x10u /* emits from the back side too */

/* ------------------------------------------------------------------------ */
/* The id image: two 32-bit words per pixel, written on a batch's last pass. */
/* ------------------------------------------------------------------------ */
/*
 * word 0, bits 0-29   the geometry id seen through the pixel (0: none), or
 *                     for a light the light's index in the light array
 * word 0, bits 30-31  trevix7_id_kind
 * word 1              the primitive index within the geometry (0 for the
 *                     background and for lights)
 * The hit-position image holds the first point hit (xyz) and its distance
 * from the eye (w); the background gives (0, 0, 0, 0).
 */
typedef enum trevix7_id_kind {
    TREVIX7_ID_BACKGROUND = 0,
    TREVIX7_ID_FRONT = 1, /* a surface seen from outside */
    TREVIX7_ID_BACK = 2,  /* a surface seen from inside, or a back face */
    TREVIX7_ID_LIGHT = 3  /* a sphere or parallelogram light */
} trevix7_id_kind;

#define TREVIX7_ID_MASK 0x3FFFFFFFu
#define TREVIX7_ID_KIND_SHIFT 30

#endif /* TREVIX7_PROGRAMS_H */
