// Device buffers and geometry objects on the simulated device (860, 860, 750):
// slot rules and dirty flags, the acceleration build with its memory
// fall-backs and their reports, relocation, and the boxes of custom primitives.

#include "core/OptixLoader.h"
#include "core/optix7_stubs.h"
#include "kernels/preprocessing_element.h"
#include "programs/ProgramFiles.h"
#include "scene/Geometry.h"
#include "support.h"

#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <set>

using t7test::failure;
using t7test::printed;

namespace {

std::vector<float3> points(size_t n, float first)
{
    std::vector<float3> v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = make_float3(first + i, first - 2.0f * i, first * 0.5f + i);
    return v;
}

// --- Device buffers -----------------------------------------------------------

class DeviceBuffers : public t7test::BooksAtZero {
protected:
    void SetUp() override { ASSERT_EQ(cudaSetDevice(0), cudaSuccess); }
};

TEST_F(DeviceBuffers, AllocHoldsExactlyTheRequestedCountAndDropsOldContents)
{
    CuBuffer b(12, 0, nullptr);
    b.alloc(5);
    EXPECT_TRUE(b.allocCount() == 5u && sim::deviceBytesInUse(0) == 60u);
    std::vector<float> in(21, 2.5f), out(21, 0.0f);
    b.upload(in.data());
    b.alloc(7); // no doubling, no rounding, no carry-over
    EXPECT_EQ(sim::deviceBytesInUse(0), 84u);
    b.download(out.data());
    EXPECT_EQ(out[0], 0.0f);
    b.alloc(0);
    EXPECT_TRUE(b.ptr() == 0u && b.count() + b.allocCount() == 0u);
    b.free();

    CuBuffer a(4, 0, nullptr), c(4, 0, nullptr), wide(8, 0, nullptr);
    a.alloc(10);
    c.alloc(3);
    wide.alloc(3);
    const unsigned values[3] = {7, 8, 9};
    unsigned back[3] = {};
    c.uploadAsync(values);
    a.setCount(3); // shrunk by its owner, capacity still 10
    a.copyFromAsync(c);
    a.download(back);
    EXPECT_EQ(back[2], 9u);
    a.setCount(4);
    EXPECT_EQ(failure([&] { a.copyFromAsync(c); }), "Buffer element size or cout not matching.");
    EXPECT_EQ(failure([&] { wide.copyFromAsync(c); }), "Buffer element size or cout not matching.");
    for (CuBuffer* x : {&a, &c, &wide})
        x->free();
}

TEST_F(DeviceBuffers, FailedAllocationLeavesAnEmptyBuffer)
{
    CuBuffer b(8, 0, nullptr);
    b.alloc(4);
    sim::failNext("cudaMalloc", cudaErrorMemoryAllocation);
    EXPECT_EQ(failure([&] { b.alloc(20); }).rfind(
                  "CUDA call (cudaMalloc(&m_ptr, m_allocCount * m_elsize) ) failed with error: "
                  "'out of memory' (CUDABuffer.cpp:",
                  0),
              0u);
    // Nothing claims elements that were never allocated; the old block is gone.
    EXPECT_TRUE(b.ptr() == 0u && b.count() == 0u && b.allocCount() == 0u);
    EXPECT_EQ(sim::counts().deviceAllocations, 0u);
    b.alloc(20); // a retry starts afresh
    EXPECT_TRUE(b.ptr() != 0u && b.count() == 20u);
    b.free();
}

// --- Slots and dirty flags ----------------------------------------------------

TEST(GeometryDirtyTable, EveryTypeAndSlot)
{
    const std::map<int, std::set<int>> extra = {
        {1, {4}},    {4, {4}},     {5, {3, 5, 6}}, {7, {2, 3}},  {8, {2, 3, 4}}, {9, {2, 3, 4}},
        {10, {2}},   {11, {2, 4}}, {12, {2, 4}},   {13, {2, 4}}, {14, {2, 4}},   {15, {2, 4}},
    };
    for (int type : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 127, -1})
        for (int slot = 0; slot < int(nGeoBuffers); ++slot) {
            auto found = extra.find(type);
            const bool expected = slot == 0 || (found != extra.end() && found->second.count(slot));
            EXPECT_EQ(shouldMarcAccelDirty(geoPrimirivesType(type), geoBufferIndicex(slot)),
                      expected)
                << "type " << type << " slot " << slot;
        }
}

using GeometrySlots = DeviceBuffers;

TEST_F(GeometrySlots, RecordAndSlotRules)
{
    GeometryTriangles g(0, nullptr, 42, geoBSplineCubic, 3);
    const GeometryData& d = g.data();
    EXPECT_TRUE(d.geometry_id == 42u && d.type == geoBSplineCubic &&
                d.displacement_inv_size.y == 1.0f && d.const_color.z == 1.0f && g.m_accel_dirty &&
                g.m_sbt_dirty);

    g.m_sbt_dirty = false;
    EXPECT_TRUE(g.createBuffer(geoBufVertices, 0, 12));
    EXPECT_TRUE(g.createBuffer(geoBufIndices, 0, 12));
    EXPECT_TRUE(g.m_sbt_dirty);
    EXPECT_EQ(g.buffers().at(0).ptr(), 0u);
    EXPECT_FALSE(g.createBuffer(geoBufIndices, 4, 8)) << "another element size";
    EXPECT_EQ(g.buffers().at(2).elsize(), 12u);
    EXPECT_TRUE(g.createBuffer(geoBufVertices, 5, 12));
    EXPECT_TRUE(g.primitiveCount() == 5 && g.data().buffers[0] == g.buffers().at(0).ptr());
    EXPECT_FALSE(g.uploadBuffer(geoBufNormals, nullptr, 1)) << "slot 3 was never created";
    EXPECT_FALSE(g.resizeBuffer(geoBufNormals, 1));
    EXPECT_FALSE(g.freeBuffer(geoBufNormals));

    g.m_sbt_dirty = false;
    g.setConstColor(make_float3(1, 1, 1));
    g.setMaterial(3);
    EXPECT_FALSE(g.m_sbt_dirty) << "no real change";
    g.setConstColor(make_float3(1, 0.5f, 1));
    EXPECT_TRUE(g.m_sbt_dirty);
    g.m_sbt_dirty = false;
    g.setMaterial(2);
    EXPECT_TRUE(g.m_sbt_dirty);
}

TEST_F(GeometrySlots, UploadsShrinkInPlaceAndGrowIntoFreshMemory)
{
    GeometryTriangles g(0, nullptr, 1, geoPrimitives0, 1);
    ASSERT_TRUE(g.createBuffer(geoBufVertices, 0, 12));
    ASSERT_TRUE(g.createBuffer(geoBufIndices, 0, 12));
    const auto ten = points(10, 0);
    ASSERT_TRUE(g.uploadBuffer(geoBufVertices, ten.data(), 10));
    const CuBuffer& slot = g.buffers().at(0);
    const uint64_t address = slot.ptr();

    g.m_sbt_dirty = false;
    ASSERT_TRUE(g.uploadBufferAsync(geoBufVertices, nullptr, 0)); // count 0: nothing changes
    EXPECT_TRUE(slot.count() == 10u && !g.m_sbt_dirty);
    ASSERT_TRUE(g.uploadBufferAsync(geoBufVertices, ten.data(), 4));
    EXPECT_TRUE(slot.ptr() == address && slot.allocCount() == 10u);
    EXPECT_TRUE(g.m_sbt_dirty) << "n_primitives changed";

    // Six fits the old allocation but exceeds the current count: fresh memory.
    const auto six = points(6, 200);
    ASSERT_TRUE(g.uploadBuffer(geoBufVertices, six.data(), 6));
    EXPECT_TRUE(slot.allocCount() == 6u && g.data().buffers[0] == slot.ptr());
    std::vector<float3> out(6);
    ASSERT_TRUE(g.downloadBuffer(geoBufVertices, out.data(), 6));
    EXPECT_EQ(std::memcmp(out.data(), six.data(), 6 * sizeof(float3)), 0);
    g.m_sbt_dirty = true;
    ASSERT_TRUE(g.uploadBuffer(geoBufVertices, six.data(), 6));
    EXPECT_FALSE(g.m_sbt_dirty) << "same count, same address: overwritten with false";

    // Another slot that grows gets fresh memory, and the record must follow
    // it; the allocator may hand back the address just freed, and then the
    // record stands as it was.
    const std::vector<uint3> faces(3, make_uint3(0, 1, 2));
    ASSERT_TRUE(g.uploadBuffer(geoBufIndices, faces.data(), 1));
    const auto before = g.buffers().at(2).ptr();
    g.m_sbt_dirty = false;
    ASSERT_TRUE(g.uploadBuffer(geoBufIndices, faces.data(), 3));
    EXPECT_EQ(g.buffers().at(2).allocCount(), 3u);
    EXPECT_EQ(g.data().buffers[2], g.buffers().at(2).ptr());
    EXPECT_EQ(g.m_sbt_dirty, g.buffers().at(2).ptr() != before) << "dirty exactly when the record moved";
}

TEST_F(GeometrySlots, ResizeAndFreeOfTheFirstSlotSetThePrimitiveCount)
{
    GeometryBSplines g(0, nullptr, 1, geoBSplineLinear, 1);
    ASSERT_TRUE(g.createBuffer(geoBufVertices, 8, 12));
    ASSERT_TRUE(g.createBuffer(geoBufNormalIndices, 8, 4));
    g.m_sbt_dirty = true;
    ASSERT_TRUE(g.resizeBuffer(geoBufVertices, 8));
    EXPECT_FALSE(g.m_sbt_dirty);
    ASSERT_TRUE(g.resizeBuffer(geoBufVertices, 3));
    EXPECT_TRUE(g.m_sbt_dirty && g.primitiveCount() == 3u);

    const uint64_t address = g.data().buffers[0];
    g.m_sbt_dirty = false;
    ASSERT_TRUE(g.freeBuffer(geoBufVertices));
    EXPECT_TRUE(g.primitiveCount() == 0u && g.m_sbt_dirty);
    EXPECT_EQ(g.buffers().at(0).ptr(), 0u) << "the slot stays, without memory";
    EXPECT_EQ(g.data().buffers[0], address) << "the record keeps the old address";
    ASSERT_TRUE(g.freeBuffer(geoBufVertices));
    EXPECT_FALSE(g.m_sbt_dirty) << "was already 0";
}

using GeometrySlotsDeathTest = GeometrySlots;

TEST_F(GeometrySlotsDeathTest, SlotNumbersAndDownloadCountsAreAsserted)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(GeometryTriangles(0, nullptr, 1, geoPrimitives0, 1).createBuffer(7, 1, 4),
                 "Assertion `buf_idx < nGeoBuffers' failed");
    EXPECT_DEATH(
        {
            GeometryTriangles g(0, nullptr, 1, geoPrimitives0, 1);
            g.createBuffer(0, 3, 4);
            float out[4];
            g.downloadBuffer(0, out, 4);
        },
        "Assertion `n_primitives == search->second.count\\(\\)' failed");
}

// --- Acceleration builds --------------------------------------------------------

const std::vector<float3> kVertices = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}};
const std::vector<uint3> kFaces = {{0, 1, 2}, {1, 3, 2}};
// Two primitives: output 384 bytes (+8 for the emitted size), temp 352 with
// compaction and 192 without, compacted 192.
constexpr size_t kOutputBlock = 384 + 8;
const char* kGpuLines = "Acceleration structure allocation failed on GPU: out of memory\n"
                        "   requested temp buffer size: 0 MB\n"
                        "   trying allocate on host...\n";
const char* kHostLines = "Acceleration structure allocation failed on host: out of memory\n"
                         "   requested temp buffer size: 0 MB\n";

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
        for (int d = 0; d < 3; ++d) {
            cudaSetDevice(d);
            optixDeviceContextDestroy(s_contexts[d]);
        }
        t7test::expectBooksAtZero();
    }
    void SetUp() override
    {
        sim::clearRecords();
        sim::setCompactionSaves(true);
    }
    void TearDown() override
    {
        unlimit();
        const sim::Counts c = sim::counts();
        EXPECT_EQ(c.deviceAllocations + c.pinnedAllocations, 0u) << "every test releases its own";
    }

    static std::unique_ptr<GeometryTriangles> mesh(int device)
    {
        auto g = std::make_unique<GeometryTriangles>(device, nullptr, 7, geoPrimitives0, 1);
        g->createBuffer(geoBufVertices, 0, sizeof(float3));
        g->createBuffer(geoBufIndices, 0, sizeof(uint3));
        g->uploadBuffer(geoBufVertices, kVertices.data(), kVertices.size());
        g->uploadBuffer(geoBufIndices, kFaces.data(), kFaces.size());
        return g;
    }
    // Two segments over four points of `type`: the sizes of the mesh.
    static std::unique_ptr<GeometryBSplines> curve(int device, geoPrimirivesType type)
    {
        auto g = std::make_unique<GeometryBSplines>(device, nullptr, 8, type, 1);
        const std::vector<unsigned> segments = {0, 0}; // within 4 points for every kind
        const std::vector<float> widths(4, 0.1f);
        g->createBuffer(geoBufVertices, 0, 12);
        g->createBuffer(geoBufIndices, 0, 4);
        g->createBuffer(geoBufNormalIndices, 0, 4);
        g->uploadBuffer(geoBufVertices, kVertices.data(), 4);
        g->uploadBuffer(geoBufIndices, segments.data(), 2);
        g->uploadBuffer(geoBufNormalIndices, widths.data(), 4);
        return g;
    }
    static std::unique_ptr<GeometryPrimitives> primitives(int device, geoPrimirivesType type)
    {
        return std::make_unique<GeometryPrimitives>(device, nullptr, 3, type, 1,
                                                    "dummy7_isec.cu::__intersection__x");
    }
    // Three spheres (centres in slot 0, radii 1, 2, 3 in slot 4).
    static std::unique_ptr<GeometryPrimitives> spheres(int device, geoPrimirivesType type)
    {
        auto g = primitives(device, type);
        const auto centres = points(3, 0);
        const std::vector<float> radii = {1, 2, 3};
        g->createBuffer(geoBufVertices, 0, 12);
        g->createBuffer(geoBufNormalIndices, 0, 4);
        g->uploadBuffer(geoBufVertices, centres.data(), 3);
        g->uploadBuffer(geoBufNormalIndices, radii.data(), 3);
        return g;
    }
    // Builds with standard output captured.
    static std::string build(GeometryBase& g, int device, bool relocation = false,
                             bool release = false)
    {
        return printed([&] { EXPECT_TRUE(g.buildMeshAccel(s_contexts[device], relocation, release)); });
    }
    static void unlimit()
    {
        sim::setDeviceMemoryLimit(0, size_t(1) << 30);
        sim::setPinnedMemoryLimit(std::numeric_limits<size_t>::max());
    }
    static void limitDevice0(size_t freeBytes)
    {
        sim::setDeviceMemoryLimit(0, sim::deviceBytesInUse(0) + freeBytes);
    }

    static OptixDeviceContext s_contexts[3];
};
OptixDeviceContext GeometryAccel::s_contexts[3] = {};

TEST_F(GeometryAccel, TrianglesReachTheBuildAndAreCompacted)
{
    auto g = mesh(0);
    EXPECT_EQ(build(*g, 0), "");
    ASSERT_EQ(sim::records().builds.size(), 1u);
    const sim::BuildRecord r = sim::records().builds[0];
    EXPECT_EQ(r.options.buildFlags,
              unsigned(OPTIX_BUILD_FLAG_ALLOW_COMPACTION | OPTIX_BUILD_FLAG_PREFER_FAST_TRACE));
    EXPECT_EQ(r.options.operation, OPTIX_BUILD_OPERATION_BUILD);
    // Every other field of the input, offsets and pre-transform included, is 0.
    OptixBuildInput expected = {};
    expected.type = OPTIX_BUILD_INPUT_TYPE_TRIANGLES;
    OptixBuildInputTriangleArray& t = expected.triangleArray;
    t.vertexFormat = OPTIX_VERTEX_FORMAT_FLOAT3;
    t.vertexStrideInBytes = 12;
    t.numVertices = 4;
    t.indexBuffer = g->buffers().at(2).ptr();
    t.indexFormat = OPTIX_INDICES_FORMAT_UNSIGNED_INT3;
    t.indexStrideInBytes = 12;
    t.numIndexTriplets = 2;
    t.numSbtRecords = 1;
    EXPECT_TRUE(std::memcmp(&r.input, &expected, sizeof expected) == 0 &&
                r.vertexBuffer == g->buffers().at(0).ptr() &&
                r.flags == std::vector<unsigned>{OPTIX_GEOMETRY_FLAG_DISABLE_ANYHIT} &&
                r.numEmittedProperties == 1u && !r.tempPinned);

    ASSERT_EQ(sim::records().compactions.size(), 1u);
    EXPECT_EQ(sim::records().compactions[0].stream, nullptr) << "compaction runs on stream 0";
    EXPECT_TRUE(g->gasBufferSize() == 192u &&
                g->gasHandle() == sim::records().compactions[0].output && !g->m_accel_dirty);
    EXPECT_EQ(sim::counts().deviceAllocations, 3u) << "two slots and the compacted structure";
    build(*g, 0);
    EXPECT_EQ(sim::counts().deviceAllocations, 3u) << "a rebuild replaces the structure";

    // When compaction saves nothing, the first structure stays.
    sim::setCompactionSaves(false);
    build(*g, 0);
    EXPECT_TRUE(sim::records().compactions.size() == 2u && g->gasBufferSize() == 384u);

    GeometryTriangles empty(0, nullptr, 7, geoPrimitives0, 1);
    EXPECT_EQ(build(empty, 0), "");
    EXPECT_EQ(sim::records().builds.size(), 3u) << "nothing is built without primitives";
    EXPECT_TRUE(empty.m_accel_dirty);
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
    for (const auto& kind : kinds) {
        SCOPED_TRACE(kind.first);
        sim::clearRecords();
        auto g = curve(0, kind.first);
        build(*g, 0);
        ASSERT_EQ(sim::records().builds.size(), 1u);
        const sim::BuildRecord r = sim::records().builds[0];
        OptixBuildInput expected = {};
        expected.type = OPTIX_BUILD_INPUT_TYPE_CURVES;
        OptixBuildInputCurveArray& c = expected.curveArray;
        c.curveType = kind.second;
        c.numPrimitives = 2;
        c.numVertices = 4;
        c.vertexStrideInBytes = 12;
        c.widthStrideInBytes = 4;
        c.indexBuffer = g->buffers().at(2).ptr();
        c.indexStrideInBytes = 4;
        c.flag = OPTIX_GEOMETRY_FLAG_DISABLE_ANYHIT;
        EXPECT_TRUE(std::memcmp(&r.input, &expected, sizeof expected) == 0 &&
                    r.vertexBuffer == g->buffers().at(0).ptr() &&
                    r.widthBuffer == g->buffers().at(4).ptr());
    }
}

TEST_F(GeometryAccel, MemoryFallBacksAndTheirReports)
{
    auto g = mesh(0);
    limitDevice0(kOutputBlock + 192); // the structure and its compacted copy
    EXPECT_EQ(build(*g, 0), kGpuLines);
    EXPECT_TRUE(sim::records().builds.back().tempPinned);
    EXPECT_EQ(g->gasBufferSize(), 192u);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess) << "pending errors are cleared";

    unlimit();
    g = mesh(0);
    limitDevice0(kOutputBlock);
    EXPECT_EQ(build(*g, 0), std::string(kGpuLines) +
                                "Acceleration structure allocation failed: out of memory\n"
                                "   requested compacted buffer size: 0 MB\n"
                                "   using non-compacted structure...\n");
    EXPECT_TRUE(g->gasBufferSize() == 384u && !g->m_accel_dirty);

    // Host scratch short too: a build without compaction, spelt per kind.
    unlimit();
    const std::pair<std::unique_ptr<GeometryBase>, const char*> cases[] = {
        {mesh(0), "   trying non-compactible build...\n"},
        {curve(0, geoBSplineLinear), "   trying non-campactible build...\n"},
    };
    for (const auto& c : cases) {
        sim::clearRecords();
        limitDevice0(kOutputBlock);
        sim::setPinnedMemoryLimit(200); // the 192 bytes of a non-compacting build
        EXPECT_EQ(build(*c.first, 0), std::string(kGpuLines) + kHostLines + c.second);
        ASSERT_EQ(sim::records().builds.size(), 1u);
        const sim::BuildRecord r = sim::records().builds[0];
        EXPECT_TRUE(r.options.buildFlags == unsigned(OPTIX_BUILD_FLAG_PREFER_FAST_TRACE) &&
                    r.numEmittedProperties == 0u && r.tempSize == 192u &&
                    sim::records().compactions.empty() && c.first->gasBufferSize() == 384u &&
                    !c.first->m_accel_dirty);
    }

    // Nothing fits: it gives up, holds nothing and stays dirty.
    unlimit();
    g = mesh(0);
    const size_t before = sim::deviceBytesInUse(0);
    limitDevice0(kOutputBlock);
    sim::setPinnedMemoryLimit(100);
    EXPECT_EQ(build(*g, 0), std::string(kGpuLines) + kHostLines +
                                "   trying non-compactible build...\n"
                                "Acceleration structure allocation failed: out of memory\n"
                                "   requested temp buffer size: 0 MB\n"
                                "   aborting.\n");
    EXPECT_TRUE(g->gasBuffer() == 0u && g->m_accel_dirty);
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
    EXPECT_TRUE(g.intersectionProgram().file == "dummy7_isec.cu" &&
                g.intersectionProgram().function == "__intersection__dummy");
    ASSERT_TRUE(g.applyPreprocessing());
    const OptixAabb* box = reinterpret_cast<const OptixAabb*>(g.aabb().ptr());
    EXPECT_TRUE(box->minX == 0.0f && box->maxZ == 0.1f);
    const uint64_t boxes = g.aabb().ptr();
    EXPECT_EQ(build(g, 0, false, true), "");
    const sim::BuildRecord r = sim::records().builds.back();
    OptixBuildInput expected = {};
    expected.type = OPTIX_BUILD_INPUT_TYPE_CUSTOM_PRIMITIVES;
    expected.customPrimitiveArray.numPrimitives = 1;
    expected.customPrimitiveArray.numSbtRecords = 1;
    EXPECT_EQ(std::memcmp(&r.input, &expected, sizeof expected), 0) << "stride 0, no offsets";
    EXPECT_EQ(r.aabbBuffer, boxes);
    EXPECT_EQ(r.flags, std::vector<unsigned>{OPTIX_GEOMETRY_FLAG_DISABLE_ANYHIT});
    EXPECT_EQ(g.aabb().ptr(), 0u) << "inputs released after the build";
}

// Each kind's launcher gets its slots in the documented order: the boxes are
// those of the per-element function over slots that all hold other values.
TEST_F(GeometryAccel, BoxesComeFromEachKindsSlots)
{
    struct Kind {
        geoPrimirivesType type;
        std::vector<size_t> slots; // float3 slots, in the element function's order
        std::function<CudaAabb(const std::map<size_t, std::vector<float3>>&, size_t)> box;
    };
    const std::vector<float2> pairs = {{0.5f, -1}, {2, 0.25f}, {-1, -2}};
    const Kind kinds[] = {
        {geoBezier, {0, 3, 5, 6},
         [&](const auto& s, size_t i) { return bezierBox(s.at(0)[i], s.at(3)[i], s.at(5)[i], s.at(6)[i], pairs[i]); }},
        {geoParallelograms, {0, 2, 3},
         [](const auto& s, size_t i) { return parallelogramBox(s.at(0)[i], s.at(2)[i], s.at(3)[i]); }},
        {geoParallelepipeds, {0, 2, 3, 4},
         [](const auto& s, size_t i) { return parallelepipedBox(s.at(0)[i], s.at(2)[i], s.at(3)[i], s.at(4)[i]); }},
    };
    for (const Kind& k : kinds) {
        SCOPED_TRACE(k.type);
        auto g = primitives(0, k.type);
        std::map<size_t, std::vector<float3>> data;
        for (size_t slot : k.slots) {
            data[slot] = points(3, 10.0f * float(slot) - 25.0f);
            g->createBuffer(slot, 0, 12);
            g->uploadBuffer(slot, data[slot].data(), 3);
        }
        if (k.type == geoBezier) {
            g->createBuffer(geoBufNormalIndices, 0, 8);
            g->uploadBuffer(geoBufNormalIndices, pairs.data(), 3);
        }
        ASSERT_TRUE(g->applyPreprocessing());
        const auto* boxes = reinterpret_cast<const CudaAabb*>(g->aabb().ptr());
        for (size_t i = 0; i < 3; ++i) {
            const CudaAabb expected = k.box(data, i);
            EXPECT_EQ(std::memcmp(&boxes[i], &expected, sizeof expected), 0) << "box " << i;
        }
        // A slot shorter than slot 0 cannot be boxed: a kernel would read past it.
        g->uploadBuffer(k.slots.back(), data[k.slots.back()].data(), 2);
        EXPECT_FALSE(g->applyPreprocessing());
    }
    auto empty = primitives(0, geoParticleSet);
    EXPECT_FALSE(empty->applyPreprocessing()) << "no slots and not the placeholder";
    empty->createBuffer(geoBufVertices, 0, 12);
    EXPECT_TRUE(empty->applyPreprocessing()) << "count 0: nothing to launch";
    empty->uploadBuffer(geoBufVertices, kVertices.data(), 2);
    EXPECT_FALSE(empty->applyPreprocessing()) << "radii missing";
}

TEST_F(GeometryAccel, BoxesRelocateBetweenCopiesOfOneKind)
{
    // Structures are relocated, and refused by an older device, in the scene
    // compilation tests; here the boxes of custom primitives.
    auto from = spheres(0, geoParticleSet);
    ASSERT_TRUE(from->applyPreprocessing());
    auto copy = spheres(1, geoParticleSet);
    ASSERT_TRUE(copy->relocateAabb(*from));
    EXPECT_EQ(copy->aabb().count(), 3u);
    EXPECT_EQ(std::memcmp(reinterpret_cast<void*>(copy->aabb().ptr()),
                          reinterpret_cast<void*>(from->aabb().ptr()), 3 * sizeof(OptixAabb)),
              0);
    EXPECT_EQ(failure([&] { spheres(1, geoParticleSetTex)->relocateAabb(*from); }),
              "relocateAabb(): primitive types not maching.");
    EXPECT_EQ(failure([&] { copy->relocateAabb(*primitives(0, geoParticleSet)); }),
              "relocateAabb(): source buffer not found, should never happen.");
    EXPECT_EQ(failure([] { GeometryPrimitives(0, nullptr, 5, geoParticleSet, 1, "dummy7_isec.cu"); }),
              "IS program name not valid.");
}

} // namespace
