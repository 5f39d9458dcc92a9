// Textures on one simulated device: formats, sampling settings, updates and
// release.

#include "scene/Texture.h"
#include "sim_control.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

class Textures : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(cudaSetDevice(0), cudaSuccess); }
    void TearDown() override
    {
        EXPECT_EQ(sim::counts().arrays, 0u);
        EXPECT_EQ(sim::counts().textureObjects, 0u);
        EXPECT_EQ(sim::counts().deviceBytes, 0u);
    }

    static sim::TextureInfo info(const Texture& t)
    {
        sim::TextureInfo i{};
        EXPECT_TRUE(sim::textureInfo(t.sampler(), i)) << "not a live texture object";
        return i;
    }
};

std::vector<unsigned char> bytes(size_t n, unsigned char first)
{
    std::vector<unsigned char> v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = static_cast<unsigned char>(first + i);
    return v;
}

TEST_F(Textures, UnsupportedFormatsAreRefusedBeforeAnyAllocation)
{
    const std::vector<unsigned char> data(64 * 3 * 4);
    const sim::Counts before = sim::counts();
    try {
        Texture t(0, nullptr, 8, 8, 3, 8, cudaAddressModeWrap, data.data());
        FAIL() << "3 channels accepted";
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), "Unsupported channels in the texture source.");
    }
    for (int bits : {12, 0, 64}) {
        try {
            Texture t(0, nullptr, 8, 8, 4, bits, cudaAddressModeWrap, data.data());
            FAIL() << bits << " bits accepted";
        } catch (const std::exception& e) {
            EXPECT_STREQ(e.what(), "Unsupported bits/channel in the texture source.");
        }
    }
    EXPECT_EQ(sim::counts().arrays, before.arrays);
    EXPECT_EQ(sim::counts().deviceBytes, before.deviceBytes);
    EXPECT_EQ(sim::counts().textureObjects, before.textureObjects);
}

TEST_F(Textures, EachSupportedFormatGetsItsChannelLayoutAndReadMode)
{
    struct Case {
        int channels, bits;
        cudaChannelFormatKind kind;
        cudaTextureReadMode read;
    };
    const Case cases[] = {
        {1, 8, cudaChannelFormatKindUnsigned, cudaReadModeNormalizedFloat},
        {2, 8, cudaChannelFormatKindUnsigned, cudaReadModeNormalizedFloat},
        {4, 8, cudaChannelFormatKindUnsigned, cudaReadModeNormalizedFloat},
        {1, 16, cudaChannelFormatKindUnsigned, cudaReadModeNormalizedFloat},
        {2, 16, cudaChannelFormatKindUnsigned, cudaReadModeNormalizedFloat},
        {4, 16, cudaChannelFormatKindUnsigned, cudaReadModeNormalizedFloat},
        {1, 32, cudaChannelFormatKindFloat, cudaReadModeElementType},
        {2, 32, cudaChannelFormatKindFloat, cudaReadModeElementType},
        {4, 32, cudaChannelFormatKindFloat, cudaReadModeElementType},
    };
    const int w = 5, h = 3; // odd width: rows are tightly packed, not padded
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.channels << " x " << c.bits << " bits");
        const auto image = bytes(size_t(w) * h * c.channels * c.bits / 8, 7);
        Texture t(0, nullptr, w, h, c.channels, c.bits, cudaAddressModeClamp, image.data());
        sim::TextureInfo i = info(t);
        EXPECT_EQ(i.format.x, c.bits);
        EXPECT_EQ(i.format.y, c.channels >= 2 ? c.bits : 0);
        EXPECT_EQ(i.format.z, c.channels == 4 ? c.bits : 0);
        EXPECT_EQ(i.format.w, c.channels == 4 ? c.bits : 0);
        EXPECT_EQ(i.format.f, c.kind);
        EXPECT_EQ(i.texture.readMode, c.read);
        EXPECT_EQ(i.width, size_t(w));
        EXPECT_EQ(i.height, size_t(h));
        EXPECT_EQ(i.image, image);
    }
}

TEST_F(Textures, SamplingSettings)
{
    const auto image = bytes(4 * 4 * 4, 0);
    Texture t(0, nullptr, 4, 4, 4, 8, cudaAddressModeMirror, image.data());
    const sim::TextureInfo i = info(t);
    EXPECT_EQ(i.resource.resType, cudaResourceTypeArray);
    EXPECT_EQ(i.texture.addressMode[0], cudaAddressModeMirror);
    EXPECT_EQ(i.texture.addressMode[1], cudaAddressModeMirror);
    EXPECT_EQ(i.texture.addressMode[2], cudaAddressModeWrap);
    EXPECT_EQ(i.texture.filterMode, cudaFilterModeLinear);
    EXPECT_EQ(i.texture.sRGB, 0);
    EXPECT_EQ(i.texture.borderColor[0], 1.0f);
    EXPECT_EQ(i.texture.borderColor[1], 0.0f);
    EXPECT_EQ(i.texture.borderColor[2], 0.0f);
    EXPECT_EQ(i.texture.borderColor[3], 0.0f);
    EXPECT_EQ(i.texture.normalizedCoords, 1);
    EXPECT_EQ(i.texture.maxAnisotropy, 1u);
    EXPECT_EQ(i.texture.mipmapFilterMode, cudaFilterModePoint);
    EXPECT_EQ(i.texture.mipmapLevelBias, 0.0f);
    EXPECT_EQ(i.texture.minMipmapLevelClamp, 0.0f);
    EXPECT_EQ(i.texture.maxMipmapLevelClamp, 99.0f);
    EXPECT_TRUE(t.valid());
}

TEST_F(Textures, SameSizeUpdateKeepsTheObjectNewSizeReplacesIt)
{
    const auto first = bytes(4 * 2 * 2 * 2, 1); // 4x2, two 16-bit channels
    Texture t(0, nullptr, 4, 2, 2, 16, cudaAddressModeWrap, first.data());
    const cudaTextureObject_t object = t.sampler();
    const sim::Counts before = sim::counts();

    const auto second = bytes(first.size(), 100);
    t.update(4, 2, second.data());
    EXPECT_EQ(t.sampler(), object);
    EXPECT_EQ(info(t).image, second);
    EXPECT_EQ(sim::counts().arrays, before.arrays);

    const auto bigger = bytes(8 * 3 * 2 * 2, 50);
    t.update(8, 3, bigger.data());
    EXPECT_NE(t.sampler(), object);
    sim::TextureInfo unused{};
    EXPECT_FALSE(sim::textureInfo(object, unused)) << "the old object was not destroyed";
    const sim::TextureInfo i = info(t);
    EXPECT_EQ(i.width, 8u);
    EXPECT_EQ(i.height, 3u);
    EXPECT_EQ(i.image, bigger);
    EXPECT_EQ(i.format.y, 16); // the format stays
    EXPECT_EQ(t.width(), 8);
    EXPECT_EQ(sim::counts().arrays, before.arrays);
    EXPECT_EQ(sim::counts().textureObjects, before.textureObjects);
}

TEST_F(Textures, DestroyReleasesArrayAndObject)
{
    const auto image = bytes(16, 0);
    Texture t(0, nullptr, 4, 4, 1, 8, cudaAddressModeWrap, image.data());
    EXPECT_EQ(sim::counts().arrays, 1u);
    t.destroy();
    EXPECT_FALSE(t.valid());
    EXPECT_EQ(sim::counts().arrays, 0u);
    EXPECT_EQ(sim::counts().textureObjects, 0u);
    t.destroy(); // harmless twice
}

} // namespace
