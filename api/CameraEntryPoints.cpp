// Entry points for cameras: set-up, the current camera, publication, the
// frame and lens setters, the getters and the trackball drags.

#include "trevix7.h"

#include "EntryPoint.h"
#include "core/PathTracer.h"

namespace {

// A camera change: the setter, then updateCamera() when the setter succeeded
// and `update` is set, whose result is then the result.
template <typename Set> bool cameraChange(unsigned handle, bool update, Set&& set)
{
    return nonCatching(handle, false,
                       [&](PathTracer& pt) { return set(pt) && (!update || pt.updateCamera()); });
}

// A vector getter: the output is written only when the camera exists.
bool cameraGetter(unsigned handle, unsigned camera, trevix7_float3* out, const char* argument,
                  bool (PathTracer::*get)(unsigned, float3*) const)
{
    return nonCatching(handle, false, [&](PathTracer& pt) {
        required(out, argument);
        float3 value;
        if (!(pt.*get)(camera, &value))
            return false;
        *out = {value.x, value.y, value.z};
        return true;
    });
}

} // namespace

extern "C" {

unsigned int ApiSetupCamera(unsigned int handle, const char* program, trevix7_float3 eye,
                            trevix7_float3 target, trevix7_float3 up, float fov, float rxy,
                            trevix7_float2 cxy, float aperture, float lens1, float focus,
                            float lens2, float lens3, float lens4, bool glock,
                            const unsigned int* textures, unsigned int textureCount)
{
    return nonCatching(handle, 0u, [&](PathTracer& pt) {
        return pt.setupCamera(requiredString(program, "program"), toNative(eye),
                              toNative(target), toNative(up), fov, rxy, toNative(cxy), aperture,
                              lens1, focus, lens2, lens3, lens4, glock,
                              toVector(textures, textureCount, "textures"));
    });
}

bool ApiSetCurrentCamera(unsigned int handle, unsigned int camera, char* error)
{
    return nonCatching(handle, error, false,
                       [&](PathTracer& pt) { return pt.setCurrentCamera(camera, error); });
}

bool ApiUpdateCamera(unsigned int handle)
{
    return nonCatching(handle, false, [](PathTracer& pt) { return pt.updateCamera(); });
}

bool ApiGetCameraGLock(unsigned int handle, unsigned int camera)
{
    return nonCatching(handle, false, [&](PathTracer& pt) { return pt.getCameraGLock(camera); });
}

bool ApiSetCameraGLock(unsigned int handle, unsigned int camera, bool glock)
{
    return nonCatching(handle, false,
                       [&](PathTracer& pt) { return pt.setCameraGLock(camera, glock); });
}

bool ApiGetCameraEye(unsigned int handle, unsigned int camera, trevix7_float3* eye)
{
    return cameraGetter(handle, camera, eye, "eye", &PathTracer::getCameraEye);
}

bool ApiGetCameraTarget(unsigned int handle, unsigned int camera, trevix7_float3* target)
{
    return cameraGetter(handle, camera, target, "target", &PathTracer::getCameraTarget);
}

bool ApiGetCameraUp(unsigned int handle, unsigned int camera, trevix7_float3* up)
{
    return cameraGetter(handle, camera, up, "up", &PathTracer::getCameraUp);
}

bool ApiSetCameraEye(unsigned int handle, unsigned int camera, trevix7_float3 eye, bool update)
{
    return cameraChange(handle, update,
                        [&](PathTracer& pt) { return pt.setCameraEye(camera, toNative(eye)); });
}

bool ApiSetCameraTarget(unsigned int handle, unsigned int camera, trevix7_float3 target,
                        bool update)
{
    return cameraChange(handle, update, [&](PathTracer& pt) {
        return pt.setCameraTarget(camera, toNative(target));
    });
}

bool ApiSetCameraUp(unsigned int handle, unsigned int camera, trevix7_float3 up, bool update)
{
    return cameraChange(handle, update,
                        [&](PathTracer& pt) { return pt.setCameraUp(camera, toNative(up)); });
}

bool ApiSetCameraFocus(unsigned int handle, unsigned int camera, float focus, bool update)
{
    return cameraChange(handle, update,
                        [&](PathTracer& pt) { return pt.setCameraFocus(camera, focus); });
}

bool ApiSetCameraFov(unsigned int handle, unsigned int camera, float fov, bool update)
{
    return cameraChange(handle, update,
                        [&](PathTracer& pt) { return pt.setCameraFov(camera, fov); });
}

bool ApiSetCameraRxy(unsigned int handle, unsigned int camera, float rxy, bool update)
{
    return cameraChange(handle, update,
                        [&](PathTracer& pt) { return pt.setCameraRxy(camera, rxy); });
}

bool ApiSetCameraAperture(unsigned int handle, unsigned int camera, float aperture, bool update)
{
    return cameraChange(handle, update,
                        [&](PathTracer& pt) { return pt.setCameraAperture(camera, aperture); });
}

bool ApiSetCameraCxy(unsigned int handle, unsigned int camera, trevix7_float2 cxy, bool update)
{
    return cameraChange(handle, update,
                        [&](PathTracer& pt) { return pt.setCameraCxy(camera, toNative(cxy)); });
}

bool ApiRotateCameraEye(unsigned int handle, unsigned int camera, float dx, float dy,
                        bool update)
{
    return cameraChange(handle, update,
                        [&](PathTracer& pt) { return pt.rotateCameraEye(camera, dx, dy); });
}

bool ApiRotateCameraTarget(unsigned int handle, unsigned int camera, float dx, float dy,
                           bool update)
{
    return cameraChange(handle, update,
                        [&](PathTracer& pt) { return pt.rotateCameraTarget(camera, dx, dy); });
}

} // extern "C"
