// Textures and materials through the entry points: ids, error texts and
// release.

#include "sim_test_support.h"

#include <vector>

using namespace t7test;

namespace {

const char* kHit = "dummy7_chit.cu::__closesthit__dummy";

struct Call {
    unsigned result;
    std::string error;
    std::string out;
};

unsigned texture(unsigned h, int channels = 4, int bits = 8, char* error = nullptr)
{
    std::vector<unsigned char> pixels(4 * 4 * 4 * 4, 0x40);
    return ApiSetupTexture(h, 4, 4, channels, bits, cudaAddressModeClamp, pixels.data(), error);
}

Call material(unsigned h, const char* radiance, const char* occlusion,
              std::vector<unsigned> color = {}, std::vector<unsigned> roughness = {},
              std::vector<unsigned> metalness = {}, std::vector<unsigned> normal = {})
{
    char error[kErrorSize] = "stale";
    const char* names[] = {"base_color"};
    trevix7_float4 values[] = {{0.5f, 0.5f, 0.5f, 1.0f}};
    testing::internal::CaptureStdout();
    unsigned id = ApiSetupMaterial(h, radiance, occlusion, nullptr, nullptr, 0, nullptr, nullptr,
                                   0, nullptr, nullptr, 0, names, values, 1, color.data(),
                                   unsigned(color.size()), roughness.data(),
                                   unsigned(roughness.size()), metalness.data(),
                                   unsigned(metalness.size()), normal.data(),
                                   unsigned(normal.size()), 2, error);
    return {id, error, testing::internal::GetCapturedStdout()};
}

TEST(Materials, IdsAreProcessWideAndNeverReused)
{
    Created a = create({});
    ASSERT_NE(a.handle, 0u) << a.error;
    const unsigned t1 = texture(a.handle);
    const Call m1 = material(a.handle, kHit, kHit, {t1});
    ASSERT_NE(m1.result, 0u) << m1.error;

    Created b = create({}); // its default material takes the next material id
    ASSERT_NE(b.handle, 0u) << b.error;
    const unsigned t2 = texture(b.handle);
    EXPECT_EQ(t2, t1 + 1);
    EXPECT_EQ(material(b.handle, kHit, kHit).result, m1.result + 2);

    // A failed set-up consumes its id too.
    const Call bad = material(b.handle, kHit, kHit, {9999});
    EXPECT_EQ(bad.result, 0u);
    EXPECT_EQ(material(a.handle, kHit, kHit).result, m1.result + 4);
    EXPECT_EQ(texture(a.handle, 3), 0u);
    EXPECT_EQ(texture(a.handle), t2 + 2);

    EXPECT_TRUE(ApiDestroyPathTracer(a.handle, nullptr));
    EXPECT_TRUE(ApiDestroyPathTracer(b.handle, nullptr));
    expectNothingLeft();
}

TEST(Materials, SetUpFailuresReportTheirTexts)
{
    Created c = create({});
    ASSERT_NE(c.handle, 0u) << c.error;
    const unsigned t = texture(c.handle);
    struct Case {
        Call call;
        const char* text;
    };
    const Case cases[] = {
        {material(c.handle, kHit, kHit, {t, 777}), "Base color texture not found."},
        {material(c.handle, kHit, kHit, {t}, {777}), "Roughness texture not found."},
        {material(c.handle, kHit, kHit, {}, {}, {777}), "Metalness texture not found."},
        {material(c.handle, kHit, kHit, {}, {}, {}, {t, 777}), "Normal texture not found."},
        {material(c.handle, "dummy7_chit.cu", kHit), "Radiance program name not valid."},
        {material(c.handle, "::__closesthit__x", kHit), "Radiance program name not valid."},
        {material(c.handle, kHit, "dummy7_chit.cu::"), "Occlusion program name not valid."},
        {material(c.handle, "missing7.cu::__closesthit__x", kHit),
         "ERROR: PathTracer(361): Need .ir, .ptx or .cu source file (missing7.cu)."},
    };
    for (const Case& k : cases) {
        EXPECT_EQ(k.call.result, 0u) << k.text;
        EXPECT_EQ(k.call.error, k.text);
        EXPECT_EQ(k.call.out, std::string(k.text) + "\n");
    }

    char error[kErrorSize] = "stale";
    const sim::Counts before = sim::counts();
    testing::internal::CaptureStdout();
    EXPECT_EQ(texture(c.handle, 3, 8, error), 0u);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Unsupported channels in the texture source.\n");
    EXPECT_STREQ(error, "Unsupported channels in the texture source.");
    testing::internal::CaptureStdout();
    EXPECT_EQ(texture(c.handle, 4, 12, error), 0u);
    testing::internal::GetCapturedStdout();
    EXPECT_STREQ(error, "Unsupported bits/channel in the texture source.");
    EXPECT_EQ(sim::counts().arrays, before.arrays);
    EXPECT_EQ(sim::counts().deviceBytes, before.deviceBytes);

    EXPECT_TRUE(ApiDestroyPathTracer(c.handle, nullptr));
    expectNothingLeft();
}

TEST(Materials, UpdatesAndUnknownHandles)
{
    Created c = create({});
    ASSERT_NE(c.handle, 0u) << c.error;
    const unsigned t = texture(c.handle);
    const Call m = material(c.handle, kHit, kHit, {t}, {t});
    ASSERT_NE(m.result, 0u) << m.error;

    const unsigned color[] = {t, t, t};
    char error[kErrorSize] = "stale";
    EXPECT_TRUE(ApiUpdateMaterial(c.handle, m.result, nullptr, nullptr, 0, nullptr, nullptr, 0,
                                  nullptr, nullptr, 0, nullptr, nullptr, 0, color, 3, nullptr, 0,
                                  nullptr, 0, nullptr, 0, 3, error));
    EXPECT_STREQ(error, "");
    EXPECT_FALSE(ApiUpdateMaterial(c.handle, m.result + 100, nullptr, nullptr, 0, nullptr,
                                   nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr,
                                   0, nullptr, 0, nullptr, 0, nullptr, 0, 0, error));
    const unsigned missing[] = {4242};
    testing::internal::CaptureStdout();
    EXPECT_FALSE(ApiUpdateMaterial(c.handle, m.result, nullptr, nullptr, 0, nullptr, nullptr, 0,
                                   nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, 0, nullptr, 0,
                                   nullptr, 0, missing, 1, 1, error));
    testing::internal::GetCapturedStdout();
    EXPECT_STREQ(error, "Normal texture not found.");

    std::vector<unsigned char> pixels(8 * 8 * 4, 1);
    EXPECT_TRUE(ApiUpdateTexture(c.handle, t, 4, 4, pixels.data(), error));
    EXPECT_TRUE(ApiUpdateTexture(c.handle, t, 8, 8, pixels.data(), error));
    EXPECT_FALSE(ApiUpdateTexture(c.handle, t + 100, 8, 8, pixels.data(), error));
    EXPECT_TRUE(ApiSetBackgroundTexture(c.handle, t));
    EXPECT_FALSE(ApiSetBackgroundTexture(c.handle, t + 100));

    const unsigned unknown = c.handle + 1000;
    EXPECT_EQ(texture(unknown), 0u);
    EXPECT_FALSE(ApiUpdateTexture(unknown, t, 8, 8, pixels.data(), error));
    EXPECT_FALSE(ApiSetBackgroundTexture(unknown, t));
    EXPECT_EQ(material(unknown, kHit, kHit).result, 0u);

    EXPECT_TRUE(ApiDestroyPathTracer(c.handle, nullptr));
    expectNothingLeft();
}

TEST(Materials, ATextureOfEveryFormatIsReleasedWithItsInstance)
{
    Created c = create({});
    ASSERT_NE(c.handle, 0u) << c.error;
    std::vector<unsigned> ids;
    for (int bits : {8, 16, 32})
        for (int channels : {1, 2, 4})
            ids.push_back(texture(c.handle, channels, bits));
    for (unsigned id : ids)
        EXPECT_NE(id, 0u);
    EXPECT_NE(material(c.handle, kHit, kHit, ids, ids, ids, ids).result, 0u);
    EXPECT_EQ(sim::counts().arrays, ids.size());
    EXPECT_TRUE(ApiDestroyPathTracer(c.handle, nullptr));
    expectNothingLeft();
}

} // namespace
