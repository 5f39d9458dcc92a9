// Textures, materials and geometry through the entry points on two simulated
// devices (860, 860): ids, error texts, data round trips and release.

#include "support.h"

using namespace t7test;

namespace {

class Scene : public InstanceTest {
protected:
    unsigned texture(int channels = 4, int bits = 8)
    {
        std::vector<unsigned char> pixels(4 * 4 * 4 * 4, 0x40);
        return ApiSetupTexture(h, 4, 4, channels, bits, cudaAddressModeClamp, pixels.data(), error);
    }
    unsigned material4(const char* radiance, const char* occlusion,
                       std::vector<unsigned> color = {}, std::vector<unsigned> roughness = {},
                       std::vector<unsigned> metalness = {}, std::vector<unsigned> normal = {})
    {
        const char* names[] = {"base_color"};
        trevix7_float4 values[] = {{0.5f, 0.5f, 0.5f, 1.0f}};
        return ApiSetupMaterial(h, radiance, occlusion, nullptr, nullptr, 0, nullptr, nullptr, 0,
                                nullptr, nullptr, 0, names, values, 1, color.data(),
                                unsigned(color.size()), roughness.data(),
                                unsigned(roughness.size()), metalness.data(),
                                unsigned(metalness.size()), normal.data(),
                                unsigned(normal.size()), 2, error);
    }
    int particles(const std::vector<unsigned>& slots, const std::vector<unsigned>& sizes)
    {
        return ApiSetupPrimitivesGeometry(h, geoParticleSet, kIsec, slots.data(), sizes.data(),
                                          unsigned(slots.size()), material, error);
    }

    char error[kErrorSize] = "";
};

TEST_F(Scene, IdsAreProcessWideAndFailuresConsumeThem)
{
    const unsigned t1 = texture();
    const unsigned m1 = material4(kHit, kHit, {t1});
    ASSERT_NE(m1, 0u) << error;
    Created other = create(); // its default material takes the next material id
    ASSERT_NE(other.handle, 0u);
    EXPECT_EQ(plainMaterial(other.handle), m1 + 2);
    printed([&] { EXPECT_EQ(material4(kHit, kHit, {9999}), 0u); });
    EXPECT_EQ(material4(kHit, kHit), m1 + 4);
    printed([&] { EXPECT_EQ(texture(3), 0u); });
    EXPECT_EQ(texture(), t1 + 2);

    const int first = particles({}, {});
    ASSERT_GT(first, 0);
    EXPECT_EQ(printed([&] { EXPECT_EQ(mesh(h, 4242, error), 0); }), "Material not found.\n");
    EXPECT_STREQ(error, "Material not found.");
    printed([&] {
        EXPECT_EQ(ApiSetupPrimitivesGeometry(h, geoParticleSet, "dummy7_isec.cu", nullptr, nullptr,
                                             0, material, error),
                  0);
    });
    EXPECT_STREQ(error, "IS program name not valid.");
    EXPECT_EQ(particles({}, {}), first + 3);
    EXPECT_TRUE(ApiDestroyPathTracer(other.handle, nullptr));
}

TEST_F(Scene, SetUpFailuresReportTheirTexts)
{
    const unsigned t = texture();
    const std::pair<std::function<unsigned()>, const char*> cases[] = {
        {[&] { return material4(kHit, kHit, {t, 777}); }, "Base color texture not found."},
        {[&] { return material4(kHit, kHit, {t}, {777}); }, "Roughness texture not found."},
        {[&] { return material4(kHit, kHit, {}, {}, {777}); }, "Metalness texture not found."},
        {[&] { return material4(kHit, kHit, {}, {}, {}, {t, 777}); }, "Normal texture not found."},
        {[&] { return material4("dummy7_chit.cu", kHit); }, "Radiance program name not valid."},
        {[&] { return material4("::__closesthit__x", kHit); }, "Radiance program name not valid."},
        {[&] { return material4(kHit, "dummy7_chit.cu::"); }, "Occlusion program name not valid."},
        {[&] { return material4("missing7.cu::__closesthit__x", kHit); },
         "ERROR: PathTracer(361): Need .ir, .ptx or .cu source file (missing7.cu)."},
        {[&] { return texture(3); }, "Unsupported channels in the texture source."},
        {[&] { return texture(4, 12); }, "Unsupported bits/channel in the texture source."},
        {[&] { return ApiSetupTexture(h, -4, 4, 4, 8, 0, "", error); },
         "Unsupported size in the texture source."},
        {[&] { return ApiSetupTexture(h, 1 << 30, 4, 4, 32, 0, "", error); },
         "Unsupported size in the texture source."},
        {[&] { return ApiSetupTexture(h, 4, 4, 4, 8, 4, "", error); },
         "Unsupported address mode in the texture source."},
    };
    const sim::Counts before = sim::counts();
    for (const auto& k : cases) {
        EXPECT_EQ(printed([&] { EXPECT_EQ(k.first(), 0u) << k.second; }),
                  std::string(k.second) + "\n");
        EXPECT_STREQ(error, k.second);
    }
    EXPECT_EQ(sim::counts().deviceBytes, before.deviceBytes);
    EXPECT_EQ(sim::counts().arrays, before.arrays);
}

TEST_F(Scene, SlotDataRoundTrips)
{
    const int g = particles({0, 4}, {12, 4});
    ASSERT_GT(g, 0) << error;
    std::vector<float> centres = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    std::vector<float> radii = {0.5f, 1.5f, 2.5f};
    const unsigned slots[] = {0, 4};
    void* data[] = {centres.data(), radii.data()};
    ASSERT_TRUE(ApiUploadGeometryBuffers(h, unsigned(g), 3, slots, data, 2, error));
    std::vector<float> out(9, 0.0f), outRadii(3, 0.0f);
    ASSERT_TRUE(ApiDownloadGeometryBuffer(h, unsigned(g), 4, 3, outRadii.data(), error));
    EXPECT_EQ(outRadii, radii) << "from the primary device";

    EXPECT_FALSE(ApiDownloadGeometryBuffer(h, unsigned(g), 3, 3, out.data(), error))
        << "slot 3 does not exist";
    EXPECT_TRUE(ApiDeleteGeometry(h, unsigned(g), error));
    EXPECT_FALSE(ApiDownloadGeometryBuffer(h, unsigned(g), 4, 3, outRadii.data(), error));

    // A later slot entry overwrites an earlier one: slot 0 with 12-byte elements.
    const int later = particles({0, 0}, {4, 12});
    ASSERT_TRUE(ApiUploadGeometryBuffers(h, unsigned(later), 3, slots, data, 1, error));
    ASSERT_TRUE(ApiDownloadGeometryBuffer(h, unsigned(later), 0, 3, out.data(), error));
    EXPECT_EQ(out, centres);
}

TEST_F(Scene, EachKindTakesOnlyItsOwnData)
{
    const unsigned triSlots[] = {0, 2, 3, 4, 5, 6};
    const unsigned triSizes[] = {12, 12, 12, 12, 8, 12};
    const int tri = ApiSetupTrianglesGeometry(h, geoPrimitives0, triSlots, triSizes, 6, material,
                                              error);
    ASSERT_GT(tri, 0) << error;
    std::vector<trevix7_float3> v = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    std::vector<trevix7_uint3> f = {{0, 1, 2}};
    EXPECT_FALSE(ApiDownloadGeometryBuffer(h, tri, 0, 3, v.data(), error))
        << "only custom primitives are read back";

    const unsigned curveSlots[] = {0, 2, 4};
    const unsigned curveSizes[] = {12, 4, 4};
    const int curves = ApiSetupBSplinesGeometry(h, geoBSplineCubic, curveSlots, curveSizes, 3,
                                                material, error);
    unsigned segments[] = {0};
    EXPECT_TRUE(ApiUploadGeometryBSplineIdx(h, curves, segments, 1, error));
    EXPECT_FALSE(ApiUploadGeometryMeshFaces(h, curves, v.data(), 3, f.data(), 1, error))
        << "faces belong to triangles";
    EXPECT_FALSE(ApiUploadGeometryBSplineIdx(h, tri, segments, 1, error));

    const int boxes = particles({0, 4}, {12, 4});
    const unsigned t = texture(1);
    EXPECT_TRUE(ApiSetupDisplacementTexture(h, boxes, t));
    EXPECT_FALSE(ApiSetupDisplacementTexture(h, boxes, t + 100));
    EXPECT_FALSE(ApiSetupDisplacementTexture(h, tri, t)) << "custom primitives only";
}

// Compile after compile, the instances and the pipeline follow the
// geometries that hold primitives, whatever changed the list: data uploaded,
// slot 0 freed, a geometry deleted (also the last one of a scene never
// compiled empty), an upload that ran out of memory.
TEST_F(Scene, InstancesAndPipelineFollowTheGeometriesWithPrimitives)
{
    readyToLaunch(h);
    trevix7_float3 v[3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    trevix7_uint3 f[1] = {{0, 1, 2}};
    auto fill = [&](int g) { return [this, g, &v, &f] { ApiUploadGeometryMeshFaces(h, unsigned(g), v, 3, f, 1, error); }; };
    auto freeVertices = [&](int g) { return [this, g] { EXPECT_TRUE(ApiFreeGeometryBuffer(h, unsigned(g), 0)); }; };
    auto remove = [&](int g) { return [this, g] { EXPECT_TRUE(ApiDeleteGeometry(h, unsigned(g), error)); }; };
    const int a = mesh(h, material), b = mesh(h, material), c = mesh(h, material),
              d = mesh(h, material);
    const unsigned A = unsigned(a), B = unsigned(b), C = unsigned(c), D = unsigned(d);
    struct Step {
        const char* what;
        std::function<void()> change;
        std::vector<unsigned> instances; // geometry ids; 0 is the placeholder
    };
    const Step steps[] = {
        {"a filled", fill(a), {A}},
        {"a deleted, never compiled empty", remove(a), {0}},
        {"b filled", fill(b), {B}},
        {"c filled", fill(c), {B, C}},
        {"b's slot 0 freed", freeVertices(b), {C}},
        {"b filled again", fill(b), {B, C}},
        {"d's upload out of memory",
         [&] {
             sim::failNext("cudaMalloc", cudaErrorMemoryAllocation);
             printed([&] { EXPECT_FALSE(ApiUploadGeometryMeshFaces(h, D, v, 3, f, 1, error)); });
         },
         {B, C}},
        {"d filled on retry", fill(d), {B, C, D}},
        {"c deleted", remove(c), {B, D}},
        {"d's slot 0 freed", freeVertices(d), {B}},
        {"b's slot 0 freed", freeVertices(b), {0}},
        {"b filled", fill(b), {B}},
    };
    for (const Step& step : steps) {
        step.change();
        ASSERT_EQ(ApiCompile(h, error), 1) << step.what << ": " << error;
        // The latest instance structure and pipeline of device 0.
        const sim::Records r = sim::records();
        std::vector<unsigned> ids, offsets;
        for (const sim::BuildRecord& build : r.builds)
            if (build.device == 0 && build.input.type == OPTIX_BUILD_INPUT_TYPE_INSTANCES) {
                ids.clear();
                offsets.clear();
                for (const OptixInstance& instance : build.instances) {
                    ids.push_back(instance.instanceId);
                    offsets.push_back(instance.sbtOffset);
                    EXPECT_NE(instance.traversableHandle, 0u) << step.what;
                }
            }
        EXPECT_EQ(ids, step.instances) << step.what;
        for (size_t k = 0; k < offsets.size(); ++k)
            EXPECT_EQ(offsets[k], 2 * k) << step.what;
        std::vector<OptixProgramGroup> groups;
        for (const sim::PipelineRecord& pipeline : r.pipelines)
            if (pipeline.device == 0)
                groups = pipeline.groups;
        EXPECT_EQ(groups.size(), 3 + 2 * step.instances.size()) << step.what;
        for (OptixProgramGroup group : groups)
            EXPECT_NE(group, nullptr) << step.what;
    }
}

// Boxes that could not be allocated leave nothing behind that a retry would
// write through: the next compile allocates them again.
TEST_F(Scene, ACompileThatRanOutOfMemoryCanBeRetried)
{
    readyToLaunch(h);
    const int g = particles({0, 4}, {12, 4});
    std::vector<float> centres = {0, 0, 0, 2, 0, 0}, radii = {0.5f, 0.5f};
    const unsigned slots[] = {0, 4};
    void* data[] = {centres.data(), radii.data()};
    ASSERT_TRUE(ApiUploadGeometryBuffers(h, unsigned(g), 2, slots, data, 2, error));
    sim::failNext("cudaMalloc", cudaErrorMemoryAllocation);
    printed([&] { EXPECT_EQ(ApiCompile(h, error), 0x901); });
    EXPECT_NE(std::string(error).find("out of memory"), std::string::npos) << error;
    EXPECT_EQ(ApiCompile(h, error), 1) << error;
    EXPECT_EQ(ApiLaunch(h, 1, 1, error), 1) << error;
}

// A free that fails during a compilation leaks nothing: whatever the compile
// still holds is released with the instance.
class SceneFrees : public BooksAtZero {};
TEST_F(SceneFrees, AFailedFreeDuringACompileLeaksNothing)
{
    trevix7_float3 v[3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    trevix7_uint3 f[1] = {{0, 1, 2}};
    std::vector<float> centres = {0, 0, 0}, radii = {0.5f};
    const unsigned slots[] = {0, 4}, sizes[] = {12, 4};
    void* data[] = {centres.data(), radii.data()};
    char error[kErrorSize];
    // The k-th free fails, for every k until a compile frees fewer than k + 1 blocks.
    for (unsigned k = 0;; ++k) {
        const unsigned h = create().handle;
        ASSERT_NE(h, 0u);
        const unsigned m = plainMaterial(h);
        const int g = mesh(h, m);
        const int p = ApiSetupPrimitivesGeometry(h, geoParticleSet, kIsec, slots, sizes, 2, m, error);
        ASSERT_TRUE(ApiUploadGeometryMeshFaces(h, unsigned(g), v, 3, f, 1, error));
        ASSERT_TRUE(ApiUploadGeometryBuffers(h, unsigned(p), 1, slots, data, 2, error));
        sim::clearJournal();
        sim::failNext("cudaFree", cudaErrorInvalidValue, k);
        printed([&] { ApiCompile(h, error); });
        const bool fired = journalCount("(injected)") > 0;
        sim::clearInjections();
        EXPECT_TRUE(ApiDestroyPathTracer(h, nullptr));
        expectBooksAtZero();
        if (!fired) {
            EXPECT_GE(k, 5u) << "the temporary and uncompacted buffers of two builds, the instances";
            break;
        }
    }
}

} // namespace
