#pragma once
// An affine map of scene points, vectors and normals: from a scene file's
// "transform" (scale, then rotate, then translate; or a matrix), or from a
// glTF node's matrix; maps compose.

#include "SceneDescription.h"

namespace scene {

class Node;

struct Transform {
    float m[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    f3 t = {0, 0, 0};

    Transform() = default;
    // The "transform" key of `g`, when it has one.
    explicit Transform(const Node& g);
    // A 4 x 4 matrix in column order, as glTF writes it (its last row is 0 0 0 1).
    static Transform columns(const double* m16);

    // This after `first`: x -> this(first(x)).
    Transform after(const Transform& first) const;

    f3 point(f3 p) const;
    f3 vector(f3 v) const;
    // Normals take the inverse transpose (the cofactor matrix, up to a
    // positive scale: a mirror keeps them outside).
    f3 normal(f3 n) const;
    // A mirroring transform turns faces inside out unless their order turns too.
    bool mirrors() const;
    // How a radius scales: the cube root of the volume scale.
    float radiusScale() const;
};

} // namespace scene
