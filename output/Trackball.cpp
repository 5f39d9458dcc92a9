#include "Trackball.h"

#include "kernels/vector_math.h"

#include <algorithm>
#include <cmath>

void Trackball::setReferenceFrame(const float3& u, const float3& v, const float3& w)
{
    m_u = u;
    m_v = v;
    m_w = w;
    if (!m_camera)
        return;
    const float3 d = t7_scale(t7_normalize(t7_sub(m_camera->target, m_camera->eye)), -1.0f);
    m_longitude = std::atan2(t7_dot(d, m_u), t7_dot(d, m_v));
    m_latitude = std::asin(t7_dot(d, m_w));
}

void Trackball::reinitOrientationFromCamera()
{
    if (!m_camera)
        return;
    float3 U, V, W;
    m_camera->UVWFrame(U, V, W);
    m_u = t7_normalize(U);
    m_v = t7_scale(t7_normalize(W), -1.0f);
    m_w = t7_normalize(V);
    m_latitude = m_longitude = 0.0f;
    m_distance = t7_length(t7_sub(m_camera->target, m_camera->eye));
}

void Trackball::updateCamera()
{
    if (!m_camera)
        return;
    const double lat = m_latitude, lon = m_longitude;
    const float a = float(std::cos(lat) * std::sin(lon));
    const float b = float(std::cos(lat) * std::cos(lon));
    const float c = float(std::sin(lat));
    const float3 dir = t7_scale(
        t7_add(t7_add(t7_scale(m_u, a), t7_scale(m_v, b)), t7_scale(m_w, c)), m_distance);
    if (m_mode != 0)
        m_camera->eye = t7_add(m_camera->target, dir);
    else
        m_camera->target = t7_sub(m_camera->eye, dir);
}

void Trackball::updateTracking(int dx, int dy, int, int)
{
    if (!m_camera)
        return;
    const float latDeg =
        std::clamp(m_latitude * 0.31830987f * 180.0f + float(dy) * 0.5f, -89.0f, 89.0f);
    m_latitude = latDeg * 3.1415927f / 180.0f;
    // fmod keeps the sign: -10 degrees stays -10.
    const double longDeg = std::fmod(double(m_longitude) * 0.31830987 * 180.0 - dx * 0.5, 360.0);
    m_longitude = float(longDeg * 3.1415927 / 180.0);
    updateCamera();
    if (!m_camera->getGLock()) {
        reinitOrientationFromCamera();
        m_camera->up = m_w;
    }
}

void Trackball::zoom(int direction)
{
    if (!m_camera)
        return;
    const float f = direction > 0 ? 1.0f / m_zoomFactor : m_zoomFactor;
    m_distance *= f;
    m_camera->eye = t7_add(m_camera->target, t7_scale(t7_sub(m_camera->eye, m_camera->target), f));
}

bool Trackball::wheelEvent(int delta)
{
    zoom(delta);
    return true;
}

void Trackball::shift(const float3& d)
{
    m_camera->eye = t7_add(m_camera->eye, d);
    m_camera->target = t7_add(m_camera->target, d);
}

float3 Trackball::cameraAxis(bool vertical) const
{
    float3 U, V, W;
    m_camera->UVWFrame(U, V, W);
    return t7_normalize(vertical ? V : U);
}

void Trackball::moveForward(float s)
{
    if (m_camera)
        shift(t7_scale(t7_normalize(t7_sub(m_camera->target, m_camera->eye)), s));
}

void Trackball::moveBackward(float s) { moveForward(-s); }

void Trackball::moveRight(float s)
{
    if (m_camera)
        shift(t7_scale(cameraAxis(false), s));
}

void Trackball::moveLeft(float s) { moveRight(-s); }

void Trackball::moveUp(float s)
{
    if (m_camera)
        shift(t7_scale(cameraAxis(true), s));
}

void Trackball::moveDown(float s) { moveUp(-s); }

void Trackball::roll(float angle)
{
    if (!m_camera)
        return;
    const float3 u = cameraAxis(false), v = cameraAxis(true);
    m_camera->up = t7_add(t7_scale(v, std::sin(angle)), t7_scale(u, std::cos(angle)));
}

void Trackball::rollLeft(float degrees) { roll((degrees + 90.0f) * 3.1415927f / 180.0f); }

void Trackball::rollRight(float degrees) { roll((90.0f - degrees) * 3.1415927f / 180.0f); }
