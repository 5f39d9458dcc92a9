// Boxes of custom primitives: the per-element arithmetic shared with the CUDA
// kernels, the launchers of the simulated device that loop over it, and the
// launch shape. Inputs are chosen so that every corner or control point owns at
// least one face of the box: a dropped, duplicated or swapped input moves a face.

#include "core/optix7.h"
#include "kernels/preprocessing_kernels.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

namespace {

static_assert(sizeof(CudaAabb) == sizeof(OptixAabb), "");
static_assert(offsetof(CudaAabb, minX) == offsetof(OptixAabb, minX), "");
static_assert(offsetof(CudaAabb, minZ) == offsetof(OptixAabb, minZ), "");
static_assert(offsetof(CudaAabb, maxX) == offsetof(OptixAabb, maxX), "");
static_assert(offsetof(CudaAabb, maxZ) == offsetof(OptixAabb, maxZ), "");

using Box = std::array<float, 6>; // min x, y, z, max x, y, z

Box faces(const CudaAabb& b)
{
    return {b.minX, b.minY, b.minZ, b.maxX, b.maxY, b.maxZ};
}

float3 f3(float x, float y, float z)
{
    return make_float3(x, y, z);
}

void expectUnit(float3 v, float x, float y, float z)
{
    EXPECT_FLOAT_EQ(v.x, x);
    EXPECT_FLOAT_EQ(v.y, y);
    EXPECT_FLOAT_EQ(v.z, z);
}

bool finite(float3 v)
{
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

// A box the launchers must not touch.
const CudaAabb kUntouched{-7, -7, -7, 7, 7, 7};

TEST(PreprocessingLaunchShape, BlockIsSmallestPowerOfTwoNotBelowCountUpTo256)
{
    const std::vector<std::pair<unsigned, unsigned>> cases = {
        {0, 1}, {1, 1}, {2, 2}, {3, 4}, {5, 8}, {255, 256}, {256, 256}, {257, 256}, {1000, 256},
        {0xffffffffu, 256}};
    for (auto [n, block] : cases)
        EXPECT_EQ(get_block_size(n), block) << "n = " << n;
}

TEST(PreprocessingLaunchShape, GridCoversEveryPrimitiveOnce)
{
    EXPECT_EQ(get_grid_size(0, 1), 0u);
    EXPECT_EQ(get_grid_size(3, 4), 1u);
    EXPECT_EQ(get_grid_size(256, 256), 1u);
    EXPECT_EQ(get_grid_size(257, 256), 2u);
    EXPECT_EQ(get_grid_size(1000, 256), 4u);
    EXPECT_EQ(get_grid_size(0xffffffffu, 256), 0x1000000u);
}

TEST(PreprocessingParticleSet, BoxIsCentrePlusMinusRadius)
{
    EXPECT_EQ(faces(sphereBox(f3(1, -2, 3), 0.5f)), (Box{0.5f, -2.5f, 2.5f, 1.5f, -1.5f, 3.5f}));

    const std::vector<float3> centres = {f3(0, 0, 0), f3(10, 20, -30), f3(1, 1, 1)};
    const std::vector<float> radii = {1, 2.5f, 4};
    std::vector<CudaAabb> aabb(3, kUntouched);
    preprocessingParticleSet(2, nullptr, aabb.data(), centres.data(), radii.data());
    EXPECT_EQ(faces(aabb[0]), (Box{-1, -1, -1, 1, 1, 1}));
    EXPECT_EQ(faces(aabb[1]), (Box{7.5f, 17.5f, -32.5f, 12.5f, 22.5f, -27.5f}));
    EXPECT_EQ(faces(aabb[2]), faces(kUntouched)) << "only the first n boxes are written";
}

TEST(PreprocessingParticleSetTex, AxesAreNormalisedAndOrthogonalisedInPlace)
{
    float3 a = f3(2, 0, 0);
    float3 b = f3(1, 1, 0);
    normaliseAxes(a, b);
    expectUnit(a, 1, 0, 0);
    expectUnit(b, 0, 1, 0);

    // Second primitive: b has a component along a that must be removed before scaling.
    std::vector<float3> centres = {f3(1, 2, 3), f3(-4, 0, 4)};
    std::vector<float3> axisA = {f3(2, 0, 0), f3(0, 0, -3)};
    std::vector<float3> axisB = {f3(1, 1, 0), f3(0, 5, 5)};
    std::vector<float> radii = {0.5f, 2};
    std::vector<CudaAabb> aabb(2, kUntouched);
    preprocessingParticleSetTex(2, nullptr, aabb.data(), centres.data(), axisA.data(),
                                axisB.data(), radii.data());
    expectUnit(axisA[0], 1, 0, 0);
    expectUnit(axisB[0], 0, 1, 0);
    expectUnit(axisA[1], 0, 0, -1);
    expectUnit(axisB[1], 0, 1, 0);
    EXPECT_EQ(faces(aabb[0]), (Box{0.5f, 1.5f, 2.5f, 1.5f, 2.5f, 3.5f}));
    EXPECT_EQ(faces(aabb[1]), (Box{-6, -2, 2, -2, 2, 6}));

    // The centres and radii are inputs only.
    EXPECT_EQ(centres[1].x, -4.0f);
    EXPECT_EQ(radii[1], 2.0f);
}

TEST(PreprocessingParticleSetTex, DegenerateAxesBecomeNonFiniteWithoutGuard)
{
    std::vector<float3> centres = {f3(0, 0, 0), f3(0, 0, 0)};
    std::vector<float3> axisA = {f3(0, 0, 0), f3(1, 0, 0)};
    std::vector<float3> axisB = {f3(0, 1, 0), f3(-3, 0, 0)}; // second: b parallel to a
    std::vector<float> radii = {1, 1};
    std::vector<CudaAabb> aabb(2, kUntouched);
    preprocessingParticleSetTex(2, nullptr, aabb.data(), centres.data(), axisA.data(),
                                axisB.data(), radii.data());
    EXPECT_FALSE(finite(axisA[0]));
    EXPECT_FALSE(finite(axisB[0]));
    expectUnit(axisA[1], 1, 0, 0);
    EXPECT_FALSE(finite(axisB[1]));
    // The box is taken from centre and radius alone.
    EXPECT_EQ(faces(aabb[0]), (Box{-1, -1, -1, 1, 1, 1}));
}

TEST(PreprocessingBezier, BoxOfControlPointsGrownByLargerRadiusClampedAtZero)
{
    // Each control point owns a face: p0 min x, p1 max y, p2 min z, p3 min y, max x, max z.
    const float3 p0 = f3(-1, 0, 0), p1 = f3(0, 4, 1), p2 = f3(1, 2, -3), p3 = f3(5, -2, 2);
    const Box points = {-1, -2, -3, 5, 4, 2};

    EXPECT_EQ(faces(bezierBox(p0, p1, p2, p3, make_float2(-1, -2))), points);
    EXPECT_EQ(faces(bezierBox(p0, p1, p2, p3, make_float2(0.5f, 2))),
              (Box{-3, -4, -5, 7, 6, 4}));
    EXPECT_EQ(faces(bezierBox(p0, p1, p2, p3, make_float2(3, -1))), (Box{-4, -5, -6, 8, 7, 5}));

    // Through the launcher, with the points in the slot order 0, 3, 5, 6 of the radii's slot 4.
    const std::vector<float2> radii = {make_float2(-1, -2), make_float2(1, 0)};
    const std::vector<float3> s0 = {p0, f3(0, 0, 0)}, s3 = {p1, f3(0, 0, 0)},
                              s5 = {p2, f3(0, 0, 0)}, s6 = {p3, f3(2, -1, 3)};
    std::vector<CudaAabb> aabb(3, kUntouched);
    preprocessingBezier(2, nullptr, aabb.data(), radii.data(), s0.data(), s3.data(), s5.data(),
                        s6.data());
    EXPECT_EQ(faces(aabb[0]), points);
    EXPECT_EQ(faces(aabb[1]), (Box{-1, -2, -1, 3, 1, 4}));
    EXPECT_EQ(faces(aabb[2]), faces(kUntouched));
}

TEST(PreprocessingParallelograms, BoxOverTheFourCorners)
{
    // Corners p (1,1,1), p+a (-1,4,2), p+b (0,-3,3), p+a+b (-2,0,4): each owns a face.
    const float3 p = f3(1, 1, 1), a = f3(-2, 3, 1), b = f3(-1, -4, 2);
    const Box expected = {-2, -3, 1, 1, 4, 4};
    EXPECT_EQ(faces(parallelogramBox(p, a, b)), expected);

    const std::vector<float3> corner = {p, f3(0, 0, 0)}, edgeA = {a, f3(1, 0, 0)},
                              edgeB = {b, f3(0, 0, -1)};
    std::vector<CudaAabb> aabb(2, kUntouched);
    preprocessingParallelograms(2, nullptr, aabb.data(), corner.data(), edgeA.data(), edgeB.data());
    EXPECT_EQ(faces(aabb[0]), expected);
    EXPECT_EQ(faces(aabb[1]), (Box{0, 0, -1, 1, 0, 0})) << "a flat parallelogram keeps zero extent";
}

TEST(PreprocessingParallelepipeds, BoxOverTheEightCorners)
{
    // x: all edges positive, so p + a + b + c alone gives max x; z: all negative, so it alone
    // gives min z; y: max from p + a + c, min from p + b.
    const float3 p = f3(10, 20, 30), a = f3(1, 2, -1), b = f3(2, -1, -2), c = f3(3, 1, -3);
    const Box expected = {10, 19, 24, 16, 23, 30};
    EXPECT_EQ(faces(parallelepipedBox(p, a, b, c)), expected);

    // Each edge alone along its own axis: a dropped edge collapses one extent.
    const std::vector<float3> corner = {p, f3(0, 0, 0)}, edgeA = {a, f3(-1, 0, 0)},
                              edgeB = {b, f3(0, 2, 0)}, edgeC = {c, f3(0, 0, 3)};
    std::vector<CudaAabb> aabb(3, kUntouched);
    preprocessingParallelepipeds(2, nullptr, aabb.data(), corner.data(), edgeA.data(),
                                 edgeB.data(), edgeC.data());
    EXPECT_EQ(faces(aabb[0]), expected);
    EXPECT_EQ(faces(aabb[1]), (Box{-1, 0, 0, 0, 2, 3}));
    EXPECT_EQ(faces(aabb[2]), faces(kUntouched));
}

TEST(PreprocessingLaunchers, NoPrimitivesWriteNothing)
{
    CudaAabb box = kUntouched;
    float3 v = f3(0, 0, 0);
    float r = 1;
    float2 r2 = make_float2(1, 1);
    preprocessingParticleSet(0, nullptr, &box, &v, &r);
    preprocessingParticleSetTex(0, nullptr, &box, &v, &v, &v, &r);
    preprocessingBezier(0, nullptr, &box, &r2, &v, &v, &v, &v);
    preprocessingParallelograms(0, nullptr, &box, &v, &v, &v);
    preprocessingParallelepipeds(0, nullptr, &box, &v, &v, &v, &v);
    EXPECT_EQ(faces(box), faces(kUntouched));
    EXPECT_EQ(v.x, 0.0f) << "no axis normalised";
}

} // namespace
