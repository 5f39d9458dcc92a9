#pragma once
// A named look-at camera: the frame, field of view and lens values that the
// current camera publishes into every device's launch parameters, and the
// name of its ray-generation program.

#include <vector_types.h>

#include <string>
#include <vector>

class Camera {
public:
    std::string name; // "file::function" of the camera program
    float3 eye;
    float3 target;
    float3 up;
    float fov; // full vertical field of view, degrees
    float rxy; // divides the horizontal extent
    float2 cxy;
    float aspect; // output width / height, refreshed at every update
    float aperture;
    float lens1;
    float focus;
    float lens2;
    float lens3;
    // Not forwarded to the device programs: the launch's blend value (see blend()).
    float lens4;

    bool glock = false; // the trackball keeps up fixed while set; use the accessors
    std::vector<unsigned> textures; // texture ids; entries 0 and 1 are used

    bool getGLock() const { return glock; }
    void setGLock(bool on) { glock = on; }

    // U, V, W of the pinhole frame: W = target - eye (not normalised), V
    // scaled to the half height at distance |W|, U to the half width. A zero
    // view or an up parallel to it gives NaN axes; rxy 0 an infinite U.
    void UVWFrame(float3& U, float3& V, float3& W) const;

    // Weight of a new batch in the accumulated image. Lens value 4 inside
    // (0, 1) gives a running blend that favours recent batches (smooth motion
    // while the camera moves); anything else, 0 and 1 included, gives 1.0:
    // the exact mean of all passes since accumulation restarted.
    float blend() const { return lens4 > 0.0f && lens4 < 1.0f ? lens4 : 1.0f; }
};
