// Boxes of custom primitives: the per-element arithmetic shared with the CUDA
// kernels, the simulated device's launchers expanded from the same list, and
// the launch shape. Every corner or control point owns at least one face of
// its box, so a dropped, duplicated or swapped input moves a face.

#include "core/optix7.h"
#include "kernels/preprocessing_kernels.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

namespace {

static_assert(sizeof(CudaAabb) == sizeof(OptixAabb) &&
                  offsetof(CudaAabb, minZ) == offsetof(OptixAabb, minZ) &&
                  offsetof(CudaAabb, maxX) == offsetof(OptixAabb, maxX),
              "CudaAabb is laid out as OptixAabb");

using Box = std::array<float, 6>; // min x, y, z, max x, y, z

Box faces(const CudaAabb& b) { return {b.minX, b.minY, b.minZ, b.maxX, b.maxY, b.maxZ}; }
float3 f3(float x, float y, float z) { return make_float3(x, y, z); }

// A box the launchers must not touch.
const CudaAabb kUntouched{-7, -7, -7, 7, 7, 7};

TEST(PreprocessingLaunchShape, BlocksAndGrid)
{
    // 0 wraps round to the largest block; 300 is capped.
    const std::pair<long long, unsigned> blocks[] = {{0, 256},   {1, 1},     {2, 2},
                                                     {3, 4},     {5, 8},     {255, 256},
                                                     {256, 256}, {300, 256}, {0xffffffffll, 256}};
    for (auto [n, block] : blocks)
        EXPECT_EQ(get_readback_block_size(n), block) << "n = " << n;
    EXPECT_TRUE(get_grid_size(0, 1) == 0u && get_grid_size(3, 4) == 1u &&
                get_grid_size(257, 256) == 2u);
    EXPECT_EQ(get_grid_size(0xffffffffu, 256), 0x1000000u) << "no wrap near 2^32";
}

TEST(PreprocessingParticleSet, BoxIsCentrePlusMinusRadiusForTheFirstNOnly)
{
    const std::vector<float3> centres = {f3(1, -2, 3), f3(10, 20, -30)};
    const std::vector<float> radii = {0.5f, 2.5f};
    std::vector<CudaAabb> aabb(3, kUntouched);
    preprocessingParticleSet(2, nullptr, aabb.data(), centres.data(), radii.data());
    EXPECT_EQ(faces(aabb[0]), (Box{0.5f, -2.5f, 2.5f, 1.5f, -1.5f, 3.5f}));
    EXPECT_EQ(faces(aabb[1]), (Box{7.5f, 17.5f, -32.5f, 12.5f, 22.5f, -27.5f}));
    EXPECT_EQ(faces(aabb[2]), faces(kUntouched));
    preprocessingParticleSet(0, nullptr, aabb.data() + 2, centres.data(), radii.data());
    EXPECT_EQ(faces(aabb[2]), faces(kUntouched)) << "n = 0 writes nothing";
}

TEST(PreprocessingParticleSetTex, AxesAreNormalisedAndOrthogonalisedInPlace)
{
    // Second primitive: b has a component along a that must be removed before
    // scaling. Third: a zero axis, unguarded, gives non-finite axes.
    std::vector<float3> centres = {f3(1, 2, 3), f3(-4, 0, 4), f3(0, 0, 0)};
    std::vector<float3> axisA = {f3(2, 0, 0), f3(0, 0, -3), f3(0, 0, 0)};
    std::vector<float3> axisB = {f3(1, 1, 0), f3(0, 5, 5), f3(0, 1, 0)};
    std::vector<float> radii = {0.5f, 2, 1};
    std::vector<CudaAabb> aabb(3, kUntouched);
    preprocessingParticleSetTex(3, nullptr, aabb.data(), centres.data(), axisA.data(),
                                axisB.data(), radii.data());
    const std::vector<float3> unitA = {f3(1, 0, 0), f3(0, 0, -1)}, unitB = {f3(0, 1, 0), f3(0, 1, 0)};
    for (size_t i = 0; i < 2; ++i) {
        EXPECT_FLOAT_EQ(t7_dot(axisA[i], unitA[i]), 1.0f) << i;
        EXPECT_FLOAT_EQ(t7_dot(axisB[i], unitB[i]), 1.0f) << i;
    }
    EXPECT_EQ(faces(aabb[0]), (Box{0.5f, 1.5f, 2.5f, 1.5f, 2.5f, 3.5f}));
    EXPECT_EQ(faces(aabb[1]), (Box{-6, -2, 2, -2, 2, 6}));
    EXPECT_FALSE(std::isfinite(axisA[2].x) || std::isfinite(axisB[2].y));
    EXPECT_EQ(faces(aabb[2]), (Box{-1, -1, -1, 1, 1, 1})) << "centre and radius alone";
    EXPECT_EQ(centres[1].x, -4.0f) << "centres are inputs only";
}

TEST(PreprocessingBezier, HullOfControlPointsGrownByTheLargerRadiusClampedAtZero)
{
    // Each control point owns a face: p0 min x, p1 max y, p2 min z, p3 min y, max x, max z.
    const std::vector<float3> p0 = {f3(-1, 0, 0), f3(0, 0, 0)}, p1 = {f3(0, 4, 1), f3(0, 0, 0)},
                              p2 = {f3(1, 2, -3), f3(0, 0, 0)}, p3 = {f3(5, -2, 2), f3(2, -1, 3)};
    const std::vector<float2> radii = {make_float2(-1, -2), make_float2(1, 0)};
    std::vector<CudaAabb> aabb(2, kUntouched);
    preprocessingBezier(2, nullptr, aabb.data(), radii.data(), p0.data(), p1.data(), p2.data(),
                        p3.data());
    EXPECT_TRUE(faces(aabb[0]) == (Box{-1, -2, -3, 5, 4, 2}) &&
                faces(aabb[1]) == (Box{-1, -2, -1, 3, 1, 4}));
    EXPECT_EQ(faces(bezierBox(p0[0], p1[0], p2[0], p3[0], make_float2(0.5f, 2))),
              (Box{-3, -4, -5, 7, 6, 4}));
}

TEST(PreprocessingParallelograms, BoxOverTheFourAndEightCorners)
{
    // Corners p, p+a, p+b, p+a+b each own a face; a flat one keeps zero extent.
    const std::vector<float3> p = {f3(1, 1, 1), f3(0, 0, 0)}, a = {f3(-2, 3, 1), f3(1, 0, 0)},
                              b = {f3(-1, -4, 2), f3(0, 0, -1)};
    std::vector<CudaAabb> aabb(2, kUntouched);
    preprocessingParallelograms(2, nullptr, aabb.data(), p.data(), a.data(), b.data());
    EXPECT_TRUE(faces(aabb[0]) == (Box{-2, -3, 1, 1, 4, 4}) &&
                faces(aabb[1]) == (Box{0, 0, -1, 1, 0, 0}));

    // x: all edges positive, so p+a+b+c alone gives max x; z: all negative, so
    // it alone gives min z; y: max from p+a+c, min from p+b.
    const std::vector<float3> q = {f3(10, 20, 30)}, qa = {f3(1, 2, -1)}, qb = {f3(2, -1, -2)},
                              qc = {f3(3, 1, -3)};
    preprocessingParallelepipeds(1, nullptr, aabb.data(), q.data(), qa.data(), qb.data(), qc.data());
    EXPECT_EQ(faces(aabb[0]), (Box{10, 19, 24, 16, 23, 30}));
    const std::vector<float3> edge = {f3(0, 0, 3)}; // c alone: a dropped c collapses z
    preprocessingParallelepipeds(1, nullptr, aabb.data(), p.data() + 1, p.data() + 1,
                                 p.data() + 1, edge.data());
    EXPECT_EQ(faces(aabb[0]), (Box{0, 0, 0, 0, 0, 3}));
}

} // namespace
