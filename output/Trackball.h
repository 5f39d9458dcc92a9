#pragma once
// The interactive manipulator of one camera: orbits the eye around the
// target (mode 1) or turns the target around the eye (mode 0) by mouse-style
// deltas, zooms by a fixed factor, moves and rolls. It writes the camera's
// eye, target and up; the renderer's updateCamera publishes them.

#include "Camera.h"

class Trackball {
public:
    // Not owned; the cameras live as long as the renderer.
    void setCamera(Camera* camera) { m_camera = camera; }
    Camera* camera() const { return m_camera; }
    void setMode(int mode) { m_mode = mode; }
    int mode() const { return m_mode; }
    void setSpeed(float speed) { m_speed = speed; }
    float speed() const { return m_speed; }
    float distance() const { return m_distance; }
    float latitude() const { return m_latitude; }   // radians
    float longitude() const { return m_longitude; } // radians

    // Stores the frame and takes latitude and longitude of the eye, seen from
    // the target, in it.
    void setReferenceFrame(const float3& u, const float3& v, const float3& w);
    // The frame of the camera's view: V points from the target to the eye,
    // W along the camera's up; both angles 0.
    void reinitOrientationFromCamera();
    // Places the eye (mode 1) or the target (mode 0) at the current angles.
    void updateCamera();
    // A drag: dy half-degrees of latitude, kept within +-89 degrees, and -dx
    // half-degrees of longitude. Without GLock the frame then follows the
    // view and the camera's up follows the rotation. Width and height are
    // accepted for the host's convenience and not used.
    void updateTracking(int dx, int dy, int width, int height);
    // direction > 0 brings the eye closer by the zoom factor, else moves it away.
    void zoom(int direction);
    bool wheelEvent(int delta);
    void moveForward(float s);
    void moveBackward(float s);
    void moveLeft(float s);
    void moveRight(float s);
    void moveUp(float s);
    void moveDown(float s);
    void rollLeft(float degrees);
    void rollRight(float degrees);

private:
    // Moves eye and target together by `d`.
    void shift(const float3& d);
    // The camera's normalised U or V axis.
    float3 cameraAxis(bool vertical) const;
    void roll(float angle);

    int m_mode = 1;
    Camera* m_camera = nullptr;
    float m_distance = 0.0f;
    float m_zoomFactor = 1.1f;
    float m_speed = 1.0f; // for the host's movement calls; no operation here reads it
    float m_spare = 0.5f; // reserved; no operation reads it
    float m_latitude = 0.0f;
    float m_longitude = 0.0f;
    float3 m_u = {};
    float3 m_v = {};
    float3 m_w = {};
};
