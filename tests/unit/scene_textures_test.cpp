// Textures and materials of a renderer instance on every device: ids, the
// default material, and how texture objects reach their users.

#include "core/PathTracer.h"
#include "programs/ProgramFiles.h"
#include "sim_control.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

namespace {

class SceneTextures : public testing::Test {
protected:
    void SetUp() override
    {
        lib_dir = TREVIX7_BUILD_DIR;
        testing::internal::CaptureStdout();
        m_pt = std::make_unique<PathTracer>(64, 48, READBACK_RGBA8, PathTracer::VariableMap<int>{},
                                            PathTracer::VariableMap<unsigned>{},
                                            PathTracer::VariableMap<uint2>{},
                                            PathTracer::VariableMap<float>{},
                                            PathTracer::VariableMap<float2>{},
                                            PathTracer::VariableMap<float3>{},
                                            std::vector<unsigned>{}, 0);
        testing::internal::GetCapturedStdout();
        ASSERT_EQ(m_pt->states().size(), 2u) << "run with two simulated devices";
    }
    void TearDown() override
    {
        m_pt.reset();
        sim::Counts c = sim::counts();
        EXPECT_EQ(c.deviceAllocations, 0u);
        EXPECT_EQ(c.deviceBytes, 0u);
        EXPECT_EQ(c.arrays, 0u);
        EXPECT_EQ(c.textureObjects, 0u);
    }

    unsigned texture(int width, int height)
    {
        m_pixels.assign(size_t(width) * height * 4, 0x80);
        return m_pt->setupTexture(width, height, 4, 8, cudaAddressModeWrap, m_pixels.data());
    }
    unsigned material(const MaterialTextureIds& ids, unsigned long count)
    {
        const std::string hit = "dummy7_chit.cu::__closesthit__dummy";
        return m_pt->setupMaterial(hit, hit, {}, {}, {}, {}, ids, count);
    }

    std::unique_ptr<PathTracer> m_pt;
    std::vector<unsigned char> m_pixels;
};

TEST_F(SceneTextures, DefaultMaterialExistsOnEveryDevice)
{
    for (const PathTracerState& state : m_pt->states()) {
        ASSERT_EQ(state.materials.size(), 1u);
        const Material& m = state.materials.begin()->second;
        const MaterialData defaults;
        EXPECT_EQ(std::memcmp(&m.params(), &defaults, 80), 0);
        EXPECT_EQ(m.radiance().file, "dummy7_chit.cu");
        EXPECT_EQ(m.radiance().function, "__closesthit__dummy");
        EXPECT_NE(m.occlusion().text.find(".entry"), std::string::npos)
            << "program text is loaded at set-up";
    }
    EXPECT_TRUE(m_pt->hitDirty());
    EXPECT_TRUE(m_pt->pipelineDirty());
}

TEST_F(SceneTextures, EachDeviceHasItsOwnTextureObjects)
{
    const unsigned t = texture(4, 4);
    const auto& states = m_pt->states();
    const Texture& a = states[0].textures.at(t);
    const Texture& b = states[1].textures.at(t);
    EXPECT_NE(a.sampler(), b.sampler());
    sim::TextureInfo ia{}, ib{};
    ASSERT_TRUE(sim::textureInfo(a.sampler(), ia));
    ASSERT_TRUE(sim::textureInfo(b.sampler(), ib));
    EXPECT_EQ(ia.device, 0);
    EXPECT_EQ(ib.device, 1);
    EXPECT_FALSE(m_pt->updateTexture(t + 1000, 4, 4, m_pixels.data()));
}

TEST_F(SceneTextures, ResizedTexturesReachMaterialsAndBackground)
{
    const unsigned keep = texture(2, 2);
    const unsigned grow = texture(2, 2);
    const unsigned mat = material({{keep, grow}, {}, {}, {grow}}, 2);
    ASSERT_TRUE(m_pt->setBackgroundTexture(grow));

    std::vector<cudaTextureObject_t> before;
    for (const PathTracerState& s : m_pt->states())
        before.push_back(s.textures.at(grow).sampler());

    std::vector<unsigned char> same(2 * 2 * 4, 1);
    ASSERT_TRUE(m_pt->updateTexture(grow, 2, 2, same.data()));
    for (size_t k = 0; k < 2; ++k)
        EXPECT_EQ(m_pt->states()[k].textures.at(grow).sampler(), before[k]) << "same size";

    std::vector<unsigned char> bigger(8 * 8 * 4, 2);
    ASSERT_TRUE(m_pt->updateTexture(grow, 8, 8, bigger.data()));
    for (const PathTracerState& s : m_pt->states()) {
        const cudaTextureObject_t now = s.textures.at(grow).sampler();
        const MaterialData& p = s.materials.at(mat).params();
        EXPECT_EQ(p.color_tex[0], s.textures.at(keep).sampler());
        EXPECT_EQ(p.color_tex[1], now);
        EXPECT_EQ(p.normal_tex[0], now);
        EXPECT_EQ(s.params.bg_texture, now);
    }
    EXPECT_NE(m_pt->states()[0].textures.at(grow).sampler(), before[0]);
    EXPECT_TRUE(m_pt->sbtDirty());
}

TEST_F(SceneTextures, BackgroundTexture)
{
    const unsigned t = texture(2, 2);
    EXPECT_FALSE(m_pt->setBackgroundTexture(t + 1000));
    for (const PathTracerState& s : m_pt->states())
        EXPECT_EQ(s.params.bg_texture, 0u);
    ASSERT_TRUE(m_pt->setBackgroundTexture(t));
    for (const PathTracerState& s : m_pt->states())
        EXPECT_EQ(s.params.bg_texture, s.textures.at(t).sampler());
    ASSERT_TRUE(m_pt->setBackgroundTexture(0)); // none
    for (const PathTracerState& s : m_pt->states())
        EXPECT_EQ(s.params.bg_texture, 0u);
}

TEST_F(SceneTextures, MaterialParametersFromTheMaps)
{
    const std::string hit = "dummy7_chit.cu::__closesthit__dummy";
    const unsigned only3 = m_pt->setupMaterial(
        hit, hit, {{"flags", 7u}}, {{"light_emission", 3.0f}, {"normaltilt_iar", 0.25f}},
        {{"base_color", make_float3(0.1f, 0.2f, 0.3f)}, {"refraction_index", make_float3(1, 2, 3)}},
        {}, {}, 0);
    const MaterialData& a = m_pt->states()[1].materials.at(only3).params();
    EXPECT_EQ(a.base_color.x, 0.1f);
    EXPECT_EQ(a.base_color.z, 0.3f);
    EXPECT_EQ(a.base_color.w, 1.0f);
    EXPECT_EQ(a.refraction_index.z, 3.0f);
    EXPECT_EQ(a.light_emission, 3.0f);
    EXPECT_EQ(a.normaltilt_iar, 0.25f);
    EXPECT_EQ(a.flags, 7u);
    EXPECT_EQ(a.reflectivity_index, 1.0f); // absent: default

    const unsigned both = m_pt->setupMaterial(
        hit, hit, {}, {}, {{"base_color", make_float3(0.1f, 0.2f, 0.3f)}},
        {{"base_color", make_float4(0.5f, 0.6f, 0.7f, 0.8f)}}, {}, 0);
    EXPECT_EQ(m_pt->states()[0].materials.at(both).params().base_color.w, 0.8f);
    EXPECT_EQ(m_pt->states()[0].materials.at(both).params().base_color.x, 0.5f);

    ASSERT_TRUE(m_pt->updateMaterial(both, {}, {{"base_roughness", 0.5f}}, {}, {}, {}, 0));
    const MaterialData& b = m_pt->states()[0].materials.at(both).params();
    EXPECT_EQ(b.base_roughness, 0.5f);
    EXPECT_EQ(b.base_color.w, 1.0f) << "an update starts from the defaults";
    EXPECT_FALSE(m_pt->updateMaterial(both + 1000, {}, {}, {}, {}, {}, 0));
}

} // namespace
