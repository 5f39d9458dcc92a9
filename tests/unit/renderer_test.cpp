// A renderer instance on two simulated devices (860, 860), seen from inside:
// textures and their users on every device, material parameters, set-ups that
// fail on one device, and the renderer's dirty flags after geometry changes.

#include "core/PathTracer.h"
#include "programs/ProgramFiles.h"
#include "support.h"

#include <cstring>
#include <memory>

namespace {

class Renderer : public t7test::BooksAtZero {
protected:
    void SetUp() override
    {
        lib_dir = TREVIX7_BUILD_DIR;
        t7test::printed([&] {
            m_pt.reset(new PathTracer(64, 48, READBACK_RGBA8, {}, {}, {}, {}, {}, {}, {}, 0));
        });
        ASSERT_EQ(m_pt->states().size(), 2u) << "run with two simulated devices";
    }
    void TearDown() override
    {
        m_pt.reset();
        BooksAtZero::TearDown();
    }

    unsigned texture(int width, int height)
    {
        m_pixels.assign(size_t(width) * height * 4, 0x80);
        return m_pt->setupTexture(width, height, 4, 8, cudaAddressModeWrap, m_pixels.data());
    }
    unsigned material(const MaterialTextureIds& ids, unsigned long count)
    {
        return m_pt->setupMaterial(t7test::kHit, t7test::kHit, {}, {}, {}, {}, ids, count);
    }
    // The copy of a triangle mesh on each device.
    std::vector<GeometryTriangles*> copies(unsigned id)
    {
        std::vector<GeometryTriangles*> out;
        for (const PathTracerState& s : m_pt->states())
            out.push_back(const_cast<GeometryTriangles*>(&s.triangles.at(id)));
        return out;
    }

    std::unique_ptr<PathTracer> m_pt;
    std::vector<unsigned char> m_pixels;
};

TEST_F(Renderer, ResizedTexturesReachEveryUserOnEveryDevice)
{
    const unsigned keep = texture(2, 2);
    const unsigned grow = texture(2, 2);
    const unsigned mat = material({{keep, grow}, {}, {}, {grow}}, 2);
    ASSERT_TRUE(m_pt->setBackgroundTexture(grow));
    const auto& states = m_pt->states();
    sim::TextureInfo info{};
    ASSERT_TRUE(sim::textureInfo(states[1].textures.at(grow).sampler(), info));
    EXPECT_EQ(info.device, 1) << "each device has its own texture objects";

    // The new object may even have the old value: users are refreshed anyway.
    for (const PathTracerState& s : states)
        const_cast<PathTracerState&>(s).params.bg_texture = 0;
    std::vector<unsigned char> bigger(8 * 8 * 4, 2);
    ASSERT_TRUE(m_pt->updateTexture(grow, 8, 8, bigger.data()));
    for (const PathTracerState& s : states) {
        const cudaTextureObject_t now = s.textures.at(grow).sampler();
        const MaterialData& p = s.materials.at(mat).params();
        EXPECT_EQ(p.color_tex[0], s.textures.at(keep).sampler());
        EXPECT_EQ(p.color_tex[1], now);
        EXPECT_EQ(p.normal_tex[0], now);
        EXPECT_EQ(s.params.bg_texture, now);
    }
    EXPECT_FALSE(m_pt->updateTexture(grow + 1000, 4, 4, m_pixels.data()));
    EXPECT_FALSE(m_pt->setBackgroundTexture(keep + 1000));
    ASSERT_TRUE(m_pt->setBackgroundTexture(0)); // none
    EXPECT_EQ(states[1].params.bg_texture, 0u);
}

TEST_F(Renderer, MaterialParametersFromTheMaps)
{
    const std::string hit = t7test::kHit;
    const unsigned only3 = m_pt->setupMaterial(
        hit, hit, {{"flags", 7u}}, {{"light_emission", 3.0f}, {"normaltilt_iar", 0.25f}},
        {{"base_color", make_float3(0.1f, 0.2f, 0.3f)}, {"refraction_index", make_float3(1, 2, 3)}},
        {}, {}, 0);
    const MaterialData& a = m_pt->states()[1].materials.at(only3).params();
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
    ASSERT_TRUE(m_pt->updateMaterial(both, {}, {{"base_roughness", 0.5f}}, {}, {}, {}, 0));
    const MaterialData& b = m_pt->states()[0].materials.at(both).params();
    EXPECT_EQ(b.base_roughness, 0.5f);
    EXPECT_EQ(b.base_color.w, 1.0f) << "an update starts from the defaults";
    EXPECT_FALSE(m_pt->updateMaterial(both + 100, {}, {}, {}, {}, {}, 0)) << "unknown material";
    EXPECT_EQ(t7test::failure([&] { m_pt->updateMaterial(both, {}, {}, {}, {}, {{}, {}, {}, {77}}, 1); }),
              "Normal texture not found.");
}

// A set-up that fails on the second device leaves no copy on the first.
TEST_F(Renderer, AFailedSetUpLeavesNoCopyBehind)
{
    sim::failNext("cudaMallocArray", cudaErrorMemoryAllocation, 1);
    EXPECT_EQ(t7test::failure([&] { texture(2, 2); }).rfind("CUDA call (cudaMallocArray(", 0), 0u);
    sim::failNext("cudaMalloc", cudaErrorMemoryAllocation, 4);
    EXPECT_NE(t7test::failure([&] { material({}, 1); }), "<no exception>");
    for (const PathTracerState& s : m_pt->states()) {
        EXPECT_TRUE(s.textures.empty());
        EXPECT_EQ(s.materials.size(), 1u);
    }
    EXPECT_EQ(sim::counts().arrays, 0u);
}

TEST_F(Renderer, GeometryChangesRaiseTheRightFlags)
{
    const unsigned id = m_pt->setupTrianglesGeometry(geoPrimitives0, {{0, 12}, {2, 12}, {3, 12}},
                                                     m_pt->states()[0].materials.begin()->first);
    const std::vector<float3> v = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    const std::vector<uint3> f = {{0, 1, 2}};
    ASSERT_TRUE(m_pt->uploadGeometryMeshFaces(id, v.data(), 3, f.data(), 1));
    EXPECT_EQ(m_pt->states()[1].triangles.at(id).primitiveCount(), 3u);
    // The same count again clears each copy's own flag, not the renderer's.
    ASSERT_TRUE(m_pt->uploadGeometryMeshFaces(id, v.data(), 3, nullptr, 0));
    EXPECT_FALSE(copies(id)[0]->m_sbt_dirty);
    EXPECT_TRUE(m_pt->sbtDirty());

    // After a build, a vertex, face or slot upload makes the structure stale
    // again; normals never do.
    auto built = [&] {
        for (size_t k = 0; k < 2; ++k) {
            GeometryTriangles* g = copies(id)[k];
            EXPECT_TRUE(g->buildMeshAccel(m_pt->states()[k].context, false, false));
            EXPECT_FALSE(g->m_accel_dirty);
        }
    };
    auto stale = [&] { return copies(id)[0]->m_accel_dirty && copies(id)[1]->m_accel_dirty; };
    const std::map<size_t, void*> slot0 = {{0, const_cast<float3*>(v.data())}};
    const std::pair<const char*, std::function<bool()>> uploads[] = {
        {"vertices", [&] { return m_pt->uploadGeometryMeshFaces(id, v.data(), 3, nullptr, 0); }},
        {"faces", [&] { return m_pt->uploadGeometryMeshFaces(id, nullptr, 0, f.data(), 1); }},
        {"slot 0", [&] { return m_pt->uploadGeometryBuffers(id, 3, slot0); }},
    };
    for (const auto& u : uploads) {
        built();
        ASSERT_TRUE(u.second()) << u.first;
        EXPECT_TRUE(stale()) << u.first;
    }
    built();
    ASSERT_TRUE(m_pt->uploadGeometryMeshNormals(id, v.data(), 3, nullptr, 0));
    EXPECT_FALSE(copies(id)[0]->m_accel_dirty);
    EXPECT_EQ(m_pt->states()[1].triangles.at(id).buffers().at(3).count(), 3u);
    // A slot the mesh does not have is skipped; only a missing mesh is false.
    EXPECT_TRUE(m_pt->uploadGeometryMeshTexCoords(id, nullptr, 0, f.data(), 1));
    EXPECT_FALSE(m_pt->uploadGeometryMeshNormals(id + 100, v.data(), 3, nullptr, 0));
    EXPECT_FALSE(m_pt->uploadGeometryBSplineIdx(id, nullptr, 0)) << "not a curve";
    EXPECT_EQ(m_pt->getGeometryType(id), geoPrimitives0);
}

} // namespace
