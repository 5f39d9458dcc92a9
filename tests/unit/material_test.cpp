// The material parameter record and a material's texture arrays on one
// simulated device.

#include "scene/Material.h"
#include "sim_control.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

template <typename T> void put(unsigned char* record, size_t offset, T value)
{
    std::memcpy(record + offset, &value, sizeof(T));
}

TEST(MaterialRecord, DefaultsMatchTheTableByteForByte)
{
    unsigned char expected[128] = {};
    for (size_t offset : {0, 4, 8, 12, 16, 20, 24})
        put(expected, offset, 1.0f); // base colour, surface albedo
    for (size_t offset : {32, 36, 40})
        put(expected, offset, uint32_t(0x3FB47AE1)); // refraction index 1.41
    for (size_t offset : {48, 52, 56, 64, 68, 72})
        put(expected, offset, 1.0f); // subsurface colour, reflectivity, normal tilt
    put(expected, 76, uint32_t(2)); // flags

    const MaterialData data;
    EXPECT_EQ(std::memcmp(&data, expected, sizeof(expected)), 0);
    float refraction = 1.41f;
    uint32_t bits;
    std::memcpy(&bits, &refraction, 4);
    EXPECT_EQ(bits, 0x3FB47AE1u);
}

class MaterialArrays : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(cudaSetDevice(0), cudaSuccess);
        m_bytes = sim::deviceBytesInUse(0);
    }
    void TearDown() override { EXPECT_EQ(sim::deviceBytesInUse(0), m_bytes); }

    static MaterialData withCount(unsigned count)
    {
        MaterialData d;
        d.tex_count = count;
        return d;
    }
    static MaterialSamplers samplers(std::vector<cudaTextureObject_t> color,
                                     std::vector<cudaTextureObject_t> rest = {})
    {
        return {color, rest, rest, rest};
    }
    static std::vector<cudaTextureObject_t> read(const cudaTextureObject_t* array, size_t n)
    {
        return std::vector<cudaTextureObject_t>(array, array + n); // device memory is host memory
    }

    size_t m_bytes = 0;
    HitProgram m_program{"m.cu", "text", "__closesthit__m"};
};

TEST_F(MaterialArrays, NoTexturesGiveEmptyArraysAndCopyNothing)
{
    // More samplers than tex_count = 0: nothing may be copied into 0-byte arrays.
    Material m(0, nullptr, withCount(0), samplers({11, 12}, {13}), {}, m_program, m_program);
    EXPECT_EQ(sim::deviceBytesInUse(0), m_bytes);
    EXPECT_EQ(m.params().tex_count, 0u);
    EXPECT_TRUE(m.radiance().dirty);
    EXPECT_TRUE(m.occlusion().dirty);
}

TEST_F(MaterialArrays, ListsAreCutToTexCountAndShortOnesLeaveTheRest)
{
    Material m(0, nullptr, withCount(2), samplers({1, 2, 3}, {4}), {}, m_program, m_program);
    EXPECT_EQ(sim::deviceBytesInUse(0), m_bytes + 4 * 2 * sizeof(cudaTextureObject_t));
    EXPECT_EQ(read(m.params().color_tex, 2), (std::vector<cudaTextureObject_t>{1, 2}));
    // Entries past a short list read as "no texture".
    EXPECT_EQ(read(m.params().roughness_tex, 2), (std::vector<cudaTextureObject_t>{4, 0}));

    m.updateTextureSamplers(samplers({9}, {8, 7, 6}));
    EXPECT_EQ(read(m.params().color_tex, 2), (std::vector<cudaTextureObject_t>{9, 2}));
    EXPECT_EQ(read(m.params().normal_tex, 2), (std::vector<cudaTextureObject_t>{8, 7}));
}

TEST_F(MaterialArrays, UpdateReallocatesOnlyWhenTexCountChanges)
{
    Material m(0, nullptr, withCount(2), samplers({1, 2}), {}, m_program, m_program);
    const cudaTextureObject_t* color = m.params().color_tex;

    MaterialData next = withCount(2);
    next.base_roughness = 0.5f;
    m.updateParams(next, samplers({5}), {});
    EXPECT_EQ(m.params().color_tex, color);
    // Kept: the second entry still holds the old sampler.
    EXPECT_EQ(read(m.params().color_tex, 2), (std::vector<cudaTextureObject_t>{5, 2}));
    EXPECT_EQ(m.params().base_roughness, 0.5f);

    m.updateParams(withCount(3), samplers({5, 6, 7}), {});
    EXPECT_EQ(m.params().tex_count, 3u);
    EXPECT_EQ(sim::deviceBytesInUse(0), m_bytes + 4 * 3 * sizeof(cudaTextureObject_t));
    EXPECT_EQ(read(m.params().color_tex, 3), (std::vector<cudaTextureObject_t>{5, 6, 7}));
    EXPECT_EQ(m.params().base_roughness, 0.0f); // parameters replaced whole
}

TEST_F(MaterialArrays, UpdateKeepsTheArraysTheMaterialOwns)
{
    Material m(0, nullptr, withCount(1), samplers({1}), {}, m_program, m_program);
    MaterialData foreign = withCount(1);
    foreign.color_tex = reinterpret_cast<cudaTextureObject_t*>(0x1000);
    m.updateParams(foreign, samplers({2}), {});
    EXPECT_NE(m.params().color_tex, foreign.color_tex);
    EXPECT_EQ(read(m.params().color_tex, 1), (std::vector<cudaTextureObject_t>{2}));
}

} // namespace
