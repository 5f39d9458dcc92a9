#pragma once
// Surface points of every geometry kind, from the slots of GeometryData, on
// the host as on the device: what the closest-hit program reconstructs after
// a hit, and the intersections that our intersection programs report.
// Instances carry the identity transform, so object space is world space.

#include "curves.h"
#include "intersect.h"
#include "sampling.h"
#include "scene/GeometryData.h"

struct T7Surface {
    float3 position;
    float3 normal;    // shading, unit, outward
    float3 geometric; // unit, outward
    float3 tangent;   // unit, along the texture's u where it has one
    float2 uv;
};

template <typename T> T7_HOST_DEVICE inline const T* t7_slot(const GeometryData& g, unsigned slot)
{
    return reinterpret_cast<const T*>(g.buffers[slot]);
}

T7_HOST_DEVICE inline float3 t7_lerp3(float3 a, float3 b, float3 c, float2 bary)
{
    return t7_add(t7_add(t7_scale(a, 1.0f - bary.x - bary.y), t7_scale(b, bary.x)),
                  t7_scale(c, bary.y));
}

// A tangent orthogonal to n: t projected, or any when t is along n.
T7_HOST_DEVICE inline float3 t7_tangent(float3 n, float3 t)
{
    const float3 p = t7_sub(t, t7_scale(n, t7_dot(n, t)));
    if (t7_dot(p, p) > 1e-12f)
        return t7_normalize(p);
    float3 a, b;
    t7_frame(n, a, b);
    return a;
}

// Triangle prim at barycentrics (weights of its second and third vertex):
// normals from slot 3 by the indices of slot 4 (or of the faces), texture
// coordinates from slot 5 by slot 6 (or the faces); without texture
// coordinates the barycentrics serve.
T7_HOST_DEVICE inline T7Surface t7_triangleSurface(const GeometryData& g, unsigned prim, float2 bary)
{
    const float3* v = t7_slot<float3>(g, geoBufVertices);
    const uint3 f = t7_slot<uint3>(g, geoBufIndices)[prim];
    const float3 e1 = t7_sub(v[f.y], v[f.x]), e2 = t7_sub(v[f.z], v[f.x]);
    T7Surface s;
    s.position = t7_lerp3(v[f.x], v[f.y], v[f.z], bary);
    s.geometric = t7_normalize(t7_cross(e1, e2));
    s.normal = s.geometric;
    if (const float3* n = t7_slot<float3>(g, geoBufNormals)) {
        const uint3* ni = t7_slot<uint3>(g, geoBufNormalIndices);
        const uint3 k = ni ? ni[prim] : f;
        const float3 m = t7_lerp3(n[k.x], n[k.y], n[k.z], bary);
        if (t7_dot(m, m) > 0.0f)
            s.normal = t7_normalize(m);
    }
    s.uv = bary;
    float3 dpdu = e1;
    if (const float2* uv = t7_slot<float2>(g, geoBufTexCoords)) {
        const uint3* ti = t7_slot<uint3>(g, geoBufTexCoordIndices);
        const uint3 k = ti ? ti[prim] : f;
        const float2 a = uv[k.x], b = uv[k.y], c = uv[k.z];
        s.uv = make_float2(a.x + (b.x - a.x) * bary.x + (c.x - a.x) * bary.y,
                           a.y + (b.y - a.y) * bary.x + (c.y - a.y) * bary.y);
        // dp/du from the two edges and their texture-coordinate deltas.
        const float du1 = b.x - a.x, dv1 = b.y - a.y, du2 = c.x - a.x, dv2 = c.y - a.y;
        const float det = du1 * dv2 - du2 * dv1;
        if (det != 0.0f)
            dpdu = t7_scale(t7_sub(t7_scale(e1, dv2), t7_scale(e2, dv1)), 1.0f / det);
    }
    s.tangent = t7_tangent(s.normal, dpdu);
    return s;
}

// Round curve segment prim (slot 2 gives its first control point in slot 0,
// radii in slot 4) at curve parameter u, for the point x on its surface.
T7_HOST_DEVICE inline T7Surface t7_curveSurface(const GeometryData& g, unsigned prim, float u,
                                                float3 x)
{
    const float3* v = t7_slot<float3>(g, geoBufVertices);
    const float* w = t7_slot<float>(g, geoBufNormalIndices);
    const unsigned first = t7_slot<unsigned>(g, geoBufIndices)[prim];
    float4 q[4];
    const unsigned n = t7_curvePoints(unsigned(g.type));
    for (unsigned k = 0; k < n; ++k)
        q[k] = make_float4(v[first + k].x, v[first + k].y, v[first + k].z, w ? w[first + k] : 0.0f);
    const float4 c = t7_curvePoint(unsigned(g.type), q, u);
    const float4 c1 = t7_curvePoint(unsigned(g.type), q, fminf(1.0f, u + 1e-3f));
    const float4 c0 = t7_curvePoint(unsigned(g.type), q, fmaxf(0.0f, u - 1e-3f));
    T7Surface s;
    s.position = x;
    s.normal = t7_normalize(t7_sub(x, make_float3(c.x, c.y, c.z)));
    s.geometric = s.normal;
    s.tangent = t7_tangent(s.normal, make_float3(c1.x - c0.x, c1.y - c0.y, c1.z - c0.z));
    s.uv = make_float2(u, 0.5f);
    return s;
}

// --- Custom primitives: what the intersection programs report ---

struct T7CustomHit {
    float t; // -1: none
    float3 normal; // unit, outward
    float2 uv;
    bool inside;   // the ray started inside (closed kinds)
};

T7_HOST_DEVICE inline T7CustomHit t7_noHit() { return {-1.0f, make_float3(0, 0, 0), make_float2(0, 0), false}; }

// Longitude and colatitude of a unit vector in the frame (a, b, a x b).
T7_HOST_DEVICE inline float2 t7_sphereUv(float3 n, float3 a, float3 b)
{
    const float3 c = t7_cross(a, b);
    const float z = fminf(1.0f, fmaxf(-1.0f, t7_dot(n, c)));
    return make_float2(0.5f + atan2f(t7_dot(n, b), t7_dot(n, a)) / (2.0f * kT7Pi),
                       acosf(z) / kT7Pi);
}

// A sphere of slot 0 / slot 4; textured particles take their frame from the
// unit axes of slots 2 and 3, the others the world axes (x, y, up z).
T7_HOST_DEVICE inline T7CustomHit t7_hitParticle(const GeometryData& g, unsigned prim, float3 o,
                                                 float3 d, float tmin)
{
    const float3 c = t7_slot<float3>(g, geoBufVertices)[prim];
    const float r = t7_slot<float>(g, geoBufNormalIndices)[prim];
    const float3 oc = t7_sub(o, c);
    const bool inside = t7_dot(oc, oc) < r * r;
    const float t = t7_hitSphere(o, d, c, r, tmin);
    if (t < 0.0f)
        return t7_noHit();
    const float3 n = t7_scale(t7_sub(t7_add(o, t7_scale(d, t)), c), 1.0f / r);
    const bool framed = g.type == geoParticleSetTex;
    const float3 a = framed ? t7_slot<float3>(g, geoBufIndices)[prim] : make_float3(1, 0, 0);
    const float3 b = framed ? t7_slot<float3>(g, geoBufNormals)[prim] : make_float3(0, 1, 0);
    return {t, n, t7_sphereUv(n, a, b), inside};
}

// Parallelogram corner (slot 0) + s a (slot 2) + t b (slot 3); (s, t) is the
// texture coordinate, a x b the outward side.
T7_HOST_DEVICE inline T7CustomHit t7_hitParallelogramPrim(const GeometryData& g, unsigned prim,
                                                          float3 o, float3 d, float tmin)
{
    const float3 p = t7_slot<float3>(g, geoBufVertices)[prim];
    const float3 a = t7_slot<float3>(g, geoBufIndices)[prim];
    const float3 b = t7_slot<float3>(g, geoBufNormals)[prim];
    const float t = t7_hitParallelogram(o, d, p, a, b, tmin);
    if (t < 0.0f)
        return t7_noHit();
    const float3 n = t7_cross(a, b);
    const float3 q = t7_sub(t7_add(o, t7_scale(d, t)), p);
    const float nn = t7_dot(n, n);
    return {t, t7_normalize(n),
            make_float2(t7_dot(t7_cross(q, b), n) / nn, t7_dot(t7_cross(a, q), n) / nn), false};
}

// Parallelepiped corner (slot 0) and edges (slots 2, 3, 4); the texture
// coordinate is the position within the face reached, along its two edges.
T7_HOST_DEVICE inline T7CustomHit t7_hitParallelepipedPrim(const GeometryData& g, unsigned prim,
                                                           float3 o, float3 d, float tmin)
{
    const float3 p = t7_slot<float3>(g, geoBufVertices)[prim];
    const float3 e[3] = {t7_slot<float3>(g, geoBufIndices)[prim],
                         t7_slot<float3>(g, geoBufNormals)[prim],
                         t7_slot<float3>(g, geoBufNormalIndices)[prim]};
    float3 n;
    const float t = t7_hitParallelepiped(o, d, p, e[0], e[1], e[2], tmin, n);
    if (t < 0.0f)
        return t7_noHit();
    // The coordinates along the edges of the point (the face is where one
    // is 0 or 1) and of the origin (inside when all are within (0, 1)).
    const float3 q = t7_sub(t7_add(o, t7_scale(d, t)), p), po = t7_sub(o, p);
    float c[3];
    int face = 0;
    bool inside = true;
    for (int k = 0; k < 3; ++k) {
        const float3 m = t7_cross(e[(k + 1) % 3], e[(k + 2) % 3]);
        const float height = t7_dot(m, e[k]), start = t7_dot(m, po) / height;
        c[k] = t7_dot(m, q) / height;
        if (fabsf(c[k] - 0.5f) > fabsf(c[face] - 0.5f))
            face = k;
        inside = inside && start > 0.0f && start < 1.0f;
    }
    return {t, n, make_float2(c[(face + 1) % 3], c[(face + 2) % 3]), inside};
}

// Bezier segment: control points in slots 0, 3, 5 and 6, the radii at its
// two ends in slot 4 (float2). The texture coordinate is (curve parameter,
// angle around the tube / 2 pi).
T7_HOST_DEVICE inline T7CustomHit t7_hitBezierPrim(const GeometryData& g, unsigned prim, float3 o,
                                                   float3 d, float tmin)
{
    const float3 p[4] = {t7_slot<float3>(g, geoBufVertices)[prim],
                         t7_slot<float3>(g, geoBufNormals)[prim],
                         t7_slot<float3>(g, geoBufTexCoords)[prim],
                         t7_slot<float3>(g, geoBufTexCoordIndices)[prim]};
    const float2 r = t7_slot<float2>(g, geoBufNormalIndices)[prim];
    const T7TubeHit h = t7_hitBezier(o, d, p, r.x, r.y, tmin);
    if (h.t < 0.0f)
        return t7_noHit();
    float3 a, b;
    t7_frame(t7_normalize(t7_sub(p[3], p[0])), a, b);
    return {h.t, h.normal,
            make_float2(h.u, 0.5f + atan2f(t7_dot(h.normal, b), t7_dot(h.normal, a)) / (2.0f * kT7Pi)),
            h.inside};
}

// What a reported custom hit becomes.
T7_HOST_DEVICE inline T7Surface t7_customSurface(float3 x, float3 normal, float2 uv)
{
    T7Surface s;
    s.position = x;
    s.normal = normal;
    s.geometric = normal;
    float3 a, b;
    t7_frame(normal, a, b);
    s.tangent = a;
    s.uv = uv;
    return s;
}

// --- Texture-driven changes of the shading normal ---

// A tangent-space normal-map texel (rgb in [0, 1]), its tilt scaled by strength.
T7_HOST_DEVICE inline void t7_applyNormalMap(T7Surface& s, float3 texel, float strength)
{
    const float3 b = t7_cross(s.normal, s.tangent);
    const float x = (2.0f * texel.x - 1.0f) * strength, y = (2.0f * texel.y - 1.0f) * strength;
    const float z = fmaxf(2.0f * texel.z - 1.0f, 1e-3f);
    s.normal = t7_normalize(t7_add(t7_add(t7_scale(s.tangent, x), t7_scale(b, y)),
                                   t7_scale(s.normal, z)));
    s.tangent = t7_tangent(s.normal, s.tangent);
}

// A bump map: heights at the point and one texel on along u and along v.
T7_HOST_DEVICE inline void t7_applyBump(T7Surface& s, float h, float hu, float hv, float strength)
{
    const float3 b = t7_cross(s.normal, s.tangent);
    s.normal = t7_normalize(t7_sub(s.normal, t7_add(t7_scale(s.tangent, (hu - h) * strength),
                                                    t7_scale(b, (hv - h) * strength))));
    s.tangent = t7_tangent(s.normal, s.tangent);
}

// The texture of an array of count picked by the integer part of u, and the
// coordinate within it.
T7_HOST_DEVICE inline unsigned t7_textureIndex(float2& uv, unsigned count)
{
    const float whole = floorf(uv.x);
    uv.x -= whole;
    const float k = fminf(fmaxf(whole, 0.0f), float(count > 0 ? count - 1 : 0));
    return unsigned(k);
}
