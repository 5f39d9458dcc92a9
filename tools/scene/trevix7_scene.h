/* trevix7_scene.h: scene files for trevix7 (libtrevix7_scene.so).
 *
 * A scene file (JSON, see docs/scene-format.md) holds the render settings,
 * the shader variables, textures, materials, geometry (inline, or from OBJ
 * and glTF files), lights, the environment, the camera and the
 * post-processing stages; a glTF 2.0 file (.gltf, .glb) is a scene file too.
 * One call creates a renderer instance of the library from it, ready to
 * launch; or the file is read and checked first, with no device touched, and
 * built later. Compiles as C99 and as C++. */
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
    int display;                       /* in: 1 the display stages run (levels, gamma, tone
                                          maps, overlays); 0 they do not: the image is linear
                                          radiance, as an EXR file wants */
    int camera_index;                  /* in: a glTF file's camera to look through; -1 the first */
} trevix7_scene_settings;

/* A scene read from its files, not yet built. */
typedef struct trevix7_scene trevix7_scene;

/* Fills `settings` with "take everything from the file" (display 1,
 * camera_index -1). */
TREVIX7_SCENE_API void SceneDefaultSettings(trevix7_scene_settings* settings);

/* Reads the scene file at `path` (relative files in it are found beside
 * it), creates an instance with READBACK_RGBA8 output, builds the scene in
 * it and makes its camera current. Gives the instance's handle, or 0 with
 * the reason in `error` (4096 bytes), having destroyed whatever it made.
 * The library's program files are looked up in the directory given to
 * ApiSetupLibraryDir, which the caller sets first. */
TREVIX7_SCENE_API unsigned int SceneLoadFile(const char* path, trevix7_scene_settings* settings,
                                             char* error);

/* Reads and checks the scene file at `path` with the settings' overrides,
 * touching no device: every error a file can hold is found here. Gives the
 * scene, or NULL with the reason in `error` (4096 bytes). `settings` gets
 * the size, frame count and denoiser; lines on standard error warn of what
 * the files hold that cannot be rendered. */
TREVIX7_SCENE_API trevix7_scene* SceneRead(const char* path, trevix7_scene_settings* settings,
                                           char* error);

/* Builds a scene read by SceneRead in a new instance, as SceneLoadFile does;
 * `settings` (may be NULL) gets the camera. */
TREVIX7_SCENE_API unsigned int SceneBuild(const trevix7_scene* scene,
                                          trevix7_scene_settings* settings, char* error);

/* Releases a scene read by SceneRead (NULL is fine). */
TREVIX7_SCENE_API void SceneFree(trevix7_scene* scene);

/* A count of what a scene holds, as a line such as "640 x 480, 64 frames, 12
 * geometries, 5 materials, 3 textures, 2 lights" (at most `size` bytes). */
TREVIX7_SCENE_API void SceneSummary(const trevix7_scene* scene, char* text, unsigned int size);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TREVIX7_SCENE_H */
