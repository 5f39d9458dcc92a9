// A renderer instance on two simulated devices (860, 860), seen from inside:
// textures and their users on every device, material parameters, set-ups that
// fail on one device, and the renderer's dirty flags after geometry changes.

#include "core/CUDABuffer.h"
#include "core/PathTracer.h"
#include "programs/BindingTable.h"
#include "programs/ProgramFiles.h"
#include "support.h"

#include <algorithm>
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
        ASSERT_EQ(m_pt->states().size(), devices()) << "run with other simulated devices";
    }
    void TearDown() override
    {
        m_pt.reset();
        BooksAtZero::TearDown();
    }
    virtual size_t devices() const { return 2; }

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
        EXPECT_TRUE(p.color_tex[0] == s.textures.at(keep).sampler() && p.color_tex[1] == now &&
                    p.normal_tex[0] == now && s.params.bg_texture == now);
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
    EXPECT_TRUE(a.base_color.z == 0.3f && a.base_color.w == 1.0f && a.refraction_index.z == 3.0f &&
                a.light_emission == 3.0f && a.normaltilt_iar == 0.25f && a.flags == 7u);
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
        EXPECT_TRUE(s.textures.empty() && s.materials.size() == 1u);
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
    EXPECT_TRUE(!copies(id)[0]->m_sbt_dirty && m_pt->sbtDirty());

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

// --- Programs and pipeline ---------------------------------------------------

constexpr const char* kCamera = "dummy7_camera.cu::__raygen__dummy";
constexpr const char* kMiss = "dummy7_miss.cu::__miss__dummy";

class Pipeline : public Renderer {
protected:
    void SetUp() override
    {
        Renderer::SetUp();
        sim::clearRecords();
        m_material = m_pt->states()[0].materials.begin()->first;
    }
    PathTracerState& state(size_t k) { return const_cast<PathTracerState&>(m_pt->states()[k]); }
    // n elements in slot 0, and in slot 4 where there is one (the spheres' radii).
    unsigned add(unsigned id, size_t n)
    {
        const std::vector<float> values(3 * n, 1.0f);
        for (size_t slot : {0, 4})
            if (n)
                m_pt->uploadGeometryBuffers(id, n, {{slot, const_cast<float*>(values.data())}});
        return id;
    }
    unsigned primitives(size_t n)
    {
        return add(m_pt->setupPrimitivesGeometry(geoParticleSet, t7test::kIsec, {{0, 12}, {4, 4}}, m_material), n);
    }
    unsigned triangles(size_t n) { return add(m_pt->setupTrianglesGeometry(geoPrimitives0, {{0, 12}}, m_material), n); }
    unsigned curves(size_t n) { return add(m_pt->setupBSplinesGeometry(geoBSplineCubic, {{0, 12}}, m_material), n); }
    size_t groups(unsigned kind)
    {
        const auto g = sim::records().groups;
        return size_t(std::count_if(g.begin(), g.end(), [&](const auto& r) { return r.kind == kind; }));
    }
    unsigned m_material = 0;
};

TEST_F(Pipeline, AnEmptySceneLinksFiveGroupsWithThePlaceholderLast)
{
    EXPECT_FALSE(m_pt->createPipeline(state(0))) << "no camera program yet";
    ASSERT_TRUE(m_pt->setCameraProgram(kCamera));
    ASSERT_TRUE(m_pt->setMissProgram(kMiss));
    EXPECT_EQ(t7test::failure([&] { m_pt->setMissProgram("missing7.cu::__miss__x"); }),
              "ERROR: PathTracer(361): Need .ir, .ptx or .cu source file (missing7.cu).");
    EXPECT_TRUE(sim::records().pipelines.empty());
    ASSERT_TRUE(m_pt->compilePipelines());
    EXPECT_FALSE(m_pt->pipelineDirty() || m_pt->hitDirty() || m_pt->cameraDirty() ||
                 m_pt->missDirty());
    ASSERT_EQ(sim::records().pipelines.size(), 2u);
    for (size_t k = 0; k < 2; ++k) {
        const sim::PipelineRecord p = sim::records().pipelines[k];
        const PathTracerState& s = state(k);
        EXPECT_TRUE(p.device == int(k) && p.handle == s.pipeline);
        EXPECT_EQ(p.groups, (std::vector<OptixProgramGroup>{
                                s.raygen_prog_group, s.radiance_miss_group, s.occlusion_miss_group,
                                s.dummyGeometry->radianceHitGroup(),
                                s.dummyGeometry->occlusionHitGroup()}));
        EXPECT_TRUE(p.link.maxTraceDepth == 2u && unsigned(p.link.debugLevel) == 0x2352u &&
                    p.usesPrimitiveTypeFlags == 0x8000001Fu && p.launchParamsName == "params");
    }
    // Device 0's groups: what each one runs.
    const std::vector<sim::GroupRecord> g = sim::records().groups;
    const auto find = [&](OptixProgramGroup h) {
        return *std::find_if(g.begin(), g.end(), [&](const auto& r) { return r.handle == h; });
    };
    const PathTracerState& s = state(0);
    const sim::GroupRecord occlusionMiss = find(s.occlusion_miss_group);
    EXPECT_TRUE(occlusionMiss.modules[0] == nullptr && occlusionMiss.entries[0].empty())
        << "an occlusion miss runs nothing";
    for (OptixProgramGroup h : {s.dummyGeometry->radianceHitGroup(), s.dummyGeometry->occlusionHitGroup()}) {
        const sim::GroupRecord hit = find(h);
        EXPECT_EQ(hit.entries[0], "__closesthit__dummy");
        EXPECT_TRUE(hit.modules[1] == nullptr && hit.entries[1].empty()) << "no any-hit program";
        EXPECT_EQ(hit.entries[2], "__intersection__dummy");
    }
    // The function part of a reference may hold "::" itself; OptiX looks for
    // all of it in the module.
    ASSERT_TRUE(m_pt->setCameraProgram("dummy7_camera.cu::ns::__raygen__dummy"));
    EXPECT_NE(t7test::failure([&] { m_pt->compilePipelines(); })
                  .find("Log:\nUnknown entry function \"ns::__raygen__dummy\""),
              std::string::npos);
}

TEST_F(Pipeline, GeometriesLinkInTheCanonicalOrderAndOnlyWhatChangedIsRebuilt)
{
    ASSERT_TRUE(m_pt->setCameraProgram(kCamera) && m_pt->setMissProgram(kMiss));
    // Made out of order; the empty triangle mesh takes no groups.
    const unsigned c = curves(4), t = triangles(3), empty = triangles(0), p = primitives(2);
    ASSERT_TRUE(m_pt->compilePipelines());
    const PathTracerState& s = state(1);
    std::vector<OptixProgramGroup> expected = {s.raygen_prog_group, s.radiance_miss_group,
                                               s.occlusion_miss_group};
    for (const GeometryBase* g : {static_cast<const GeometryBase*>(&s.primitives.at(p)),
                                  static_cast<const GeometryBase*>(&s.triangles.at(t)),
                                  static_cast<const GeometryBase*>(&s.curves.at(c))}) {
        expected.push_back(g->radianceHitGroup());
        expected.push_back(g->occlusionHitGroup());
    }
    EXPECT_TRUE(sim::records().pipelines.back().groups == expected &&
                s.triangles.at(empty).radianceHitGroup() == nullptr);
    // Intersections: the geometry's own program, none for triangles, built in for curves.
    for (const sim::GroupRecord& r : sim::records().groups) {
        if (r.handle == s.primitives.at(p).radianceHitGroup()) {
            EXPECT_EQ(r.entries[2], "__intersection__dummy");
        } else if (r.handle == s.triangles.at(t).radianceHitGroup()) {
            EXPECT_EQ(r.modules[2], nullptr);
        } else if (r.handle == s.curves.at(c).occlusionHitGroup()) {
            EXPECT_EQ(r.modules[2], state(1).modules.getBSplineCubeIsModule());
        }
    }

    // A new miss program rebuilds the miss groups only.
    const size_t raygen = groups(OPTIX_PROGRAM_GROUP_KIND_RAYGEN),
                 hit = groups(OPTIX_PROGRAM_GROUP_KIND_HITGROUP);
    ASSERT_TRUE(m_pt->setMissProgram(kMiss));
    EXPECT_TRUE(m_pt->sbtDirty());
    ASSERT_TRUE(m_pt->compilePipelines());
    EXPECT_TRUE(groups(OPTIX_PROGRAM_GROUP_KIND_RAYGEN) == raygen &&
                groups(OPTIX_PROGRAM_GROUP_KIND_HITGROUP) == hit);
    EXPECT_EQ(groups(OPTIX_PROGRAM_GROUP_KIND_MISS), 8u) << "two per device, twice";

    // Another material rebuilds the hit groups of its geometry only.
    const unsigned other = m_pt->setupMaterial(t7test::kHit, t7test::kHit, {}, {}, {}, {}, {}, 0);
    ASSERT_TRUE(m_pt->setupGeometryMaterial(t, other));
    ASSERT_TRUE(m_pt->compilePipelines());
    EXPECT_EQ(groups(OPTIX_PROGRAM_GROUP_KIND_HITGROUP), hit + 4);
    // A material that is not there stops the link.
    ASSERT_TRUE(m_pt->setupGeometryMaterial(p, 4242));
    EXPECT_EQ(t7test::failure([&] { m_pt->compilePipelines(); }), "Material not found.");
}

TEST_F(Pipeline, AFailedGroupCarriesItsLog)
{
    ASSERT_TRUE(m_pt->setCameraProgram(kCamera) && m_pt->setMissProgram(kMiss));
    sim::failNext("optixProgramGroupCreate", OPTIX_ERROR_INVALID_FUNCTION_USE, 2,
                  std::string(kOptixLogSize + 10, 'x'));
    const std::string msg = t7test::failure([&] { m_pt->compilePipelines(); });
    EXPECT_EQ(msg.rfind("OPTIX_ERROR_INVALID_FUNCTION_USE: Optix call 'optixProgramGroupCreate( "
                        "state.context, &raygen_prog_group_desc, 1, &program_group_options, log, "
                        "&sizeof_log, &state.raygen_prog_group )' failed: PathTracer.cpp:",
                        0),
              0u)
        << msg;
    EXPECT_EQ(msg.substr(msg.size() - 12), "<TRUNCATED>\n");
    EXPECT_TRUE(m_pt->pipelineDirty()) << "tried again next time";
    ASSERT_TRUE(m_pt->compilePipelines());
}

// The group a record header was packed from.
OptixProgramGroup headerGroup(const void* record)
{
    unsigned long long words[2];
    std::memcpy(words, record, sizeof words);
    return words[0] == sim::kRecordMagic ? reinterpret_cast<OptixProgramGroup>(words[1]) : nullptr;
}

TEST_F(Pipeline, BindingTablesFollowThePipelineOrder)
{
    ASSERT_TRUE(m_pt->setCameraProgram(kCamera) && m_pt->setMissProgram(kMiss));
    ASSERT_TRUE(m_pt->compilePipelines());
    m_pt->compileSBT();
    for (size_t k = 0; k < 2; ++k) {
        const PathTracerState& s = state(k);
        EXPECT_TRUE(s.sbt.raygenRecord == s.d_raygen_record &&
                    headerGroup(reinterpret_cast<void*>(s.sbt.raygenRecord)) == s.raygen_prog_group &&
                    s.sbt.exceptionRecord == 0u && s.sbt.missRecordStrideInBytes == 48u &&
                    s.sbt.missRecordCount == 2u);
        const auto* miss = reinterpret_cast<const MissRecord*>(s.sbt.missRecordBase);
        EXPECT_TRUE(headerGroup(&miss[0]) == s.radiance_miss_group &&
                    headerGroup(&miss[1]) == s.occlusion_miss_group &&
                    s.sbt.hitgroupRecordStrideInBytes == 272u);
        ASSERT_EQ(s.sbt.hitgroupRecordCount, 2u) << "the placeholder's two records";
        const auto* hit = reinterpret_cast<const HitGroupRecord*>(s.sbt.hitgroupRecordBase);
        EXPECT_EQ(headerGroup(&hit[1]), s.dummyGeometry->occlusionHitGroup());
        EXPECT_EQ(std::memcmp(&hit[0].data.geometry, std::string(112, '\0').data(), 112), 0)
            << "the placeholder's geometry record stays zero";
        EXPECT_EQ(std::memcmp(&hit[0].data.material, &s.materials.at(m_material).params(), 128), 0);
    }
    EXPECT_FALSE(m_pt->sbtDirty());

    // Two geometries with primitives, one of them with a material nobody made.
    const unsigned t = triangles(3), p = primitives(2);
    ASSERT_TRUE(m_pt->compilePipelines());
    ASSERT_TRUE(m_pt->setupGeometryMaterial(t, 4242)); // after linking: only the table sees it
    m_pt->compileSBT();
    const MaterialData defaults;
    for (size_t k = 0; k < 2; ++k) {
        const PathTracerState& s = state(k);
        ASSERT_EQ(s.sbt.hitgroupRecordCount, 4u);
        const auto* hit = reinterpret_cast<const HitGroupRecord*>(s.sbt.hitgroupRecordBase);
        const GeometryBase* order[] = {&s.primitives.at(p), &s.primitives.at(p), &s.triangles.at(t),
                                       &s.triangles.at(t)};
        for (size_t r = 0; r < 4; ++r) {
            EXPECT_EQ(headerGroup(&hit[r]), r % 2 ? order[r]->occlusionHitGroup()
                                                 : order[r]->radianceHitGroup());
            EXPECT_EQ(std::memcmp(&hit[r].data.geometry, &order[r]->data(), 112), 0) << r;
        }
        EXPECT_EQ(std::memcmp(&hit[0].data.material, &s.materials.at(m_material).params(), 128), 0);
        EXPECT_EQ(std::memcmp(&hit[3].data.material, &defaults, 128), 0) << "a default material";
        EXPECT_EQ(s.materials.count(4242), 1u) << "kept from now on";
        EXPECT_FALSE(s.triangles.at(t).m_sbt_dirty);
    }
}

// --- Compilation -------------------------------------------------------------

class Compile : public Pipeline {
protected:
    void SetUp() override
    {
        Pipeline::SetUp();
        ASSERT_TRUE(m_pt->setCameraProgram(kCamera) && m_pt->setMissProgram(kMiss));
    }
    // The instance build of a device.
    static sim::BuildRecord ias(int device)
    {
        for (const sim::BuildRecord& b : sim::records().builds)
            if (b.device == device && b.input.type == OPTIX_BUILD_INPUT_TYPE_INSTANCES)
                return b;
        return {};
    }
    static size_t relocations(int device)
    {
        const auto r = sim::records().relocations;
        return size_t(std::count_if(r.begin(), r.end(), [&](const auto& x) { return x.device == device; }));
    }
};

TEST_F(Compile, AnEmptySceneHasThePlaceholderInstanceOnEveryDevice)
{
    ASSERT_TRUE(m_pt->compileScene());
    const sim::BuildRecord primary = ias(0);
    ASSERT_EQ(primary.instances.size(), 1u);
    const OptixInstance& i = primary.instances[0];
    EXPECT_TRUE(i.traversableHandle == state(0).dummyGeometry->gasHandle() &&
                i.instanceId + i.sbtOffset + i.flags == 0u && i.visibilityMask == 1u);
    const float identity[12] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};
    EXPECT_EQ(std::memcmp(i.transform, identity, sizeof identity), 0);
    EXPECT_EQ(primary.options.buildFlags, 0u);
    // Device 1's structures are relocated copies carrying its own handles.
    const sim::RelocationRecord r = sim::records().relocations.back();
    EXPECT_EQ(r.device, 1);
    EXPECT_EQ(r.instanceHandles, std::vector<OptixTraversableHandle>{state(1).dummyGeometry->gasHandle()});
    EXPECT_EQ(relocations(1), 2u) << "the placeholder's structure and the instances";
    for (size_t k = 0; k < 2; ++k) {
        EXPECT_EQ(state(k).params.handle, state(k).ias_handle);
    }
    // Nothing changed, nothing done.
    sim::clearJournal();
    ASSERT_TRUE(m_pt->compileScene());
    EXPECT_EQ(sim::journal(), std::vector<std::string>{});
}

TEST_F(Compile, InstancesTakeTheirIdsAndTwoRecordsEach)
{
    const unsigned a = triangles(3), empty = triangles(0), b = primitives(2), c = curves(4);
    ASSERT_TRUE(m_pt->compileScene());
    for (int device : {0, 1}) {
        const std::vector<GeometryBase*> order = PathTracer::sceneGeometries(state(device));
        ASSERT_EQ(order.size(), 3u);
        EXPECT_EQ(order[0]->id(), b);
        EXPECT_EQ(order[1]->id(), a) << "the empty mesh " << empty << " takes no instance";
        EXPECT_EQ(order[2]->id(), c);
        if (device == 0) {
            const std::vector<OptixInstance> instances = ias(0).instances;
            ASSERT_EQ(instances.size(), 3u);
            for (unsigned k = 0; k < 3; ++k) {
                EXPECT_TRUE(instances[k].instanceId == order[k]->id() &&
                            instances[k].sbtOffset == 2 * k &&
                            instances[k].traversableHandle == order[k]->gasHandle());
            }
        } else {
            std::vector<OptixTraversableHandle> handles;
            for (const GeometryBase* g : order)
                handles.push_back(g->gasHandle());
            EXPECT_EQ(sim::records().relocations.back().instanceHandles, handles);
            EXPECT_EQ(relocations(1), 4u) << "three geometry structures and the instances";
        }
        EXPECT_EQ(state(device).sbt.hitgroupRecordCount, 6u);
    }
    const PathTracerState& primary = state(0);
    EXPECT_EQ(std::vector<int>({primary.primitivesCount, primary.trianglesCount, primary.curvesCount}),
              std::vector<int>({1, 1, 1})) << "recounted by the build, the empty mesh left out";
    // The primary's boxes were released once the copies were made.
    EXPECT_EQ(state(0).primitives.at(b).aabb().ptr(), 0u);
}

TEST_F(Compile, EachFailingStepSaysSo)
{
    // Spheres without radii cannot be bounded; the reason names the geometry.
    const unsigned bad = m_pt->setupPrimitivesGeometry(geoParticleSet, t7test::kIsec, {{0, 12}}, m_material);
    const std::vector<float3> points(2, make_float3(0, 0, 0));
    m_pt->uploadGeometryBuffers(bad, 2, {{0, const_cast<float3*>(points.data())}});
    EXPECT_EQ(t7test::printed([&] { EXPECT_FALSE(m_pt->compileScene()); }),
              "compile: preprocessing/GAS failed on primary dev.\n");
    EXPECT_EQ(m_pt->compileProblem(),
              "Geometry " + std::to_string(bad) + " (kind 1): a slot its bounding boxes are "
              "computed from is missing or holds fewer elements than slot 0.");
    // A kind without boxes is refused when it is set up.
    EXPECT_EQ(t7test::failure([&] { m_pt->setupPrimitivesGeometry(geoParallelepipeds2, t7test::kIsec, {}, m_material); }),
              "Custom primitives of kind 9 have no bounding boxes: the kinds are 1, 4, 5, 7, 8 and 127.");
}

// New segments alone do not make a curve's structure stale (the setter of
// segment indices leaves it; slot 2 through the buffer upload does).
TEST_F(Compile, SegmentIndicesReachTheStructureThroughTheBufferUpload)
{
    const unsigned c = m_pt->setupBSplinesGeometry(geoBSplineLinear, {{0, 12}, {2, 4}, {4, 4}}, m_material);
    const std::vector<float3> points(4, make_float3(0, 0, 0));
    const std::vector<float> widths(4, 0.1f);
    const unsigned segments[] = {0, 2};
    m_pt->uploadGeometryBuffers(c, 4, {{0, const_cast<float3*>(points.data())}, {4, const_cast<float*>(widths.data())}});
    ASSERT_TRUE(m_pt->uploadGeometryBSplineIdx(c, segments, 1));
    ASSERT_TRUE(m_pt->compileScene());
    const size_t builds = sim::records().builds.size();
    ASSERT_TRUE(m_pt->uploadGeometryBSplineIdx(c, segments, 2));
    ASSERT_TRUE(m_pt->compileScene());
    EXPECT_EQ(sim::records().builds.size(), builds) << "no rebuild";
    ASSERT_TRUE(m_pt->uploadGeometryBuffers(c, 2, {{2, const_cast<unsigned*>(segments)}}));
    ASSERT_TRUE(m_pt->compileScene());
    const sim::BuildRecord curve = sim::records().builds.at(builds);
    EXPECT_TRUE(curve.input.type == OPTIX_BUILD_INPUT_TYPE_CURVES &&
                curve.input.curveArray.numPrimitives == 2u);
}

// TREVIX7_SIM_DEVICES=860,750: nothing can be copied to the older device.
class CompileMixed : public Compile {
};

TEST_F(CompileMixed, TheOlderDeviceBuildsItsOwnStructures)
{
    const unsigned t = triangles(3);
    ASSERT_TRUE(m_pt->compileScene());
    EXPECT_EQ(relocations(1), 0u);
    EXPECT_EQ(ias(1).instances.size(), 1u) << "built, not relocated";
    const auto b = sim::records().builds;
    EXPECT_TRUE(std::any_of(b.begin(), b.end(), [](const auto& r) {
        return r.device == 1 && r.input.type == OPTIX_BUILD_INPUT_TYPE_TRIANGLES;
    }));
    EXPECT_EQ(state(1).params.handle, state(1).ias_handle);

    // A geometry that cannot be built on the older device stops there.
    const unsigned p = primitives(2);
    state(1).primitives.at(p).freeBuffer(geoBufNormalIndices); // no radii there
    state(1).primitives.at(p).m_accel_dirty = true;
    EXPECT_EQ(t7test::printed([&] { EXPECT_FALSE(m_pt->compileScene()); }),
              "compile: preprocessing/GAS failed on secondary dev.\n")
        << t;
}

// TREVIX7_SIM_DEVICES=860: one device relocates nothing and builds nothing relocatable.
class CompileSingle : public Compile {
protected:
    size_t devices() const override { return 1; }
};

TEST_F(CompileSingle, NothingIsRelocatable)
{
    primitives(2);
    sim::clearJournal();
    ASSERT_TRUE(m_pt->compileScene());
    EXPECT_TRUE(sim::records().relocations.empty() &&
                t7test::journalCount("RelocationInfo") == 0u);
}

} // namespace
