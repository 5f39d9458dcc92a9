#pragma once
// Curves for the project's device programs, on the host as on the device:
// the axis of the four round-curve kinds (for the shading normal after the
// built-in intersection), and the swept-sphere tube of a cubic Bezier
// segment with linearly varying radius (our own intersection).

#include "kernels/vector_math.h"

#include <cmath>

// Control points per segment of a round curve kind (geoPrimirivesType 11-15).
T7_HOST_DEVICE inline unsigned t7_curvePoints(unsigned type)
{
    return type == 12 ? 3u : (type == 13 || type == 15 ? 4u : 2u);
}

// The weights of the control points at parameter u in [0, 1]: linear,
// uniform quadratic and cubic B-spline, Catmull-Rom.
T7_HOST_DEVICE inline void t7_curveWeights(unsigned type, float u, float w[4])
{
    const float v = 1.0f - u, u2 = u * u, u3 = u2 * u;
    if (type == 12) {
        w[0] = 0.5f * v * v;
        w[1] = 0.5f * (-2.0f * u2 + 2.0f * u + 1.0f);
        w[2] = 0.5f * u2;
        w[3] = 0.0f;
    } else if (type == 13) {
        w[0] = v * v * v / 6.0f;
        w[1] = (3.0f * u3 - 6.0f * u2 + 4.0f) / 6.0f;
        w[2] = (-3.0f * u3 + 3.0f * u2 + 3.0f * u + 1.0f) / 6.0f;
        w[3] = u3 / 6.0f;
    } else if (type == 15) {
        w[0] = 0.5f * (-u3 + 2.0f * u2 - u);
        w[1] = 0.5f * (3.0f * u3 - 5.0f * u2 + 2.0f);
        w[2] = 0.5f * (-3.0f * u3 + 4.0f * u2 + u);
        w[3] = 0.5f * (u3 - u2);
    } else {
        w[0] = v;
        w[1] = u;
        w[2] = w[3] = 0.0f;
    }
}

// The axis point (xyz) and radius (w) at u of the segment whose control
// points and radii are q[0 .. t7_curvePoints(type) - 1].
T7_HOST_DEVICE inline float4 t7_curvePoint(unsigned type, const float4* q, float u)
{
    float w[4];
    t7_curveWeights(type, u, w);
    float4 p = make_float4(0, 0, 0, 0);
    for (unsigned k = 0; k < t7_curvePoints(type); ++k)
        p = make_float4(p.x + w[k] * q[k].x, p.y + w[k] * q[k].y, p.z + w[k] * q[k].z,
                        p.w + w[k] * q[k].w);
    return p;
}

T7_HOST_DEVICE inline float3 t7_bezierPoint(const float3 p[4], float t)
{
    const float s = 1.0f - t;
    return t7_add(t7_add(t7_scale(p[0], s * s * s), t7_scale(p[1], 3.0f * s * s * t)),
                  t7_add(t7_scale(p[2], 3.0f * s * t * t), t7_scale(p[3], t * t * t)));
}

// Where a ray o + t d (d not zero) meets a round cone: the union of the
// spheres centred along a -> b with radii from ra to rb (their convex hull).
// The interval [entry, exit], or entry > exit when the ray misses; s gives
// the position along a -> b (0 .. 1) of the sphere touched at each end.
struct T7Interval {
    float entry, exit;
    float sEntry, sExit;
};

T7_HOST_DEVICE inline void t7_widen(T7Interval& r, float t, float s)
{
    if (t < r.entry) {
        r.entry = t;
        r.sEntry = s;
    }
    if (t > r.exit) {
        r.exit = t;
        r.sExit = s;
    }
}

// Both crossings of the sphere (c, r).
T7_HOST_DEVICE inline void t7_sphereCrossings(T7Interval& r, float3 o, float3 d, float3 c,
                                              float radius, float s)
{
    const float3 oc = t7_sub(o, c);
    const float a = t7_dot(d, d), b = t7_dot(oc, d), k = t7_dot(oc, oc) - radius * radius;
    const float disc = b * b - a * k;
    if (disc < 0.0f || radius <= 0.0f)
        return;
    const float q = sqrtf(disc);
    t7_widen(r, (-b - q) / a, s);
    t7_widen(r, (-b + q) / a, s);
}

T7_HOST_DEVICE inline T7Interval t7_hitRoundCone(float3 o, float3 d, float3 a, float ra, float3 b,
                                                 float rb)
{
    T7Interval r = {1e30f, -1e30f, 0.0f, 0.0f};
    t7_sphereCrossings(r, o, d, a, ra, 0.0f);
    t7_sphereCrossings(r, o, d, b, rb, 1.0f);
    // The side: points where a sphere of the family touches the envelope,
    // (x - c(s)) . (b - a) = -r(s) (rb - ra), which makes s linear in t.
    const float3 ba = t7_sub(b, a);
    const float dr = rb - ra, m = t7_dot(ba, ba) - dr * dr;
    if (m <= 0.0f)
        return r; // one sphere holds the other
    const float3 oa = t7_sub(o, a);
    const float s0 = (t7_dot(oa, ba) + ra * dr) / m, s1 = t7_dot(d, ba) / m;
    const float3 P = t7_sub(oa, t7_scale(ba, s0)), Q = t7_sub(d, t7_scale(ba, s1));
    const float R0 = ra + s0 * dr, R1 = s1 * dr;
    const float A = t7_dot(Q, Q) - R1 * R1, B = t7_dot(P, Q) - R0 * R1, C = t7_dot(P, P) - R0 * R0;
    float t[2];
    int n = 0;
    if (fabsf(A) < 1e-12f * t7_dot(d, d)) {
        if (B != 0.0f)
            t[n++] = -C / (2.0f * B);
    } else {
        const float disc = B * B - A * C;
        if (disc >= 0.0f) {
            const float q = sqrtf(disc);
            t[n++] = (-B - q) / A;
            t[n++] = (-B + q) / A;
        }
    }
    for (int k = 0; k < n; ++k) {
        const float s = s0 + t[k] * s1;
        if (s >= 0.0f && s <= 1.0f && R0 + t[k] * R1 > 0.0f)
            t7_widen(r, t[k], s);
    }
    return r;
}

// --- The cubic Bezier tube ---
// The tube is followed by a chain of round cones close enough to the curve
// that it never strays by more than a twentieth of the thinner radius (with
// at most kT7BezierPieces pieces): a chain cannot miss a thin, strongly
// curved segment the way a root search along the curve can.

constexpr int kT7BezierPieces = 64;

// Pieces for a chord error of at most tol: |B''| <= 6 max |p_k - 2 p_k+1 +
// p_k+2|, and a chord of parameter length h strays by h^2 |B''| / 8.
T7_HOST_DEVICE inline int t7_bezierPieces(const float3 p[4], float r0, float r1)
{
    const float3 d0 = t7_add(t7_sub(p[0], t7_scale(p[1], 2.0f)), p[2]);
    const float3 d1 = t7_add(t7_sub(p[1], t7_scale(p[2], 2.0f)), p[3]);
    const float bend = 6.0f * fmaxf(t7_length(d0), t7_length(d1));
    const float tol = 0.05f * fmaxf(fminf(r0, r1), 1e-6f);
    const float n = ceilf(sqrtf(bend / (8.0f * tol)));
    return n < 1.0f ? 1 : (n > float(kT7BezierPieces) ? kT7BezierPieces : int(n));
}

struct T7TubeHit {
    float t;      // -1 for none
    float u;      // curve parameter of the sphere touched
    float3 normal; // unit, outward
    bool inside;  // the ray started inside the tube
};

// Piece k of n: the round cone between the curve points at k / n and (k + 1) / n.
T7_HOST_DEVICE inline T7Interval t7_bezierPiece(float3 o, float3 d, const float3 p[4], float r0,
                                                float r1, int k, int n, float3& a, float3& b)
{
    a = t7_bezierPoint(p, float(k) / float(n));
    b = t7_bezierPoint(p, float(k + 1) / float(n));
    const float ra = r0 + (r1 - r0) * float(k) / float(n);
    const float rb = r0 + (r1 - r0) * float(k + 1) / float(n);
    return t7_hitRoundCone(o, d, a, fmaxf(ra, 0.0f), b, fmaxf(rb, 0.0f));
}

// The first crossing of the tube's surface after tmin: the entry, or from
// inside the exit of the union of the pieces (found by walking from piece to
// overlapping piece; pieces are recomputed rather than kept, since rays
// rarely start inside).
T7_HOST_DEVICE inline T7TubeHit t7_hitBezier(float3 o, float3 d, const float3 p[4], float r0,
                                             float r1, float tmin)
{
    const int n = t7_bezierPieces(p, fmaxf(r0, 0.0f), fmaxf(r1, 0.0f));
    float3 a, b, axisA = p[0], axisB = p[0];
    int at = -1;
    float t = 1e30f, s = 0.0f;
    bool inside = false;
    for (int k = 0; k < n; ++k) {
        const T7Interval piece = t7_bezierPiece(o, d, p, r0, r1, k, n, a, b);
        if (piece.entry > piece.exit)
            continue;
        inside = inside || (piece.entry <= tmin && piece.exit > tmin);
        if (piece.entry > tmin && piece.entry < t) {
            t = piece.entry;
            s = piece.sEntry;
            at = k;
            axisA = a;
            axisB = b;
        }
    }
    if (inside) {
        t = tmin;
        for (bool moved = true; moved;) {
            moved = false;
            for (int k = 0; k < n; ++k) {
                const T7Interval piece = t7_bezierPiece(o, d, p, r0, r1, k, n, a, b);
                if (piece.entry <= t && piece.exit > t) {
                    t = piece.exit;
                    s = piece.sExit;
                    at = k;
                    axisA = a;
                    axisB = b;
                    moved = true;
                }
            }
        }
    }
    T7TubeHit hit = {-1.0f, 0.0f, make_float3(0, 0, 0), inside};
    if (at < 0)
        return hit;
    hit.t = t;
    hit.u = (float(at) + s) / float(n);
    const float3 axis = t7_add(axisA, t7_scale(t7_sub(axisB, axisA), s));
    hit.normal = t7_normalize(t7_sub(t7_add(o, t7_scale(d, t)), axis));
    return hit;
}
