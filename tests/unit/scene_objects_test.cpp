// Textures and materials as objects on one simulated device: formats,
// sampling settings, updates, the material record and its texture arrays.

#include "scene/Material.h"
#include "scene/Texture.h"
#include "support.h"

#include <cstdint>
#include <cstring>

namespace {

std::vector<unsigned char> bytes(size_t n, unsigned char first)
{
    std::vector<unsigned char> v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = static_cast<unsigned char>(first + i);
    return v;
}

class Textures : public t7test::BooksAtZero {
protected:
    void SetUp() override { ASSERT_EQ(cudaSetDevice(0), cudaSuccess); }
    static sim::TextureInfo info(const Texture& t)
    {
        sim::TextureInfo i{};
        EXPECT_TRUE(sim::textureInfo(t.sampler(), i)) << "not a live texture object";
        return i;
    }
};

TEST_F(Textures, EachFormatGetsItsChannelLayoutReadModeAndSamplingSettings)
{
    const int w = 5, h = 3; // odd width: rows are tightly packed, not padded
    for (int bits : {8, 16, 32})
        for (int channels : {1, 2, 4}) {
            SCOPED_TRACE(testing::Message() << channels << " x " << bits << " bits");
            const auto image = bytes(size_t(w) * h * channels * bits / 8, 7);
            Texture t(0, nullptr, w, h, channels, bits, cudaAddressModeMirror, image.data());
            const sim::TextureInfo i = info(t);
            const cudaChannelFormatDesc f = cudaCreateChannelDesc(
                bits, channels >= 2 ? bits : 0, channels == 4 ? bits : 0, channels == 4 ? bits : 0,
                bits == 32 ? cudaChannelFormatKindFloat : cudaChannelFormatKindUnsigned);
            EXPECT_EQ(std::memcmp(&i.format, &f, sizeof f), 0);
            EXPECT_EQ(i.texture.readMode, bits == 32 ? cudaReadModeElementType : cudaReadModeNormalizedFloat);
            EXPECT_TRUE(i.width == size_t(w) && i.height == size_t(h) && i.image == image);
            const cudaTextureAddressMode modes[3] = {cudaAddressModeMirror, cudaAddressModeMirror,
                                                     cudaAddressModeWrap};
            const float border[4] = {1, 0, 0, 0};
            EXPECT_TRUE(std::memcmp(i.texture.addressMode, modes, sizeof modes) == 0 &&
                        std::memcmp(i.texture.borderColor, border, sizeof border) == 0);
            EXPECT_TRUE(i.texture.filterMode == cudaFilterModeLinear && i.texture.sRGB == 0 &&
                        i.texture.normalizedCoords == 1 && t.valid());
        }
}

TEST_F(Textures, SameSizeUpdateKeepsTheObjectNewSizeReplacesIt)
{
    const auto first = bytes(4 * 2 * 2 * 2, 1); // 4x2, two 16-bit channels
    Texture t(0, nullptr, 4, 2, 2, 16, cudaAddressModeWrap, first.data());
    const cudaTextureObject_t object = t.sampler();
    const auto second = bytes(first.size(), 100);
    t.update(4, 2, second.data());
    EXPECT_TRUE(t.sampler() == object && info(t).image == second);

    const auto bigger = bytes(8 * 3 * 2 * 2, 50);
    t.update(8, 3, bigger.data());
    sim::TextureInfo unused{};
    EXPECT_FALSE(sim::textureInfo(object, unused)) << "the old object was not destroyed";
    const sim::TextureInfo i = info(t);
    EXPECT_TRUE(i.width == 8u && i.image == bigger);
    EXPECT_EQ(i.format.y, 16); // the format stays
    EXPECT_EQ(sim::counts().arrays, 1u);
    t.destroy();
    EXPECT_TRUE(!t.valid() && sim::counts().arrays == 0u);
    t.destroy(); // harmless twice
}

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
}

class MaterialArrays : public t7test::BooksAtZero {
protected:
    void SetUp() override { ASSERT_EQ(cudaSetDevice(0), cudaSuccess); }
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
    HitProgram m_program{"m.cu", "text", "__closesthit__m"};
};

TEST_F(MaterialArrays, ListsAreCutToTexCountAndShortOnesReadAsNoTexture)
{
    // More samplers than tex_count = 0: nothing may be copied into 0-byte arrays.
    Material empty(0, nullptr, withCount(0), samplers({11, 12}, {13}), {}, m_program, m_program);
    EXPECT_TRUE(sim::counts().deviceBytes == 0u && empty.radiance().dirty);

    Material m(0, nullptr, withCount(2), samplers({1, 2, 3}, {4}), {}, m_program, m_program);
    EXPECT_EQ(sim::counts().deviceBytes, 4 * 2 * sizeof(cudaTextureObject_t));
    EXPECT_EQ(read(m.params().color_tex, 2), (std::vector<cudaTextureObject_t>{1, 2}));
    EXPECT_EQ(read(m.params().roughness_tex, 2), (std::vector<cudaTextureObject_t>{4, 0}));
    // A later, shorter list leaves the rest of the array as it was.
    m.updateTextureSamplers(samplers({9}, {8, 7, 6}));
    EXPECT_EQ(read(m.params().color_tex, 2), (std::vector<cudaTextureObject_t>{9, 2}));
    EXPECT_EQ(read(m.params().normal_tex, 2), (std::vector<cudaTextureObject_t>{8, 7}));
}

TEST_F(MaterialArrays, UpdateReallocatesOnlyWhenTexCountChangesAndKeepsItsArrays)
{
    Material m(0, nullptr, withCount(2), samplers({1, 2}), {}, m_program, m_program);
    const cudaTextureObject_t* color = m.params().color_tex;
    MaterialData next = withCount(2);
    next.base_roughness = 0.5f;
    next.color_tex = reinterpret_cast<cudaTextureObject_t*>(0x1000); // never taken over
    m.updateParams(next, samplers({5}), {});
    EXPECT_TRUE(m.params().color_tex == color &&
                read(m.params().color_tex, 2) == (std::vector<cudaTextureObject_t>{5, 2}) &&
                m.params().base_roughness == 0.5f);

    m.updateParams(withCount(3), samplers({5, 6, 7}), {});
    EXPECT_EQ(sim::counts().deviceBytes, 4 * 3 * sizeof(cudaTextureObject_t));
    EXPECT_EQ(read(m.params().color_tex, 3), (std::vector<cudaTextureObject_t>{5, 6, 7}));
    EXPECT_EQ(m.params().base_roughness, 0.0f); // parameters replaced whole
}

} // namespace
