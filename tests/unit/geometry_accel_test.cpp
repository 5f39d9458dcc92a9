// Geometry acceleration builds on the simulated OptiX library: what reaches the
// build, compaction, the memory fall-backs with their reports, relocation
// between devices, and the boxes of custom primitives.
// Runs with three simulated devices: 860, 860 and 750.

#include "core/CUDABuffer.h"
#include "core/OptixLoader.h"
#include "programs/ProgramFiles.h"
#include "scene/Geometry.h"
#include "sim_control.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

namespace {

const std::vector<float3> kVertices = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}};
const std::vector<uint3> kFaces = {{0, 1, 2}, {1, 3, 2}};
// Two faces: output 384 bytes (+8 for the emitted size), temp 352 with
// compaction and 192 without, compacted 192.
constexpr size_t kOutputBlock = 384 + 8;

class GeometryAccel : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        lib_dir = TREVIX7_BUILD_DIR;
        ASSERT_TRUE(optixLoaded() || loadOptixFunctionTable());
        for (int d = 0; d < 3; ++d) {
            ASSERT_EQ(cudaSetDevice(d), cudaSuccess);
            ASSERT_EQ(cudaFree(nullptr), cudaSuccess);
            OptixDeviceContextOptions options = {};
            ASSERT_EQ(optixDeviceContextCreate(nullptr, &options, &s_contexts[d]), OPTIX_SUCCESS);
        }
    }
    static void TearDownTestSuite()
    {
        for (int d = 0; d < 3; ++d)
            if (s_contexts[d]) {
                cudaSetDevice(d);
                optixDeviceContextDestroy(s_contexts[d]);
            }
    }
    void SetUp() override
    {
        sim::clearHistories();
        sim::setCompactionSaves(true);
        m_allocations = sim::counts().deviceAllocations;
    }
    void TearDown() override
    {
        sim::setDeviceMemoryLimit(0, size_t(1) << 30);
        sim::setPinnedMemoryLimit(std::numeric_limits<size_t>::max());
        EXPECT_EQ(sim::counts().deviceAllocations, m_allocations);
        EXPECT_EQ(sim::counts().pinnedAllocations, 0u);
    }

    static std::unique_ptr<GeometryTriangles> mesh(int device)
    {
        auto g = std::make_unique<GeometryTriangles>(device, nullptr, 7, geoPrimitives0, 1);
        EXPECT_TRUE(g->createBuffer(geoBufVertices, 0, sizeof(float3)));
        EXPECT_TRUE(g->createBuffer(geoBufIndices, 0, sizeof(uint3)));
        EXPECT_TRUE(g->uploadBuffer(geoBufVertices, kVertices.data(), kVertices.size()));
        EXPECT_TRUE(g->uploadBuffer(geoBufIndices, kFaces.data(), kFaces.size()));
        return g;
    }
    // Builds with standard output captured.
    static std::string build(GeometryBase& g, int device, bool relocation = false,
                             bool release = false)
    {
        testing::internal::CaptureStdout();
        EXPECT_TRUE(g.buildMeshAccel(s_contexts[device], relocation, release));
        return testing::internal::GetCapturedStdout();
    }
    // Two segments over four points: the same sizes as the mesh.
    static std::unique_ptr<GeometryBSplines> curve(int device)
    {
        auto g = std::make_unique<GeometryBSplines>(device, nullptr, 8, geoBSplineLinear, 1);
        const std::vector<unsigned> segments = {0, 2};
        const std::vector<float> widths(4, 0.1f);
        g->createBuffer(geoBufVertices, 0, 12);
        g->createBuffer(geoBufIndices, 0, 4);
        g->createBuffer(geoBufNormalIndices, 0, 4);
        g->uploadBuffer(geoBufVertices, kVertices.data(), kVertices.size());
        g->uploadBuffer(geoBufIndices, segments.data(), segments.size());
        g->uploadBuffer(geoBufNormalIndices, widths.data(), widths.size());
        return g;
    }
    static void limitDevice0(size_t freeBytes)
    {
        sim::setDeviceMemoryLimit(0, sim::deviceBytesInUse(0) + freeBytes);
    }

    static OptixDeviceContext s_contexts[3];
    size_t m_allocations = 0;
};
OptixDeviceContext GeometryAccel::s_contexts[3] = {};

const char* kGpuLines = "Acceleration structure allocation failed on GPU: out of memory\n"
                        "   requested temp buffer size: 0 MB\n"
                        "   trying allocate on host...\n";

TEST_F(GeometryAccel, TrianglesReachTheBuildAndAreCompacted)
{
    auto g = mesh(0);
    EXPECT_EQ(build(*g, 0), "");
    ASSERT_EQ(sim::buildHistory().size(), 1u);
    const sim::BuildRecord r = sim::buildHistory()[0];
    EXPECT_EQ(r.device, 0);
    EXPECT_EQ(r.options.buildFlags,
              unsigned(OPTIX_BUILD_FLAG_ALLOW_COMPACTION | OPTIX_BUILD_FLAG_PREFER_FAST_TRACE));
    EXPECT_EQ(r.options.operation, OPTIX_BUILD_OPERATION_BUILD);
    EXPECT_EQ(r.numBuildInputs, 1u);
    const OptixBuildInputTriangleArray& t = r.input.triangleArray;
    EXPECT_EQ(r.input.type, OPTIX_BUILD_INPUT_TYPE_TRIANGLES);
    EXPECT_EQ(r.vertexBuffer, g->buffers().at(0).ptr());
    EXPECT_EQ(t.vertexFormat, OPTIX_VERTEX_FORMAT_FLOAT3);
    EXPECT_EQ(t.vertexStrideInBytes, 12u);
    EXPECT_EQ(t.numVertices, 4u);
    EXPECT_EQ(t.indexBuffer, g->buffers().at(2).ptr());
    EXPECT_EQ(t.indexFormat, OPTIX_INDICES_FORMAT_UNSIGNED_INT3);
    EXPECT_EQ(t.indexStrideInBytes, 12u);
    EXPECT_EQ(t.numIndexTriplets, 2u);
    EXPECT_EQ(t.numSbtRecords, 1u);
    EXPECT_EQ(t.sbtIndexOffsetBuffer, 0u);
    EXPECT_EQ(t.preTransform, 0u);
    EXPECT_EQ(t.primitiveIndexOffset, 0u);
    EXPECT_EQ(r.flags, std::vector<unsigned>{OPTIX_GEOMETRY_FLAG_DISABLE_ANYHIT});
    EXPECT_EQ(r.numEmittedProperties, 1u);
    EXPECT_FALSE(r.tempPinned);

    ASSERT_EQ(sim::compactionHistory().size(), 1u);
    EXPECT_EQ(sim::compactionHistory()[0].stream, nullptr) << "compaction runs on stream 0";
    EXPECT_EQ(g->gasBufferSize(), 192u);
    EXPECT_EQ(g->gasHandle(), sim::compactionHistory()[0].output);
    EXPECT_FALSE(g->m_accel_dirty);
    // Two slots and the compacted structure; nothing else stays allocated.
    EXPECT_EQ(sim::counts().deviceAllocations, m_allocations + 3);

    // A rebuild replaces the old structure.
    g->m_accel_dirty = true;
    build(*g, 0);
    EXPECT_EQ(sim::counts().deviceAllocations, m_allocations + 3);
}

TEST_F(GeometryAccel, CompactionOnlyWhenItSavesMemory)
{
    sim::setCompactionSaves(false);
    auto g = mesh(0);
    build(*g, 0);
    EXPECT_TRUE(sim::compactionHistory().empty());
    EXPECT_EQ(g->gasBufferSize(), 384u);
    EXPECT_NE(g->gasBuffer(), 0u);
}

TEST_F(GeometryAccel, NothingIsBuiltWithoutPrimitives)
{
    GeometryTriangles g(0, nullptr, 7, geoPrimitives0, 1);
    EXPECT_EQ(build(g, 0), "");
    EXPECT_TRUE(sim::buildHistory().empty());
    EXPECT_TRUE(g.m_accel_dirty);
    EXPECT_EQ(g.gasBuffer(), 0u);
}

TEST_F(GeometryAccel, CurvesTakeTheirTypeSlotsAndStrides)
{
    const std::pair<geoPrimirivesType, OptixPrimitiveType> kinds[] = {
        {geoBSplineLinear, OPTIX_PRIMITIVE_TYPE_ROUND_LINEAR},
        {geoBSplineQuadratic, OPTIX_PRIMITIVE_TYPE_ROUND_QUADRATIC_BSPLINE},
        {geoBSplineCubic, OPTIX_PRIMITIVE_TYPE_ROUND_CUBIC_BSPLINE},
        {geoBSplineLinear2, OPTIX_PRIMITIVE_TYPE_ROUND_LINEAR},
        {geoBSplineCatmullRom, OPTIX_PRIMITIVE_TYPE_ROUND_CATMULLROM},
    };
    const std::vector<float3> points(6, make_float3(1, 2, 3));
    const std::vector<float> widths(6, 0.1f);
    const std::vector<unsigned> segments = {0, 2};
    for (const auto& kind : kinds) {
        SCOPED_TRACE(kind.first);
        sim::clearHistories();
        GeometryBSplines g(0, nullptr, 9, kind.first, 1);
        g.createBuffer(geoBufVertices, 0, 12);
        g.createBuffer(geoBufIndices, 0, 4);
        g.createBuffer(geoBufNormalIndices, 0, 4);
        g.uploadBuffer(geoBufVertices, points.data(), points.size());
        g.uploadBuffer(geoBufIndices, segments.data(), segments.size());
        g.uploadBuffer(geoBufNormalIndices, widths.data(), widths.size());
        build(g, 0);
        ASSERT_EQ(sim::buildHistory().size(), 1u);
        const sim::BuildRecord r = sim::buildHistory()[0];
        const OptixBuildInputCurveArray& c = r.input.curveArray;
        EXPECT_EQ(r.input.type, OPTIX_BUILD_INPUT_TYPE_CURVES);
        EXPECT_EQ(c.curveType, kind.second);
        EXPECT_EQ(c.numPrimitives, 2u);
        EXPECT_EQ(r.vertexBuffer, g.buffers().at(0).ptr());
        EXPECT_EQ(c.numVertices, 6u);
        EXPECT_EQ(c.vertexStrideInBytes, 12u);
        EXPECT_EQ(r.widthBuffer, g.buffers().at(4).ptr());
        EXPECT_EQ(c.widthStrideInBytes, 4u);
        EXPECT_EQ(c.normalBuffers, nullptr);
        EXPECT_EQ(c.indexBuffer, g.buffers().at(2).ptr());
        EXPECT_EQ(c.indexStrideInBytes, 4u);
        EXPECT_EQ(c.flag, unsigned(OPTIX_GEOMETRY_FLAG_DISABLE_ANYHIT));
        EXPECT_EQ(c.primitiveIndexOffset, 0u);
    }
}

TEST_F(GeometryAccel, CurvesWithoutSegmentsReadNoVertex)
{
    const std::vector<float3> points(4, make_float3(0, 0, 0));
    GeometryBSplines g(0, nullptr, 9, geoBSplineCubic, 1);
    g.createBuffer(geoBufVertices, 0, 12);
    g.createBuffer(geoBufIndices, 0, 4);
    g.uploadBuffer(geoBufVertices, points.data(), points.size());
    build(g, 0);
    ASSERT_EQ(sim::buildHistory().size(), 1u);
    EXPECT_EQ(sim::buildHistory()[0].vertexBuffer, 0u);
    EXPECT_EQ(sim::buildHistory()[0].input.curveArray.numPrimitives, 0u);
}

TEST_F(GeometryAccel, HostScratchWhenTheDeviceIsShort)
{
    auto g = mesh(0);
    limitDevice0(kOutputBlock + 192); // room for the structure and its compacted copy
    EXPECT_EQ(build(*g, 0), kGpuLines);
    ASSERT_EQ(sim::buildHistory().size(), 1u);
    EXPECT_TRUE(sim::buildHistory()[0].tempPinned);
    EXPECT_EQ(sim::compactionHistory().size(), 1u);
    EXPECT_EQ(g->gasBufferSize(), 192u);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess) << "pending errors are cleared";
}

TEST_F(GeometryAccel, UncompactedWhenTheCompactedCopyDoesNotFit)
{
    auto g = mesh(0);
    limitDevice0(kOutputBlock);
    EXPECT_EQ(build(*g, 0), std::string(kGpuLines) +
                                "Acceleration structure allocation failed: out of memory\n"
                                "   requested compacted buffer size: 0 MB\n"
                                "   using non-compacted structure...\n");
    EXPECT_TRUE(sim::compactionHistory().empty());
    EXPECT_EQ(g->gasBufferSize(), 384u);
    EXPECT_FALSE(g->m_accel_dirty);
}

TEST_F(GeometryAccel, NonCompactingBuildWhenHostScratchIsShortToo)
{
    const char* hostLines = "Acceleration structure allocation failed on host: out of memory\n"
                            "   requested temp buffer size: 0 MB\n";
    const std::pair<std::unique_ptr<GeometryBase>, const char*> cases[] = {
        {mesh(0), "   trying non-compactible build...\n"},
        {curve(0), "   trying non-campactible build...\n"},
    };
    for (const auto& c : cases) {
        sim::clearHistories();
        limitDevice0(kOutputBlock);
        sim::setPinnedMemoryLimit(200); // the 192 bytes of a non-compacting build
        EXPECT_EQ(build(*c.first, 0), std::string(kGpuLines) + hostLines + c.second);
        ASSERT_EQ(sim::buildHistory().size(), 1u);
        const sim::BuildRecord r = sim::buildHistory()[0];
        EXPECT_EQ(r.options.buildFlags, unsigned(OPTIX_BUILD_FLAG_PREFER_FAST_TRACE));
        EXPECT_EQ(r.numEmittedProperties, 0u);
        EXPECT_EQ(r.tempSize, 192u);
        EXPECT_TRUE(sim::compactionHistory().empty());
        EXPECT_EQ(c.first->gasBufferSize(), 384u);
        EXPECT_FALSE(c.first->m_accel_dirty);
    }
}

TEST_F(GeometryAccel, GivesUpAndStaysDirty)
{
    auto g = mesh(0);
    const size_t before = sim::deviceBytesInUse(0);
    limitDevice0(kOutputBlock);
    sim::setPinnedMemoryLimit(100);
    EXPECT_EQ(build(*g, 0), std::string(kGpuLines) +
                                "Acceleration structure allocation failed on host: out of memory\n"
                                "   requested temp buffer size: 0 MB\n"
                                "   trying non-compactible build...\n"
                                "Acceleration structure allocation failed: out of memory\n"
                                "   requested temp buffer size: 0 MB\n"
                                "   aborting.\n");
    EXPECT_TRUE(sim::buildHistory().empty());
    EXPECT_EQ(g->gasBuffer(), 0u);
    EXPECT_TRUE(g->m_accel_dirty);
    EXPECT_EQ(sim::deviceBytesInUse(0), before) << "nothing of the attempt stays allocated";

    limitDevice0(100);
    EXPECT_EQ(build(*g, 0), "Acceleration structure allocation failed: out of memory\n"
                            "   requested output buffer size: 0 MB\n"
                            "   aborting.\n");
    EXPECT_TRUE(g->m_accel_dirty);
}

// The placeholder kind needs no slots: one box of edge 0.1 at the origin.
TEST_F(GeometryAccel, CustomPrimitivesBuildFromTheirBoxes)
{
    GeometryPrimitives g(0, nullptr, 3, geoDummy, 1, "dummy7_isec.cu::__intersection__dummy");
    EXPECT_EQ(g.intersection().file, "dummy7_isec.cu");
    EXPECT_EQ(g.intersection().function, "__intersection__dummy");
    ASSERT_TRUE(g.applyPreprocessing());
    EXPECT_EQ(g.primitiveCount(), 1u);
    const OptixAabb* box = reinterpret_cast<const OptixAabb*>(g.aabb().ptr());
    EXPECT_EQ(box->minX, 0.0f);
    EXPECT_EQ(box->maxZ, 0.1f);
    const uint64_t boxes = g.aabb().ptr();

    EXPECT_EQ(build(g, 0, false, true), "");
    ASSERT_EQ(sim::buildHistory().size(), 1u);
    const sim::BuildRecord r = sim::buildHistory()[0];
    EXPECT_EQ(r.input.type, OPTIX_BUILD_INPUT_TYPE_CUSTOM_PRIMITIVES);
    EXPECT_EQ(r.aabbBuffer, boxes);
    EXPECT_EQ(r.input.customPrimitiveArray.numPrimitives, 1u);
    EXPECT_EQ(r.input.customPrimitiveArray.strideInBytes, 0u);
    EXPECT_EQ(r.input.customPrimitiveArray.numSbtRecords, 1u);
    EXPECT_EQ(r.flags, std::vector<unsigned>{OPTIX_GEOMETRY_FLAG_DISABLE_ANYHIT});
    EXPECT_EQ(g.aabb().ptr(), 0u) << "inputs released after the build";
}

TEST_F(GeometryAccel, CustomPrimitiveFallBackMessagesAreSpeltTheirWay)
{
    const std::vector<float3> centres = {{0, 0, 0}, {1, 1, 1}};
    const std::vector<float> radii = {0.5f, 0.25f};
    GeometryPrimitives g(0, nullptr, 3, geoParticleSet, 1, "dummy7_isec.cu::__intersection__x");
    g.createBuffer(geoBufVertices, 0, 12);
    g.createBuffer(geoBufNormalIndices, 0, 4);
    g.uploadBuffer(geoBufVertices, centres.data(), 2);
    g.uploadBuffer(geoBufNormalIndices, radii.data(), 2);
    ASSERT_TRUE(g.applyPreprocessing());
    const OptixAabb* box = reinterpret_cast<const OptixAabb*>(g.aabb().ptr());
    EXPECT_EQ(box[1].minX, 0.75f);
    EXPECT_EQ(box[1].maxY, 1.25f);

    // Two boxes: output 384, compacting temp 352, plain temp 192.
    limitDevice0(kOutputBlock);
    sim::setPinnedMemoryLimit(200);
    const std::string out = build(g, 0, false, true);
    EXPECT_NE(out.find("   trying non-campactible build...\n"), std::string::npos) << out;
    EXPECT_NE(g.aabb().ptr(), 0u) << "the non-compacting path keeps its inputs";
}

TEST_F(GeometryAccel, BoxesNeedAKernelAndTheirSlots)
{
    for (geoPrimirivesType type : {geoParallelepipeds2, geoPrimitives10, geoPrimitives0}) {
        GeometryPrimitives g(0, nullptr, 3, type, 1, "dummy7_isec.cu::__intersection__x");
        const std::vector<float3> data(2, make_float3(0, 0, 0));
        g.createBuffer(geoBufVertices, 0, 12);
        g.uploadBuffer(geoBufVertices, data.data(), 2);
        EXPECT_FALSE(g.applyPreprocessing()) << type;
    }
    GeometryPrimitives empty(0, nullptr, 3, geoParticleSet, 1, "dummy7_isec.cu::__intersection__x");
    EXPECT_FALSE(empty.applyPreprocessing()) << "no slots and not the placeholder";
    empty.createBuffer(geoBufVertices, 0, 12);
    EXPECT_TRUE(empty.applyPreprocessing()) << "count 0: nothing to launch";
    const std::vector<float3> centres(2, make_float3(0, 0, 0));
    empty.uploadBuffer(geoBufVertices, centres.data(), 2);
    EXPECT_FALSE(empty.applyPreprocessing()) << "radii missing";
}

TEST_F(GeometryAccel, StructuresRelocateToDevicesOfTheSameCapability)
{
    auto source = mesh(0);
    build(*source, 0, true);
    auto same = mesh(1);
    auto older = mesh(2);
    ASSERT_EQ(cudaSetDevice(1), cudaSuccess);
    EXPECT_TRUE(same->relocateMeshAccel(*source, s_contexts[1]));
    EXPECT_FALSE(same->m_accel_dirty);
    EXPECT_EQ(same->gasBufferSize(), source->gasBufferSize());
    ASSERT_EQ(sim::relocationHistory().size(), 1u);
    EXPECT_EQ(sim::relocationHistory()[0].device, 1);
    EXPECT_EQ(same->gasHandle(), sim::relocationHistory()[0].target);

    EXPECT_FALSE(older->relocateMeshAccel(*source, s_contexts[2]));
    EXPECT_TRUE(older->m_accel_dirty);
    EXPECT_EQ(older->gasBuffer(), 0u);
}

TEST_F(GeometryAccel, BoxesRelocateBetweenCopiesOfOneGeometry)
{
    const std::vector<float3> centres = {{0, 0, 0}, {1, 1, 1}, {2, 2, 2}};
    const std::vector<float> radii = {1, 2, 3};
    auto particles = [&](int device, geoPrimirivesType type) {
        auto g = std::make_unique<GeometryPrimitives>(device, nullptr, 3, type, 1,
                                                      "dummy7_isec.cu::__intersection__x");
        g->createBuffer(geoBufVertices, 0, 12);
        g->createBuffer(geoBufNormalIndices, 0, 4);
        g->uploadBuffer(geoBufVertices, centres.data(), 3);
        g->uploadBuffer(geoBufNormalIndices, radii.data(), 3);
        return g;
    };
    auto source = particles(0, geoParticleSet);
    ASSERT_TRUE(source->applyPreprocessing());
    auto copy = particles(1, geoParticleSet);
    ASSERT_TRUE(copy->relocateAabb(*source));
    EXPECT_EQ(copy->aabb().count(), 3u);
    const OptixAabb* box = reinterpret_cast<const OptixAabb*>(copy->aabb().ptr());
    EXPECT_EQ(box[2].maxX, 5.0f);

    auto other = particles(1, geoParticleSetTex);
    try {
        other->relocateAabb(*source);
        ADD_FAILURE() << "types differ";
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), "relocateAabb(): primitive types not maching.");
    }
    GeometryPrimitives bare(0, nullptr, 4, geoParticleSet, 1, "dummy7_isec.cu::__intersection__x");
    try {
        copy->relocateAabb(bare);
        ADD_FAILURE() << "source without slot 0";
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), "relocateAabb(): source buffer not found, should never happen.");
    }
    EXPECT_THROW(GeometryPrimitives(0, nullptr, 5, geoParticleSet, 1, "dummy7_isec.cu"),
                 sutil::Exception);
}

} // namespace
