// Geometry objects on one simulated device: slot rules, dirty flags, the
// shader-data record and the slot assertions.

#include "scene/Geometry.h"
#include "sim_control.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace {

TEST(GeometryRecord, InitialValuesAndIdentity)
{
    GeometryTriangles g(0, nullptr, 42, geoBSplineCubic, 3);
    const GeometryData& d = g.data();
    for (uint64_t address : d.buffers)
        EXPECT_EQ(address, 0u);
    EXPECT_EQ(d.displacement_tex, 0u);
    EXPECT_EQ(d.displacement_size.x, 0.0f);
    EXPECT_EQ(d.displacement_inv_size.y, 1.0f);
    EXPECT_EQ(d.const_color.x, 1.0f);
    EXPECT_EQ(d.const_color.z, 1.0f);
    EXPECT_EQ(d.n_primitives, 0u);
    EXPECT_EQ(d.geometry_id, 42u);
    EXPECT_EQ(d.type, geoBSplineCubic);
    EXPECT_TRUE(g.m_accel_dirty);
    EXPECT_TRUE(g.m_sbt_dirty);
    EXPECT_EQ(g.material(), 3u);
}

TEST(GeometryDirtyTable, EveryTypeAndSlot)
{
    const std::map<int, std::set<int>> extra = {
        {1, {4}},    {4, {4}},    {5, {3, 5, 6}}, {7, {2, 3}},  {8, {2, 3, 4}}, {9, {2, 3, 4}},
        {10, {2}},   {11, {2, 4}}, {12, {2, 4}},  {13, {2, 4}}, {14, {2, 4}},   {15, {2, 4}},
    };
    std::vector<int> types = {0, 2, 3, 6, 16, 127};
    for (const auto& e : extra)
        types.push_back(e.first);
    for (int type : types)
        for (int slot = 0; slot < nGeoBuffers; ++slot) {
            auto found = extra.find(type);
            const bool expected = slot == 0 || (found != extra.end() && found->second.count(slot));
            EXPECT_EQ(shouldMarcAccelDirty(geoPrimirivesType(type), geoBufferIndicex(slot)),
                      expected)
                << "type " << type << " slot " << slot;
        }
}

class GeometrySlots : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(cudaSetDevice(0), cudaSuccess);
        m_allocations = sim::counts().deviceAllocations;
    }
    void TearDown() override { EXPECT_EQ(sim::counts().deviceAllocations, m_allocations); }

    std::vector<float> floats(size_t n, float first)
    {
        std::vector<float> v(n);
        for (size_t i = 0; i < n; ++i)
            v[i] = first + float(i);
        return v;
    }
    size_t m_allocations = 0;
};

TEST_F(GeometrySlots, CreateGivesEmptySlotsAndRefusesAnotherElementSize)
{
    GeometryTriangles g(0, nullptr, 1, geoPrimitives0, 1);
    g.m_sbt_dirty = false;
    EXPECT_TRUE(g.createBuffer(geoBufVertices, 0, 12));
    EXPECT_TRUE(g.createBuffer(geoBufIndices, 0, 12));
    EXPECT_TRUE(g.m_sbt_dirty);
    EXPECT_EQ(g.buffers().at(0).ptr(), 0u);
    EXPECT_FALSE(g.createBuffer(geoBufIndices, 4, 8));
    EXPECT_EQ(g.buffers().at(2).elsize(), 12u);
    EXPECT_TRUE(g.createBuffer(geoBufVertices, 5, 12));
    EXPECT_EQ(g.primitiveCount(), 5u);
    EXPECT_EQ(g.data().buffers[0], g.buffers().at(0).ptr());
    EXPECT_FALSE(g.uploadBuffer(geoBufNormals, nullptr, 1)) << "slot 3 was never created";
    EXPECT_FALSE(g.resizeBuffer(geoBufNormals, 1));
    EXPECT_FALSE(g.freeBuffer(geoBufNormals));
}

TEST_F(GeometrySlots, UploadsShrinkInPlaceAndGrowIntoFreshMemory)
{
    GeometryTriangles g(0, nullptr, 1, geoPrimitives0, 1);
    ASSERT_TRUE(g.createBuffer(geoBufVertices, 0, 12));
    auto ten = floats(30, 0.0f);
    ASSERT_TRUE(g.uploadBuffer(geoBufVertices, ten.data(), 10));
    const CuBuffer& slot = g.buffers().at(0);
    const uint64_t address = slot.ptr();

    // Count 0: nothing changes.
    g.m_sbt_dirty = false;
    ASSERT_TRUE(g.uploadBufferAsync(geoBufVertices, nullptr, 0));
    EXPECT_EQ(slot.count(), 10u);
    EXPECT_EQ(g.primitiveCount(), 10u);
    EXPECT_FALSE(g.m_sbt_dirty);

    auto four = floats(12, 100.0f);
    ASSERT_TRUE(g.uploadBufferAsync(geoBufVertices, four.data(), 4));
    EXPECT_EQ(slot.ptr(), address);
    EXPECT_EQ(slot.allocCount(), 10u);
    EXPECT_EQ(slot.count(), 4u);
    EXPECT_TRUE(g.m_sbt_dirty) << "n_primitives changed";

    // Six fits the old allocation but exceeds the current count: fresh memory.
    auto six = floats(18, 200.0f);
    ASSERT_TRUE(g.uploadBuffer(geoBufVertices, six.data(), 6));
    EXPECT_EQ(slot.allocCount(), 6u);
    EXPECT_EQ(g.data().buffers[0], slot.ptr());
    std::vector<float> out(18);
    ASSERT_TRUE(g.downloadBuffer(geoBufVertices, out.data(), 6));
    EXPECT_EQ(out, six);

    g.m_sbt_dirty = true;
    ASSERT_TRUE(g.uploadBuffer(geoBufVertices, six.data(), 6));
    EXPECT_FALSE(g.m_sbt_dirty) << "same count, same address: overwritten with false";
}

TEST_F(GeometrySlots, ResizeAndFreeOfTheFirstSlotSetThePrimitiveCount)
{
    GeometryTriangles g(0, nullptr, 1, geoPrimitives0, 1);
    ASSERT_TRUE(g.createBuffer(geoBufVertices, 8, 12));
    g.m_sbt_dirty = true;
    ASSERT_TRUE(g.resizeBuffer(geoBufVertices, 8));
    EXPECT_FALSE(g.m_sbt_dirty);
    ASSERT_TRUE(g.resizeBuffer(geoBufVertices, 3));
    EXPECT_TRUE(g.m_sbt_dirty);
    EXPECT_EQ(g.primitiveCount(), 3u);

    const uint64_t address = g.data().buffers[0];
    g.m_sbt_dirty = false;
    ASSERT_TRUE(g.freeBuffer(geoBufVertices));
    EXPECT_EQ(g.primitiveCount(), 0u);
    EXPECT_TRUE(g.m_sbt_dirty);
    EXPECT_EQ(g.buffers().count(0), 1u) << "the slot stays, without memory";
    EXPECT_EQ(g.buffers().at(0).ptr(), 0u);
    EXPECT_EQ(g.data().buffers[0], address) << "the record keeps the old address";
    ASSERT_TRUE(g.freeBuffer(geoBufVertices));
    EXPECT_FALSE(g.m_sbt_dirty) << "was already 0";
}

TEST_F(GeometrySlots, ConstColorAndMaterialMarkOnlyRealChanges)
{
    GeometryTriangles g(0, nullptr, 1, geoPrimitives0, 1);
    g.m_sbt_dirty = false;
    g.setConstColor(make_float3(1, 1, 1));
    EXPECT_FALSE(g.m_sbt_dirty);
    g.setConstColor(make_float3(1, 0.5f, 1));
    EXPECT_TRUE(g.m_sbt_dirty);
    EXPECT_EQ(g.data().const_color.y, 0.5f);
    g.setMaterial(1);
    EXPECT_FALSE(g.m_sbt_dirty);
    g.setMaterial(2);
    EXPECT_TRUE(g.m_sbt_dirty);
}

TEST_F(GeometrySlots, DestructionReleasesEverySlot)
{
    {
        GeometryBSplines g(0, nullptr, 1, geoBSplineLinear, 1);
        ASSERT_TRUE(g.createBuffer(0, 4, 12));
        ASSERT_TRUE(g.createBuffer(2, 4, 4));
        ASSERT_TRUE(g.createBuffer(4, 4, 4));
        EXPECT_EQ(sim::counts().deviceAllocations, m_allocations + 3);
    }
    EXPECT_EQ(sim::counts().deviceAllocations, m_allocations);
}

using GeometrySlotsDeathTest = GeometrySlots;

TEST_F(GeometrySlotsDeathTest, SlotNumbersAndDownloadCountsAreAsserted)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            GeometryTriangles g(0, nullptr, 1, geoPrimitives0, 1);
            g.createBuffer(7, 1, 4);
        },
        "Assertion `buf_idx < nGeoBuffers' failed");
    EXPECT_DEATH(
        {
            GeometryTriangles g(0, nullptr, 1, geoPrimitives0, 1);
            g.createBuffer(0, 3, 4);
            float out[4];
            g.downloadBuffer(0, out, 4);
        },
        "Assertion `n_primitives == search->second.count\\(\\)' failed");
}

} // namespace
