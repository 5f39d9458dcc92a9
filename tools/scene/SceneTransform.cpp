#include "SceneTransform.h"

#include "SceneJson.h"

#include <cmath>
#include <cstring>

namespace scene {

namespace {

float determinant(const float m[3][3])
{
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
           m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

} // namespace

Transform::Transform(const Node& g)
{
    if (!g.has("transform"))
        return;
    const Node n = g["transform"];
    n.keys({"translate", "scale", "rotate", "matrix"});
    if (n.has("matrix")) {
        if (n.has("translate") || n.has("scale") || n.has("rotate"))
            n.fail("a matrix goes alone, without translate, scale or rotate");
        // Three or four rows of four numbers; the fourth, when given, is 0 0 0 1.
        const Node rows = n["matrix"];
        if (rows.size() != 3 && rows.size() != 4)
            rows.fail("expected 3 or 4 rows of 4 numbers");
        for (int i = 0; i < 3; ++i) {
            const std::vector<float> row = rows[size_t(i)].numbers(4);
            for (int j = 0; j < 3; ++j)
                m[i][j] = row[size_t(j)];
            (&t.x)[i] = row[3];
        }
        if (rows.size() == 4 && rows[3].numbers(4) != std::vector<float>{0, 0, 0, 1})
            rows[3].fail("the last row of an affine matrix is [0, 0, 0, 1]");
        if (determinant(m) == 0)
            rows.fail("the matrix is singular");
        return;
    }
    f3 s = {1, 1, 1};
    if (n.has("scale"))
        s = n["scale"].isNumber() ? f3{n["scale"].number(), n["scale"].number(), n["scale"].number()}
                                  : n["scale"].vec3();
    float r[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    if (n.has("rotate")) {
        const std::vector<float> a = n["rotate"].numbers(4);
        const float len = std::sqrt(a[1] * a[1] + a[2] * a[2] + a[3] * a[3]);
        if (len == 0)
            n["rotate"].fail("the rotation axis must not be zero");
        const float x = a[1] / len, y = a[2] / len, z = a[3] / len;
        const float c = std::cos(a[0] * float(M_PI) / 180), si = std::sin(a[0] * float(M_PI) / 180), k = 1 - c;
        const float rot[3][3] = {{c + x * x * k, x * y * k - z * si, x * z * k + y * si},
                                 {y * x * k + z * si, c + y * y * k, y * z * k - x * si},
                                 {z * x * k - y * si, z * y * k + x * si, c + z * z * k}};
        std::memcpy(r, rot, sizeof(r));
    }
    const float sv[3] = {s.x, s.y, s.z};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            m[i][j] = r[i][j] * sv[j];
    t = n.vec3("translate", {0, 0, 0});
}

Transform Transform::columns(const double* m16)
{
    Transform x;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j)
            x.m[i][j] = float(m16[j * 4 + i]);
        (&x.t.x)[i] = float(m16[12 + i]);
    }
    return x;
}

Transform Transform::after(const Transform& first) const
{
    Transform x;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            x.m[i][j] = m[i][0] * first.m[0][j] + m[i][1] * first.m[1][j] + m[i][2] * first.m[2][j];
    x.t = point(first.t);
    return x;
}

f3 Transform::vector(f3 v) const
{
    return {m[0][0] * v.x + m[0][1] * v.y + m[0][2] * v.z,
            m[1][0] * v.x + m[1][1] * v.y + m[1][2] * v.z,
            m[2][0] * v.x + m[2][1] * v.y + m[2][2] * v.z};
}

f3 Transform::point(f3 p) const
{
    const f3 v = vector(p);
    return {v.x + t.x, v.y + t.y, v.z + t.z};
}

f3 Transform::normal(f3 n) const
{
    // The cofactors are det M times the inverse transpose.
    const float s = determinant(m) < 0 ? -1.0f : 1.0f;
    auto c = [&](int i, int j) {
        const int i1 = (i + 1) % 3, i2 = (i + 2) % 3, j1 = (j + 1) % 3, j2 = (j + 2) % 3;
        return s * (m[i1][j1] * m[i2][j2] - m[i1][j2] * m[i2][j1]);
    };
    return {c(0, 0) * n.x + c(0, 1) * n.y + c(0, 2) * n.z,
            c(1, 0) * n.x + c(1, 1) * n.y + c(1, 2) * n.z,
            c(2, 0) * n.x + c(2, 1) * n.y + c(2, 2) * n.z};
}

bool Transform::mirrors() const
{
    return determinant(m) < 0;
}

float Transform::radiusScale() const
{
    return std::cbrt(std::fabs(determinant(m)));
}

} // namespace scene
