/* trevix7_scene.h: scene files for trevix7 (libtrevix7_scene.so).
 *
 * A scene file (JSON, see docs/scene-format.md) holds the render settings,
 * the shader variables, textures, materials, geometry, lights, the
 * environment, the camera and the post-processing stages. One call creates a
 * renderer instance of the library from it, ready to launch. Compiles as C99
 * and as C++. */
#ifndef TREVIX7_SCENE_H
#define TREVIX7_SCENE_H

#include "trevix7.h"

#ifdef __cplusplus
extern "C" {
#endif

#define TREVIX7_SCENE_API __attribute__((visibility("default")))

/* What the caller may put in place of the file's render settings, and what
 * the call reports back. */
typedef struct trevix7_scene_settings {
    unsigned int width, height;        /* in: 0 takes the file's size; out: the size used */
    unsigned int frames;               /* in: 0 takes the file's count; out: the count to render */
    const unsigned int* devices;       /* in: NULL takes the file's list (default: all GPUs) */
    unsigned int device_count;
    int denoise;                       /* in: -1 the file's; 0 none; or POSTPROC_DENOISER_LDR,
                                          _HDR, _UP2 (guided by albedo and normals);
                                          out: the denoiser used (0 none) */
    unsigned int camera;               /* out: the current camera */
} trevix7_scene_settings;

/* Fills `settings` with "take everything from the file". */
TREVIX7_SCENE_API void SceneDefaultSettings(trevix7_scene_settings* settings);

/* Reads the scene file at `path` (relative files in it are found beside
 * it), creates an instance with READBACK_RGBA8 output, builds the scene in
 * it and makes its camera current. Gives the instance's handle, or 0 with
 * the reason in `error` (4096 bytes), having destroyed whatever it made.
 * The library's program files are looked up in the directory given to
 * ApiSetupLibraryDir, which the caller sets first. */
TREVIX7_SCENE_API unsigned int SceneLoadFile(const char* path, trevix7_scene_settings* settings,
                                             char* error);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TREVIX7_SCENE_H */
