// Geometry through the entry points on two simulated devices: slot data round
// trips, result codes, set-up failures and release.

#include "sim_test_support.h"

#include <cstring>
#include <vector>

using namespace t7test;

namespace {

const char* kHit = "dummy7_chit.cu::__closesthit__dummy";
const char* kIsec = "dummy7_isec.cu::__intersection__dummy";

class Geometry : public testing::Test {
protected:
    void SetUp() override
    {
        Created c = create({});
        ASSERT_NE(c.handle, 0u) << c.error;
        m_h = c.handle;
        m_material = ApiSetupMaterial(m_h, kHit, kHit, nullptr, nullptr, 0, nullptr, nullptr, 0,
                                      nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, 0,
                                      nullptr, 0, nullptr, 0, nullptr, 0, 0, nullptr);
        ASSERT_NE(m_material, 0u);
    }
    void TearDown() override
    {
        EXPECT_TRUE(ApiDestroyPathTracer(m_h, nullptr));
        expectNothingLeft();
    }

    int particles(const std::vector<unsigned>& slots, const std::vector<unsigned>& sizes)
    {
        return ApiSetupPrimitivesGeometry(m_h, geoParticleSet, kIsec, slots.data(), sizes.data(),
                                          unsigned(slots.size()), m_material, m_error);
    }

    unsigned m_h = 0;
    unsigned m_material = 0;
    char m_error[kErrorSize] = "";
};

TEST_F(Geometry, SlotDataRoundTrips)
{
    const int g = particles({0, 4}, {12, 4});
    ASSERT_GT(g, 0) << m_error;
    std::vector<float> centres = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    std::vector<float> radii = {0.5f, 1.5f, 2.5f};
    const unsigned slots[] = {0, 4};
    void* data[] = {centres.data(), radii.data()};
    ASSERT_TRUE(ApiUploadGeometryBuffers(m_h, unsigned(g), 3, slots, data, 2, m_error));
    EXPECT_STREQ(m_error, "");

    std::vector<float> out(9, 0.0f);
    ASSERT_TRUE(ApiDownloadGeometryBuffer(m_h, unsigned(g), 0, 3, out.data(), m_error));
    EXPECT_EQ(out, centres);
    std::vector<float> outRadii(3, 0.0f);
    ASSERT_TRUE(ApiDownloadGeometryBuffer(m_h, unsigned(g), 4, 3, outRadii.data(), m_error));
    EXPECT_EQ(outRadii, radii);

    // Count 0 leaves the slot as it was.
    ASSERT_TRUE(ApiUploadGeometryBuffers(m_h, unsigned(g), 0, slots, data, 1, m_error));
    ASSERT_TRUE(ApiDownloadGeometryBuffer(m_h, unsigned(g), 0, 3, out.data(), m_error));
    EXPECT_EQ(out, centres);

    // Fewer elements, then more again.
    std::vector<float> two = {9, 9, 9, 8, 8, 8};
    void* twoData[] = {two.data()};
    ASSERT_TRUE(ApiUploadGeometryBuffers(m_h, unsigned(g), 2, slots, twoData, 1, m_error));
    std::vector<float> outTwo(6);
    ASSERT_TRUE(ApiDownloadGeometryBuffer(m_h, unsigned(g), 0, 2, outTwo.data(), m_error));
    EXPECT_EQ(outTwo, two);
    ASSERT_TRUE(ApiUploadGeometryBuffers(m_h, unsigned(g), 3, slots, data, 1, m_error));
    ASSERT_TRUE(ApiDownloadGeometryBuffer(m_h, unsigned(g), 0, 3, out.data(), m_error));
    EXPECT_EQ(out, centres);

    EXPECT_FALSE(ApiDownloadGeometryBuffer(m_h, unsigned(g), 3, 3, out.data(), m_error))
        << "slot 3 does not exist";
    EXPECT_TRUE(ApiFreeGeometryBuffer(m_h, unsigned(g), 0));
    EXPECT_TRUE(ApiDeleteGeometry(m_h, unsigned(g), m_error));
    EXPECT_FALSE(ApiDownloadGeometryBuffer(m_h, unsigned(g), 4, 3, outRadii.data(), m_error));
}

TEST_F(Geometry, ALaterSlotEntryOverwritesAnEarlierOne)
{
    const int g = particles({0, 0}, {4, 12}); // slot 0 with 12-byte elements
    ASSERT_GT(g, 0) << m_error;
    std::vector<float> centres = {1, 2, 3, 4, 5, 6};
    const unsigned slots[] = {0};
    void* data[] = {centres.data()};
    ASSERT_TRUE(ApiUploadGeometryBuffers(m_h, unsigned(g), 2, slots, data, 1, m_error));
    std::vector<float> out(6, 0.0f);
    ASSERT_TRUE(ApiDownloadGeometryBuffer(m_h, unsigned(g), 0, 2, out.data(), m_error));
    EXPECT_EQ(out, centres);
}

TEST_F(Geometry, EveryKindTakesItsData)
{
    const unsigned triSlots[] = {0, 2, 3, 4, 5, 6};
    const unsigned triSizes[] = {12, 12, 12, 12, 8, 12};
    const int tri = ApiSetupTrianglesGeometry(m_h, geoPrimitives0, triSlots, triSizes, 6,
                                              m_material, m_error);
    ASSERT_GT(tri, 0) << m_error;
    std::vector<trevix7_float3> v = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    std::vector<trevix7_uint3> f = {{0, 1, 2}};
    std::vector<trevix7_float2> uv = {{0, 0}, {1, 0}, {0, 1}};
    EXPECT_TRUE(ApiUploadGeometryMeshFaces(m_h, tri, v.data(), 3, f.data(), 1, m_error));
    EXPECT_TRUE(ApiUploadGeometryMeshNormals(m_h, tri, v.data(), 3, f.data(), 1, m_error));
    EXPECT_TRUE(ApiUploadGeometryMeshTexCoords(m_h, tri, uv.data(), 3, f.data(), 1, m_error));
    EXPECT_FALSE(ApiDownloadGeometryBuffer(m_h, tri, 0, 3, v.data(), m_error))
        << "only custom primitives are read back";

    const unsigned curveSlots[] = {0, 2, 4};
    const unsigned curveSizes[] = {12, 4, 4};
    const int curves = ApiSetupBSplinesGeometry(m_h, geoBSplineCubic, curveSlots, curveSizes, 3,
                                                m_material, m_error);
    ASSERT_GT(curves, tri);
    unsigned segments[] = {0};
    EXPECT_TRUE(ApiUploadGeometryBSplineIdx(m_h, curves, segments, 1, m_error));
    EXPECT_FALSE(ApiUploadGeometryMeshFaces(m_h, curves, v.data(), 3, f.data(), 1, m_error))
        << "faces belong to triangles";

    EXPECT_TRUE(ApiSetupConstColor(m_h, tri, {0.5f, 0.5f, 0.5f}));
    EXPECT_TRUE(ApiSetupGeometryMaterial(m_h, curves, m_material));

    const int boxes = particles({0, 4}, {12, 4});
    std::vector<unsigned char> pixels(4 * 4, 7);
    const unsigned t = ApiSetupTexture(m_h, 4, 4, 1, 8, 0, pixels.data(), m_error);
    EXPECT_TRUE(ApiSetupDisplacementTexture(m_h, boxes, t));
    EXPECT_FALSE(ApiSetupDisplacementTexture(m_h, boxes, t + 100));
    EXPECT_FALSE(ApiSetupDisplacementTexture(m_h, tri, t)) << "custom primitives only";
    std::vector<unsigned char> bigger(8 * 8, 9);
    EXPECT_TRUE(ApiUpdateTexture(m_h, t, 8, 8, bigger.data(), m_error));
    // Destroying the instance (TearDown) releases slots, textures and materials.
}

TEST_F(Geometry, UnknownIdsAndHandles)
{
    const unsigned missing = 999999;
    std::vector<trevix7_float3> v(3);
    std::vector<trevix7_uint3> f(1);
    const unsigned slots[] = {0};
    void* data[] = {v.data()};
    EXPECT_FALSE(ApiUploadGeometryMeshFaces(m_h, missing, v.data(), 3, f.data(), 1, m_error));
    EXPECT_FALSE(ApiUploadGeometryBuffers(m_h, missing, 3, slots, data, 1, m_error));
    EXPECT_FALSE(ApiDownloadGeometryBuffer(m_h, missing, 0, 3, v.data(), m_error));
    EXPECT_FALSE(ApiFreeGeometryBuffer(m_h, missing, 0));
    EXPECT_FALSE(ApiSetupConstColor(m_h, missing, {1, 1, 1}));
    EXPECT_FALSE(ApiSetupGeometryMaterial(m_h, missing, m_material));
    EXPECT_TRUE(ApiDeleteGeometry(m_h, missing, m_error));
    EXPECT_STREQ(m_error, "");

    const unsigned unknown = m_h + 1000;
    EXPECT_EQ(ApiSetupTrianglesGeometry(unknown, geoPrimitives0, nullptr, nullptr, 0, 1, m_error), -1);
    EXPECT_EQ(ApiSetupBSplinesGeometry(unknown, geoBSplineLinear, nullptr, nullptr, 0, 1, m_error), -1);
    EXPECT_EQ(ApiSetupPrimitivesGeometry(unknown, geoDummy, kIsec, nullptr, nullptr, 0, 1, m_error), -1);
    EXPECT_FALSE(ApiUploadGeometryBuffers(unknown, 1, 3, slots, data, 1, m_error));
    EXPECT_FALSE(ApiDeleteGeometry(unknown, 1, m_error));
    EXPECT_FALSE(ApiFreeGeometryBuffer(unknown, 1, 0));
    EXPECT_FALSE(ApiSetupConstColor(unknown, 1, {1, 1, 1}));
    EXPECT_FALSE(ApiSetupDisplacementTexture(unknown, 1, 1));
}

TEST_F(Geometry, SetUpFailuresConsumeTheirIds)
{
    const int first = particles({}, {});
    ASSERT_GT(first, 0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(ApiSetupTrianglesGeometry(m_h, geoPrimitives0, nullptr, nullptr, 0, 4242, m_error),
              0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Material not found.\n");
    EXPECT_STREQ(m_error, "Material not found.");

    testing::internal::CaptureStdout();
    EXPECT_EQ(ApiSetupPrimitivesGeometry(m_h, geoParticleSet, "dummy7_isec.cu", nullptr, nullptr,
                                         0, m_material, m_error),
              0);
    testing::internal::GetCapturedStdout();
    EXPECT_STREQ(m_error, "IS program name not valid.");

    EXPECT_EQ(particles({}, {}), first + 3);
}

} // namespace
