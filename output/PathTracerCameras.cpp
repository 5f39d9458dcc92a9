// The renderer's cameras: set-up, the current camera and its publication into
// the launch parameters of every device, the setters and getters, and the
// trackball drags.

#include "core/PathTracer.h"

#include "kernels/vector_math.h"

#include <cmath>

unsigned PathTracer::_cameraCount = 0;

namespace {

// -v / |v|.
float3 negatedUnit(const float3& v)
{
    const float len = t7_length(v);
    return make_float3(-v.x / len, -v.y / len, -v.z / len);
}

// Camera texture `slot` of the device: its id and sampler, 0 for an entry
// that is missing or 0.
void cameraTexture(const PathTracerState& state, const std::vector<unsigned>& ids, size_t slot,
                   unsigned& id, unsigned long long& sampler)
{
    id = slot < ids.size() ? ids[slot] : 0;
    sampler = id ? state.sampler(id, slot == 0 ? "Camera texture 0 not found."
                                               : "Camera texture 1 not found.")
                 : 0;
}

// Toward zero, as a drag in whole pixels; NaN gives 0 and the infinities
// the largest drag, so no host value has undefined behaviour.
int truncated(float v)
{
    if (std::isnan(v))
        return 0;
    constexpr float kLimit = 2147483520.0f; // the largest float below 2^31
    return int(std::fmax(-kLimit, std::fmin(kLimit, v)));
}

} // namespace

unsigned PathTracer::setupCamera(std::string name, const float3& eye, const float3& target,
                                 const float3& up, float fov, float rxy, const float2& cxy,
                                 float aperture, float lens1, float focus, float lens2,
                                 float lens3, float lens4, bool glock,
                                 const std::vector<unsigned int>& textures)
{
    const unsigned id = ++_cameraCount;
    Camera& camera = m_cameras[id];
    camera.name = std::move(name);
    camera.eye = eye;
    camera.target = target;
    camera.up = up;
    camera.fov = fov;
    camera.rxy = rxy;
    camera.cxy = cxy;
    camera.aspect = m_height ? float(m_width) / float(m_height) : 1.0f;
    camera.aperture = aperture;
    camera.lens1 = lens1;
    camera.focus = focus;
    camera.lens2 = lens2;
    camera.lens3 = lens3;
    camera.lens4 = lens4;
    camera.setGLock(glock);
    camera.textures = textures;
    return id;
}

Camera* PathTracer::findCamera(unsigned id)
{
    auto found = m_cameras.find(id);
    return found != m_cameras.end() ? &found->second : nullptr;
}

const Camera* PathTracer::findCamera(unsigned id) const
{
    return const_cast<PathTracer*>(this)->findCamera(id);
}

float PathTracer::cameraBlend() const
{
    const Camera* camera = findCamera(m_currentCamera);
    return camera ? camera->blend() : 1.0f;
}

void PathTracer::attachTrackball(Camera& camera)
{
    m_trackball.setCamera(&camera);
    m_trackball.reinitOrientationFromCamera();
}

bool PathTracer::setCurrentCamera(unsigned id, char* error)
{
    if (error)
        error[0] = '\0';
    Camera* camera = findCamera(id);
    if (!camera)
        return false;
    if (id == m_currentCamera)
        return true;
    const Camera* current = findCamera(m_currentCamera);
    // A new program means a new pipeline; the same one is kept. A name that
    // is no program reference changes no program (setCameraProgram says so
    // by its result), and the camera is switched all the same.
    if (!current || current->name != camera->name) {
        setCameraProgram(camera->name);
        m_pipeline_dirty = true;
    }
    m_currentCamera = id;
    attachTrackball(*camera);
    m_trackball.setSpeed(10.0f);
    updateCamera();
    return true;
}

bool PathTracer::updateCamera()
{
    Camera* camera = findCamera(m_currentCamera);
    if (!camera)
        return false;
    camera->aspect = float(m_width) / float(m_height);
    float3 U, V, W;
    camera->UVWFrame(U, V, W);
    const float3 nU = negatedUnit(U), nV = negatedUnit(V), nW = negatedUnit(W);
    // A texture that cannot be found ends the walk; the devices before it
    // keep what was written, so accumulation restarts first.
    m_accumFrames = 0;
    forEachState([&](PathTracerState& state) {
        Params& p = state.params;
        p.eye = camera->eye;
        p.U = U;
        p.V = V;
        p.W = W;
        p.nU = nU;
        p.nV = nV;
        p.nW = nW;
        p.fov = camera->fov * 3.1415927f / 180.0f;
        p.center = camera->cxy;
        p.lens1 = camera->lens1;
        p.aperture = camera->aperture;
        p.focus_distance = camera->focus;
        p.lens2 = camera->lens2;
        p.lens3 = camera->lens3;
        cameraTexture(state, camera->textures, 0, state.camera_texture0, p.camera_tex0);
        cameraTexture(state, camera->textures, 1, state.camera_texture1, p.camera_tex1);
    });
    return true;
}

template <typename Change> bool PathTracer::changeCamera(unsigned id, bool reframe, Change&& change)
{
    Camera* camera = findCamera(id);
    if (!camera)
        return false;
    change(*camera);
    if (reframe)
        attachTrackball(*camera);
    return true;
}

bool PathTracer::getCameraGLock(unsigned id) const
{
    const Camera* camera = findCamera(id);
    return camera && camera->getGLock();
}

bool PathTracer::setCameraGLock(unsigned id, bool glock)
{
    return changeCamera(id, false, [&](Camera& c) { c.setGLock(glock); });
}

// The getters copy one field out; an unknown id leaves the output untouched.
#define T7_CAMERA_GETTER(Name, field)                                                           \
    bool PathTracer::getCamera##Name(unsigned id, float3* out) const                           \
    {                                                                                           \
        const Camera* camera = findCamera(id);                                                  \
        if (!camera)                                                                            \
            return false;                                                                       \
        *out = camera->field;                                                                   \
        return true;                                                                            \
    }
T7_CAMERA_GETTER(Eye, eye)
T7_CAMERA_GETTER(Target, target)
T7_CAMERA_GETTER(Up, up)
#undef T7_CAMERA_GETTER

// The setters store one field; those of the frame re-base the trackball.
#define T7_CAMERA_SETTER(Name, Type, field, reframe)                                            \
    bool PathTracer::setCamera##Name(unsigned id, Type value)                                  \
    {                                                                                           \
        return changeCamera(id, reframe, [&](Camera& c) { c.field = value; });                 \
    }
T7_CAMERA_SETTER(Eye, const float3&, eye, true)
T7_CAMERA_SETTER(Target, const float3&, target, true)
T7_CAMERA_SETTER(Up, const float3&, up, true)
T7_CAMERA_SETTER(Fov, float, fov, true)
T7_CAMERA_SETTER(Rxy, float, rxy, true)
T7_CAMERA_SETTER(Cxy, const float2&, cxy, true)
T7_CAMERA_SETTER(Focus, float, focus, false)
T7_CAMERA_SETTER(Aperture, float, aperture, false)
#undef T7_CAMERA_SETTER

bool PathTracer::rotateCamera(unsigned id, int mode, float dx, float dy)
{
    if (!findCamera(id))
        return false;
    // The trackball stays on the camera it is attached to (the current one, or
    // the one whose frame was set last), so that drags accumulate and the
    // latitude limit holds for the whole rotation while GLock is set.
    m_trackball.setMode(mode);
    m_trackball.updateTracking(truncated(dx), truncated(dy), int(m_width), int(m_height));
    return true;
}

bool PathTracer::rotateCameraEye(unsigned id, float dx, float dy)
{
    return rotateCamera(id, 1, dx, dy);
}

bool PathTracer::rotateCameraTarget(unsigned id, float dx, float dy)
{
    return rotateCamera(id, 0, dx, dy);
}
