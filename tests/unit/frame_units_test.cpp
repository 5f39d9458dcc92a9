// Frames on the host: the tile pattern as the kernel computes it and the
// readback scales (gathers and conversions are checked through launches); the output buffer's kinds; and the
// sample buffers' fall-back to host memory with its messages.

#include "core/PathTracer.h"
#include "kernels/WorkDistribution_kernel.h"
#include "kernels/readback_kernels.h"
#include "output/CUDAOutputBuffer.h"
#include "programs/ProgramFiles.h"
#include "support.h"

#include <cstring>
#include <set>

namespace {

std::vector<int2> samples(int ordinal, int devices, unsigned width, unsigned count)
{
    std::vector<int2> out(count);
    for (unsigned s = 0; s < count; ++s)
        fillSamples(s, ordinal, devices, width, 0, out.data());
    return out;
}

// The 8-pixel tile columns (x / 8) among samples [first, first + count).
std::set<int> tileColumns(const std::vector<int2>& v, unsigned first, unsigned count)
{
    std::set<int> columns;
    for (unsigned s = first; s < first + count; ++s)
        columns.insert(v[s].x / 8);
    return columns;
}

TEST(Tiles, BandsOfTilesSharedOutDiagonally)
{
    // One device of width 20: three tiles a band, the last reaching x = 23.
    const auto one = samples(0, 1, 20, 2 * 3 * 64);
    EXPECT_EQ(tileColumns(one, 0, 192), (std::set<int>{0, 1, 2}));
    EXPECT_TRUE(one[9].x == 1 && one[9].y == 1 && one[191].x == 23 && one[191].y == 7);
    EXPECT_TRUE(one[192].x == 0 && one[192].y == 8) << "the next band";

    // Devices 0 and 1, width 32: two tiles a band each, slots swapping by band.
    const auto d0 = samples(0, 2, 32, 2 * 2 * 64);
    const auto d1 = samples(1, 2, 32, 2 * 2 * 64);
    EXPECT_TRUE(tileColumns(d0, 0, 128) == (std::set<int>{0, 2}) &&
                tileColumns(d0, 128, 128) == (std::set<int>{1, 3}) &&
                tileColumns(d1, 0, 128) == (std::set<int>{1, 3}) &&
                tileColumns(d1, 128, 128) == (std::set<int>{0, 2}));
    // Width 20 on two devices still gives each two tiles a band.
    EXPECT_EQ(samples(0, 2, 20, 129)[128].y, 8);

    // The slot comes from the CUDA ordinal: 0 and 2 of two devices coincide.
    const auto d2 = samples(2, 2, 32, 256);
    EXPECT_EQ(0, std::memcmp(d2.data(), d0.data(), d0.size() * sizeof(int2)));
}

// The values themselves are checked through the entry points (frames_test.cpp).
TEST(ReadbackConversion, ScalesAreKeptToTheBit)
{
    auto bits = [](float f) {
        unsigned u;
        std::memcpy(&u, &f, 4);
        return u;
    };
    EXPECT_TRUE(bits(kScaleRgba8) == 0x437FFD71u && bits(kScaleBgra8) == 0x437FFFBEu &&
                bits(kScale16) == 0x477FFFFDu);
}

class OutputBuffer : public t7test::BooksAtZero {
protected:
    void SetUp() override
    {
        ASSERT_EQ(cudaSetDevice(0), cudaSuccess);
        ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
    }
    void TearDown() override
    {
        cudaStreamDestroy(stream);
        BooksAtZero::TearDown();
    }
    cudaStream_t stream = nullptr;
};

TEST_F(OutputBuffer, EachKindHandsTheHostItsPixels)
{
    for (CUDAOutputBufferType type : {kOutputDevice, kOutputZeroCopy, kOutputDeviceStaged}) {
        CUDAOutputBuffer<uint2> b(type, 0, stream);
        EXPECT_EQ(b.getHostPointer(), nullptr) << "empty until resized";
        b.resize(4, 2);
        const sim::Counts c = sim::counts();
        EXPECT_EQ(c.pinnedAllocations, type == kOutputZeroCopy ? 1u : 0u) << type;
        EXPECT_EQ(c.deviceBytes, type == kOutputZeroCopy ? 0u : 64u) << type;
        for (unsigned i = 0; i < 8; ++i)
            b.map()[i] = make_uint2(i, 7); // device memory is host memory here
        const uint2* host = b.getHostPointer();
        EXPECT_EQ(host == b.map(), type == kOutputZeroCopy) << "only kind 2 needs no copy";
        EXPECT_EQ(host[5].x, 5u);
        sim::clearJournal();
        b.resize(4, 2);
        EXPECT_EQ(sim::journal().size(), 0u) << "the same size reallocates nothing";
        b.resize(0, 0);
        EXPECT_EQ(sim::counts().pinnedAllocations + sim::counts().deviceAllocations, 0u);
    }
}

TEST_F(OutputBuffer, FailuresLeaveItEmptyAndItsDestructorReportsOnStandardError)
{
    CUDAOutputBuffer<float4> failing(kOutputZeroCopy, 0, stream);
    sim::failNext("cudaHostGetDevicePointer", cudaErrorInvalidValue);
    EXPECT_EQ(t7test::failure([&] { failing.resize(3, 3); }).rfind(
                  "CUDA call (cudaHostGetDevicePointer(reinterpret_cast<void**>(&m_device_pixels), "
                  "reinterpret_cast<void*>(m_host_zcopy_pixels), 0) ) failed with error: 'invalid "
                  "argument' (CUDAOutputBuffer.h:",
                  0),
              0u);
    EXPECT_TRUE(failing.width() == 0 && sim::counts().pinnedAllocations == 0u);

    auto* b = new CUDAOutputBuffer<float4>(kOutputZeroCopy, 0, stream);
    b->resize(2, 2);
    void* block = b->getHostPointer();
    sim::failNext("cudaFreeHost", cudaErrorInvalidValue);
    testing::internal::CaptureStderr();
    delete b;
    EXPECT_EQ(testing::internal::GetCapturedStderr().rfind(
                  "CUDAOutputBuffer destructor caught exception: CUDA call "
                  "(cudaFreeHost(reinterpret_cast<void*>(m_host_zcopy_pixels)) ) failed",
                  0),
              0u);
    cudaFreeHost(block);
}

TEST(SampleBuffers, EachFallsBackToMappedHostMemoryAndFailsOnlyWhenThatFailsToo)
{
    lib_dir = TREVIX7_BUILD_DIR;
    std::unique_ptr<PathTracer> pt;
    t7test::printed([&] {
        pt.reset(new PathTracer(64, 48, READBACK_RGBA8, {}, {}, {}, {}, {}, {}, {}, 0));
    });
    auto& state = const_cast<PathTracerState&>(pt->states()[0]);
    struct Case {
        void (PathTracer::*alloc)(PathTracerState&);
        size_t element;
        std::string name;
        CUdeviceptr PathTracerState::*device;
        void* PathTracerState::*host;
    };
    const Case cases[] = {
        {&PathTracer::allocIndicesBuffer, 8, "Sample indices buffer",
         &PathTracerState::d_sample_indices, &PathTracerState::h_sample_indices},
        {&PathTracer::allocAccumBuffer, 16, "Sample accumulation buffer",
         &PathTracerState::d_sample_accum, &PathTracerState::h_sample_accum},
        {&PathTracer::allocL2Buffer, 16, "Sample L2 accumulation buffer",
         &PathTracerState::d_sample_l2, &PathTracerState::h_sample_l2},
        {&PathTracer::allocAlbedoBuffer, 16, "Albedo buffer", &PathTracerState::d_albedo_accum,
         &PathTracerState::h_albedo_accum},
        {&PathTracer::allocNormalBuffer, 16, "Normal buffer", &PathTracerState::d_normal_accum,
         &PathTracerState::h_normal_accum},
    };
    PathTracer::makeCurrent(state);
    PathTracer::freeIOBuffers(state);
    sim::setDeviceMemoryLimit(0, sim::deviceBytesInUse(0)); // nothing more fits
    for (const Case& c : cases) {
        const std::string lines = c.name + " allocation failed on device: out of memory\n"
                                           "   requested buffer size: ";
        state.num_samples = 4;
        EXPECT_EQ(t7test::printed([&] { (pt.get()->*c.alloc)(state); }),
                  lines + "0 MB\n   trying on the host...\n");
        ASSERT_NE(state.*c.host, nullptr) << c.name;
        EXPECT_EQ(state.*c.device, CUdeviceptr(state.*c.host)) << "the mapped address";

        // 1 GiB fits nowhere.
        PathTracer::freeIOBuffers(state);
        state.num_samples = int((size_t(1) << 30) / c.element);
        sim::setPinnedMemoryLimit(0);
        std::string error;
        EXPECT_EQ(t7test::printed([&] {
                      error = t7test::failure([&] { (pt.get()->*c.alloc)(state); });
                  }),
                  lines + "1024 MB\n   trying on the host...\n");
        EXPECT_EQ(error, c.name + " allocation failed on host.");
        EXPECT_EQ(state.*c.host, nullptr);
        sim::setPinnedMemoryLimit(SIZE_MAX);
    }
    // A mapped block's device address is taken with the buffer's own names.
    state.num_samples = 4;
    sim::failNext("cudaHostGetDevicePointer", cudaErrorInvalidValue);
    t7test::printed([&] {
        EXPECT_EQ(t7test::failure([&] { pt->allocIndicesBuffer(state); }).rfind(
                      "CUDA call (cudaHostGetDevicePointer( reinterpret_cast<void**>(&state.d_sample_indices), "
                      "reinterpret_cast<void*>(state.h_sample_indices), 0 ) ) failed with error: "
                      "'invalid argument' (PathTracer.cpp:",
                      0),
                  0u);
    });
    sim::setDeviceMemoryLimit(0, size_t(1) << 30);
    pt->resize(1920, 1080); // frees the mapped block, back on the device
    EXPECT_TRUE(state.h_sample_indices == nullptr && state.num_samples == 240 * 135 * 64);
    pt.reset();
    t7test::expectBooksAtZero();
}

} // namespace
