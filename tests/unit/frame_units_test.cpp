// Frames on the host: the tile pattern, the gathers and the readback
// conversions as the kernels compute them; the output buffer's kinds; and the
// sample buffers' fall-back to host memory with its messages.

#include "core/PathTracer.h"
#include "kernels/WorkDistribution_kernel.h"
#include "kernels/readback_kernels.h"
#include "output/CUDAOutputBuffer.h"
#include "programs/ProgramFiles.h"
#include "support.h"

#include <cmath>
#include <cstring>
#include <limits>
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
    EXPECT_EQ(one[9].x, 1);
    EXPECT_EQ(one[9].y, 1);
    EXPECT_EQ(one[191].x, 23);
    EXPECT_EQ(one[191].y, 7);
    EXPECT_EQ(one[192].x, 0);
    EXPECT_EQ(one[192].y, 8) << "the next band";

    // Devices 0 and 1, width 32: two tiles a band each, slots swapping by band.
    const auto d0 = samples(0, 2, 32, 2 * 2 * 64);
    const auto d1 = samples(1, 2, 32, 2 * 2 * 64);
    EXPECT_EQ(tileColumns(d0, 0, 128), (std::set<int>{0, 2}));
    EXPECT_EQ(tileColumns(d0, 128, 128), (std::set<int>{1, 3}));
    EXPECT_EQ(tileColumns(d1, 0, 128), (std::set<int>{1, 3}));
    EXPECT_EQ(tileColumns(d1, 128, 128), (std::set<int>{0, 2}));
    // Width 20 on two devices still gives each two tiles a band.
    EXPECT_EQ(samples(0, 2, 20, 129)[128].y, 8);

    // The slot comes from the CUDA ordinal: 0 and 2 of two devices coincide.
    const auto d2 = samples(2, 2, 32, 256);
    EXPECT_EQ(0, std::memcmp(d2.data(), d0.data(), d0.size() * sizeof(int2)));
}

TEST(Gather, BatchMeansLandBottomRowFirstAndBlendIntoTheRunningAverage)
{
    // One device, width 20, height 8: 192 samples, 32 of them right of the image.
    const unsigned width = 20, height = 8, n = 192;
    const auto indices = samples(0, 1, width, n);
    std::vector<float4> accum(n), l2(n), albedoAccum(n), normalAccum(n);
    for (unsigned s = 0; s < n; ++s) {
        const float x = float(indices[s].x), y = float(indices[s].y);
        accum[s] = make_float4(2 * x, 2 * y, 4, 6);      // two passes
        albedoAccum[s] = make_float4(1, 1, 1, 1);
        normalAccum[s] = make_float4(1, 2, 2, 4);        // length 5 over four components
    }
    const float4 untouched = make_float4(-1, -1, -1, -1);
    std::vector<float4> image(width * height, untouched), albedo(image), normal(image);
    GatherArgs a{indices.data(), accum.data(), l2.data(), albedoAccum.data(), normalAccum.data(),
                 image.data(), albedo.data(), normal.data(), width, height};
    for (unsigned s = 0; s < n; ++s)
        gatherResults0Element(s, a, 0.5f);
    for (unsigned y = 0; y < height; ++y)
        for (unsigned x = 0; x < width; ++x) {
            const float4 p = image[(height - 1 - y) * width + x];
            EXPECT_TRUE(p.x == float(x) && p.y == float(y) && p.z == 2 && p.w == 3) << x << "," << y;
        }
    EXPECT_EQ(albedo[0].x, 0.5f);
    EXPECT_EQ(normal[0].x, 1.0f / 5.0f);
    EXPECT_EQ(normal[0].w, 4.0f / 5.0f);
    EXPECT_EQ(l2[20].x, 4.0f) << "the running average of an outside sample is kept too";

    // A later batch of two passes after four: weight 2/6 towards the new mean.
    for (float4& v : accum)
        v.w = 18; // mean 9
    for (unsigned s = 0; s < n; ++s)
        gatherResultsNElement(s, a, 0.5f, 2.0f / 6.0f);
    EXPECT_FLOAT_EQ(image[0].w, 3 + (9 - 3) * (2.0f / 6.0f));
    EXPECT_EQ(image[0].x, 0.0f);
    EXPECT_EQ(albedo[0].x, 0.5f);
    // Without albedo or normal images those channels are left alone.
    a.albedoImage = a.normalImage = nullptr;
    gatherResults0Element(0, a, 0.5f);
}

TEST(ReadbackConversion, SaturateScaleTruncateAndChannelOrder)
{
    auto bits = [](float f) {
        unsigned u;
        std::memcpy(&u, &f, 4);
        return u;
    };
    EXPECT_EQ(bits(kScaleRgba8), 0x437FFD71u);
    EXPECT_EQ(bits(kScaleBgra8), 0x437FFFBEu);
    EXPECT_EQ(bits(kScale16), 0x477FFFFDu);

    const float nan = std::numeric_limits<float>::quiet_NaN();
    struct Case {
        float value;
        unsigned rgba8, bgra8, u16;
    };
    const Case cases[] = {{1.0f, 255, 255, 65535},    {0.99612f, 254, 255, 65281},
                          {0.5f, 127, 127, 32767},    {-0.5f, 0, 0, 0},
                          {nan, 0, 0, 0},             {7.0f, 255, 255, 65535},
                          {1.0f / 255.99f, 1, 1, 256}};
    for (const Case& c : cases) {
        const float4 src = make_float4(c.value, 0.25f, 0.75f, 1.0f);
        uchar4 rgba8, bgra8;
        ushort4 rgba16, bgra16;
        float4 bgra32;
        readbackRgba8Element(0, &src, &rgba8);
        readbackBgra8Element(0, &src, &bgra8);
        readbackRgba16Element(0, &src, &rgba16);
        readbackBgra16Element(0, &src, &bgra16);
        readbackBgra32Element(0, &src, &bgra32);
        const unsigned char rgba8Bytes[] = {(unsigned char)c.rgba8, 63, 191, 255};
        const unsigned char bgra8Bytes[] = {191, 63, (unsigned char)c.bgra8, 255};
        const unsigned short rgba16Words[] = {(unsigned short)c.u16, 16383, 49151, 65535};
        const unsigned short bgra16Words[] = {49151, 16383, (unsigned short)c.u16, 65535};
        const float bgra32Floats[] = {0.75f, 0.25f, c.value, 1.0f}; // not clamped, NaN kept
        EXPECT_EQ(0, std::memcmp(&rgba8, rgba8Bytes, 4)) << c.value;
        EXPECT_EQ(0, std::memcmp(&bgra8, bgra8Bytes, 4)) << c.value;
        EXPECT_EQ(0, std::memcmp(&rgba16, rgba16Words, 8)) << c.value;
        EXPECT_EQ(0, std::memcmp(&bgra16, bgra16Words, 8)) << c.value;
        EXPECT_EQ(0, std::memcmp(&bgra32, bgra32Floats, 16)) << c.value;
    }
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
    EXPECT_EQ(failing.width(), 0);
    EXPECT_EQ(sim::counts().pinnedAllocations, 0u);

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
    pt->resize(64, 48); // frees the mapped block, back on the device
    EXPECT_EQ(state.h_sample_indices, nullptr);
    pt.reset();
    t7test::expectBooksAtZero();
}

} // namespace
