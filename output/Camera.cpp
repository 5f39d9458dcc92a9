#include "Camera.h"

#include "kernels/vector_math.h"

#include <cmath>

void Camera::UVWFrame(float3& U, float3& V, float3& W) const
{
    W = t7_sub(target, eye);
    const float wlen = t7_length(W);
    U = t7_normalize(t7_cross(W, up));
    V = t7_normalize(t7_cross(U, W));
    const float vlen = std::tan(fov * 0.5f * 3.1415927f / 180.0f) * wlen;
    V = t7_scale(V, vlen);
    const float ulen = vlen * aspect / rxy;
    U = t7_scale(U, ulen);
}
