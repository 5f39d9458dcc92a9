// Frames through the entry points on two simulated devices (860, 860), with
// the placeholder camera, whose value for every pixel is known
// (shaders/dummy7_camera.h): tiles per device, accumulation, launch results,
// breaks, readback formats, point reads, host-memory fall-backs and the books.

#include "core/PathTracer.h"
#include "support.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <atomic>
#include <thread>

PathTracer* findPathTracer(unsigned int handle);

namespace {

using namespace t7test;

constexpr unsigned kWidth = 64, kHeight = 48;

// The device that renders pixel (x, y) with ordinals 0 and 1: the tile slots
// swap from band to band.
float deviceOf(unsigned x, unsigned y) { return float((x / 8 + y / 8) % 2); }

class Frames : public InstanceTest {
protected:
    void SetUp() override
    {
        InstanceTest::SetUp();
        if (HasFatalFailure())
            return;
        readyToLaunch(h);
        sim::clearRecords();
    }
    int launch(unsigned count, unsigned maxFrames, unsigned handle = 0)
    {
        char error[kErrorSize] = "";
        const int r = ApiLaunch(handle ? handle : h, count, maxFrames, error);
        EXPECT_STREQ(error, "");
        return r;
    }
    template <typename Pixel>
    std::vector<Pixel> image(bool (*get)(unsigned, void**, int*, char*), unsigned handle = 0)
    {
        void* data = nullptr;
        int size = 0;
        EXPECT_TRUE(get(handle ? handle : h, &data, &size, nullptr));
        const Pixel* p = static_cast<const Pixel*>(data);
        return std::vector<Pixel>(p, p + size_t(size) / sizeof(Pixel));
    }
    std::vector<float4> raw() { return rawImage(h); }
    // The image as gathered: bottom row first.
    static float4 at(const std::vector<float4>& v, unsigned x, unsigned y)
    {
        return v[(kHeight - 1 - y) * kWidth + x];
    }
};

TEST_F(Frames, TwoDevicesRenderTheirTilesIntoOneImage)
{
    EXPECT_EQ(launch(1, 100), 0);
    const auto two = raw();
    ASSERT_EQ(two.size(), size_t(kWidth * kHeight));
    const auto hits = image<float4>(ApiGetHitPosBuffer);
    const auto ids = image<uint2>(ApiGetIdBuffer);
    for (unsigned y = 0; y < kHeight; ++y)
        for (unsigned x = 0; x < kWidth; ++x) {
            const float4 p = at(two, x, y);
            const float4 hit = hits[y * kWidth + x]; // top row first
            const uint2 id = ids[y * kWidth + x];
            ASSERT_TRUE(p.x == x && p.y == y && p.z == deviceOf(x, y) && p.w == 0) << x << "," << y;
            ASSERT_TRUE(hit.x == x + 0.5f && hit.y == y + 0.5f && hit.z == deviceOf(x, y));
            ASSERT_TRUE(id.x == (x | 1u << 30) && id.y == y) << "the last pass's id";
        }

    // One launch a device, 4 x 6 tiles of 64 samples each, with the frame's
    // parameters and the buffers of that device.
    const auto launches = sim::records().launches;
    ASSERT_EQ(launches.size(), 2u);
    void* hitPos = nullptr;
    int size = 0;
    ApiGetHitPosBuffer(h, &hitPos, &size, nullptr);
    for (int d = 0; d < 2; ++d) {
        const sim::LaunchRecord& r = launches[size_t(d)];
        EXPECT_TRUE(r.device == d && r.width == 4u * 6 * 64 && r.params.device_idx == d &&
                    r.params.last_pass == 1 && r.params.width == kWidth &&
                    r.params.hit_pos == hitPos);
        EXPECT_EQ(r.params.albedo_accum, nullptr) << "albedo is not kept";
        EXPECT_EQ(r.params.sample_indices,
                  reinterpret_cast<int2*>(findPathTracer(h)->states()[size_t(d)].d_sample_indices));
    }
    ASSERT_TRUE(ApiResize(h, 20, 8, nullptr));
    EXPECT_EQ(findPathTracer(h)->states()[1].num_samples, 2 * 64) << "two tiles a band each";
}

TEST_F(Frames, AccumulationIsTheExactMeanOfAllPassesInEveryImage)
{
    const auto none = image<float4>(ApiGetAlbedoBuffer);
    EXPECT_TRUE(none.empty()) << "albedo is not kept by default";
    ASSERT_TRUE(ApiSetSaveAlbedoState(h, true));
    ASSERT_TRUE(ApiSetSaveNormalsState(h, true));
    EXPECT_EQ(launch(2, 100), 0);
    EXPECT_EQ(launch(3, 100), 0);
    EXPECT_EQ(launch(1, 100), 0);
    // Passes carry the total-frame counter 0..5: their mean is 2.5.
    const auto v = raw();
    const auto albedo = image<float4>(ApiGetAlbedoBuffer);
    const auto normal = image<float4>(ApiGetNormalBuffer);
    for (unsigned y = 0; y < kHeight; y += 5)
        for (unsigned x = 0; x < kWidth; x += 3) {
            const float4 p = at(v, x, y), a = at(albedo, x, y), n = at(normal, x, y);
            const float d = deviceOf(x, y);
            EXPECT_FLOAT_EQ(p.w, 2.5f);
            EXPECT_FLOAT_EQ(a.x, x * 0.5f);
            EXPECT_FLOAT_EQ(a.w, 1.25f);
            // Normalised over all four components of (x, y, d + 1, 1).
            const float length = std::sqrt(float(x * x + y * y) + (d + 1) * (d + 1) + 1);
            EXPECT_FLOAT_EQ(n.z, (d + 1) / length);
            EXPECT_FLOAT_EQ(n.w, 1 / length);
        }
    std::vector<unsigned> accum;
    for (const sim::LaunchRecord& r : sim::records().launches)
        if (r.device == 0)
            accum.push_back(r.params.accum_frames * 10 + r.params.subframe_index);
    EXPECT_EQ(accum, (std::vector<unsigned>{0, 11, 20, 31, 42, 50}));

    // After a clear the next batch is the whole image again.
    EXPECT_TRUE(ApiClearAccumulation(h));
    EXPECT_EQ(launch(1, 100), 0);
    EXPECT_EQ(at(raw(), 3, 3).w, 6.0f);
}

// Lens value 4 of the current camera inside (0, 1) weights each new batch.
TEST_F(Frames, ACameraBlendWeightsEachNewBatch)
{
    // Passes 0, 1, 2 blended by a quarter: each new batch weighs 1/4.
    readyToLaunch(h, 0.25f);
    for (int batch = 0; batch < 3; ++batch)
        EXPECT_EQ(launch(1, 100), 0);
    EXPECT_EQ(at(raw(), 9, 4).w, 0.6875f) << "0, then 0.25, then 0.6875";
    // Passes 3, 4, 5 under a camera blending by halves, onto what is there.
    readyToLaunch(h, 0.5f);
    for (int batch = 0; batch < 3; ++batch)
        EXPECT_EQ(launch(1, 100), 0);
    EXPECT_EQ(at(raw(), 9, 4).w, 3.9609375f) << "1.84375, 2.921875, 3.9609375";
    // New sample buffers hold no history: the next batch is the whole image.
    ASSERT_TRUE(ApiSetSaveAlbedoState(h, true));
    EXPECT_EQ(launch(1, 100), 0);
    EXPECT_EQ(at(raw(), 9, 4).w, 6.0f);
}

TEST_F(Frames, LaunchResults)
{
    EXPECT_EQ(launch(4, 8), 0);
    EXPECT_EQ(launch(4, 8), 1) << "the batch that reaches maxFrames";
    sim::clearRecords();
    EXPECT_EQ(launch(4, 8), 2) << "already complete";
    EXPECT_TRUE(sim::records().launches.empty());
    EXPECT_EQ(launch(100, 100), 1);
    EXPECT_EQ(launch(100, 100), 2);
    EXPECT_TRUE(ApiClearAccumulation(h));

    // Exceptions come back as 0x900 with the failing call's text.
    struct Case {
        const char* function;
        int result;
        const char* text;
    };
    const Case cases[] = {
        {"cudaMemcpyAsync", cudaErrorInvalidValue,
         "CUDA call (cudaMemcpyAsync(reinterpret_cast<void*>(state.d_params), &state.params, "
         "sizeof(Params), cudaMemcpyHostToDevice, state.stream ) ) failed with error: 'invalid "
         "argument' (PathTracer.cpp:"},
        {"optixLaunch", OPTIX_ERROR_INVALID_VALUE,
         "OPTIX_ERROR_INVALID_VALUE: Optix call 'optixLaunch( state.pipeline, state.stream, "
         "reinterpret_cast<CUdeviceptr>(state.d_params), sizeof(Params), &state.sbt, "
         "state.num_samples, 1, 1 )' failed: PathTracer.cpp:"},
    };
    for (const Case& c : cases) {
        sim::failNext(c.function, c.result);
        char error[kErrorSize];
        const std::string out = printed([&] { EXPECT_EQ(ApiLaunch(h, 2, 100, error), 0x900); });
        EXPECT_EQ(std::string(error).rfind(c.text, 0), 0u) << error;
        EXPECT_EQ(out, std::string(error) + "\n");
    }

    // A failed compilation leaves the running flag set: a break request is
    // then taken, and ends the next launch before its first pass.
    const Created other = create();
    char error[kErrorSize];
    EXPECT_EQ(printed([&] { EXPECT_EQ(ApiLaunch(other.handle, 1, 10, error), 0x901); }),
              "compile: pipelines failed.\n");
    EXPECT_EQ(ApiBreakLaunch(other.handle), 1);
    readyToLaunch(other.handle);
    EXPECT_EQ(launch(1, 10, other.handle), 0);
    EXPECT_EQ(findPathTracer(other.handle)->accumFrames(), 0u);
    EXPECT_EQ(ApiBreakLaunch(other.handle), 0) << "both flags were cleared";
    EXPECT_TRUE(ApiDestroyPathTracer(other.handle, nullptr));
}

class FrameBreak : public Frames {};

// Also run under ThreadSanitizer.
TEST_F(FrameBreak, ARequestDuringPassThreeOfTenEndsTheBatchAfterPassFour)
{
    EXPECT_EQ(ApiBreakLaunch(h), 0) << "between launches nothing is set";
    // The request comes from a thread that runs beside the launch; the two
    // meet only through relaxed flags, so the sanitizer sees any plain access
    // that both make.
    int fromThread = -1;
    std::atomic<bool> go{false}, done{false};
    std::thread other([&] {
        while (!go.load(std::memory_order_relaxed))
            std::this_thread::yield();
        fromThread = ApiBreakLaunch(h);
        done.store(true, std::memory_order_relaxed);
    });
    sim::beforePass(3, [&] {
        go.store(true, std::memory_order_relaxed);
        while (!done.load(std::memory_order_relaxed))
            std::this_thread::yield();
    });
    EXPECT_EQ(launch(10, 100), 0);
    other.join();
    EXPECT_EQ(fromThread, 1);
    std::vector<unsigned> passes;
    for (const sim::LaunchRecord& r : sim::records().launches)
        if (r.device == 1)
            passes.push_back(r.params.subframe_index * 10 + r.params.last_pass);
    EXPECT_EQ(passes, (std::vector<unsigned>{0, 10, 20, 30, 41}));
    // Gathered with count 5: the mean of the totals 0..4.
    EXPECT_FLOAT_EQ(at(raw(), 9, 9).w, 2.0f);
    EXPECT_FLOAT_EQ(at(raw(), 9, 9).x, 9.0f);
    EXPECT_EQ(findPathTracer(h)->accumFrames(), 5u);
    EXPECT_EQ(ApiBreakLaunch(h), 0);
}

TEST_F(Frames, ReadbackFormatsOfTheImage)
{
    EXPECT_EQ(launch(1, 100), 0);
    void* data = nullptr;
    unsigned size = 0;
    ASSERT_TRUE(ApiGetOutputBuffer(h, &data, &size, nullptr));
    EXPECT_EQ(size, kWidth * kHeight * 4);

    // Chosen values written into the image, converted on demand.
    void* rawData = nullptr;
    int rawSize = 0;
    ASSERT_TRUE(ApiGetRawOutputBuffer(h, &rawData, &rawSize, nullptr));
    const float nan = std::numeric_limits<float>::quiet_NaN();
    static_cast<float4*>(rawData)[0] = make_float4(1.0f, 0.99612f, nan, -1.0f);
    static_cast<float4*>(rawData)[1] = make_float4(7.0f, 0.5f, 1.0f / 255.99f, 0.0f);
    struct Case {
        readbackMode mode;
        unsigned bytes;
        std::vector<unsigned char> pixel;
    };
    auto b = [](auto... v) {
        std::vector<unsigned char> out;
        for (auto x : {v...})
            out.insert(out.end(), reinterpret_cast<const unsigned char*>(&x),
                       reinterpret_cast<const unsigned char*>(&x) + sizeof x);
        return out;
    };
    using us = unsigned short;
    using uc = unsigned char;
    const Case cases[] = {
        // Saturated, scaled (the 8-bit scales differ) and truncated.
        {READBACK_RGBA8, 4, b(uc(255), uc(254), uc(0), uc(0), uc(255), uc(127), uc(1), uc(0))},
        {READBACK_BGRA8, 4, b(uc(0), uc(255), uc(255), uc(0), uc(1), uc(127), uc(255), uc(0))},
        {READBACK_RGBA16, 8, b(us(65535), us(65281), us(0), us(0), us(65535), us(32767), us(256), us(0))},
        {READBACK_BGRA16, 8, b(us(0), us(65281), us(65535), us(0), us(256), us(32767), us(65535), us(0))},
        {READBACK_RGBA32, 16, b(1.0f, 0.99612f, nan, -1.0f, 7.0f, 0.5f, 1.0f / 255.99f, 0.0f)},
        {READBACK_BGRA32, 16, b(nan, 0.99612f, 1.0f, -1.0f, 1.0f / 255.99f, 0.5f, 7.0f, 0.0f)},
        // A BGRA32 stage reports mode 4: asking for 4 now reuses it.
        {READBACK_BGRA16, 16, b(nan, 0.99612f, 1.0f, -1.0f)},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(ApiGetOutputBuffer2(h, c.mode, &data, &size, nullptr));
        ASSERT_NE(data, nullptr);
        EXPECT_EQ(size, kWidth * kHeight * c.bytes) << c.mode;
        EXPECT_EQ(0, std::memcmp(data, c.pixel.data(), c.pixel.size())) << c.mode;
    }
    EXPECT_TRUE(ApiGetOutputBuffer2(h, READBACK_NONE, &data, &size, nullptr));
    EXPECT_TRUE(data == nullptr && size == 0u);

    // Modes above 4 do not replace the stage of every frame; a replaced
    // stage's pixels stay readable; mode 0 gives no image.
    void* before = nullptr;
    ApiGetOutputBuffer(h, &before, &size, nullptr);
    EXPECT_FALSE(ApiSetReadbackMode(h, READBACK_RGBA32));
    EXPECT_FALSE(ApiSetReadbackMode(h, readbackMode(99)));
    ApiGetOutputBuffer(h, &data, &size, nullptr);
    EXPECT_EQ(data, before);
    EXPECT_EQ(ApiReadbackCudaPtr(h, nullptr), before) << "device and host addresses agree here";
    EXPECT_TRUE(ApiSetReadbackMode(h, READBACK_BGRA16));
    EXPECT_EQ(launch(1, 100), 0);
    ApiGetOutputBuffer(h, &data, &size, nullptr);
    EXPECT_NE(data, before);
    EXPECT_EQ(size, kWidth * kHeight * 8);
    EXPECT_EQ(static_cast<uchar4*>(before)[0].y, 255) << "still readable: pixel (0, 47)";
    EXPECT_TRUE(ApiSetReadbackMode(h, READBACK_NONE));
    EXPECT_TRUE(ApiGetOutputBuffer(h, &data, &size, nullptr));
    EXPECT_TRUE(data == nullptr && size == 0);
    EXPECT_EQ(launch(1, 100), 0);
}

TEST_F(Frames, PointReadsAndNoAllocationPerFrame)
{
    EXPECT_EQ(launch(2, 100), 0);
    const sim::Counts first = sim::counts();
    sim::clearJournal();
    EXPECT_EQ(launch(3, 100), 0);
    EXPECT_EQ(launch(1, 100), 0);
    void* data;
    unsigned size;
    ApiGetOutputBuffer2(h, READBACK_RGBA16, &data, &size, nullptr);
    ApiGetOutputBuffer2(h, READBACK_RGBA16, &data, &size, nullptr);
    const sim::Counts later = sim::counts();
    EXPECT_TRUE(later.deviceBytes == first.deviceBytes &&
                later.deviceAllocations == first.deviceAllocations);
    EXPECT_EQ(later.pinnedAllocations, first.pinnedAllocations + 1) << "the RGBA16 stage";
    EXPECT_EQ(journalCount("Malloc"), 0u);

    trevix7_float4 hit = {-1, -1, -1, -1};
    ApiReadHitPosAtPoint(h, 5, 9, &hit);
    EXPECT_TRUE(hit.x == 5.5f && hit.y == 9.5f && hit.z == deviceOf(5, 9) && hit.w == 5.0f);
    hit.x = -1;
    ApiReadHitPosAtPoint(h, kWidth, 0, &hit);
    ApiReadHitPosAtPoint(0xdead, 0, 0, &hit);
    EXPECT_EQ(hit.x, -1.0f) << "outside the image, or unknown: nothing read";

    // The id words: geometry id in the low 30 bits, the two top bits apart.
    const int particles = ApiSetupPrimitivesGeometry(h, geoParticleSet, kIsec, nullptr, nullptr,
                                                     0, material, nullptr);
    ASSERT_GT(particles, 0);
    void* ids = nullptr;
    int bytes = 0;
    ApiGetIdBuffer(h, &ids, &bytes, nullptr);
    EXPECT_EQ(bytes, int(kWidth * kHeight * 8));
    static_cast<uint2*>(ids)[9 * kWidth + 5] = make_uint2(unsigned(particles) | 2u << 30, 77);
    unsigned out[4] = {};
    ApiReadGeomIdAtPoint(h, 5, 9, out);
    EXPECT_EQ(std::vector<unsigned>(out, out + 4),
              (std::vector<unsigned>{unsigned(particles), geoParticleSet, 77, 2}));
}

TEST_F(Frames, SampleBuffersInHostMemoryRenderTheSameImage)
{
    // A resize that fails keeps the instance at its old size, still rendering.
    char error[kErrorSize];
    sim::failNext("cudaFree", cudaErrorInvalidValue);
    EXPECT_FALSE(ApiResize(h, 48, 48, error));
    EXPECT_EQ(std::string(error).rfind("CUDA call (cudaFree(reinterpret_cast<void*>(state.d_sample_indices)) ) failed", 0), 0u) << error;
    EXPECT_EQ(launch(1, 100), 0);
    EXPECT_EQ(raw().size(), size_t(kWidth * kHeight));

    // No device memory left: every sample buffer goes to mapped host memory.
    // At 40 x 12 the tiles reach beyond the image, whose samples are dropped.
    sim::setDeviceMemoryLimit(0, 0);
    sim::setDeviceMemoryLimit(1, 0);
    // Each buffer's report is checked with the sample buffers themselves.
    printed([&] { EXPECT_TRUE(ApiResize(h, 40, 12, error)) << error; });
    for (int d = 0; d < 2; ++d)
        sim::setDeviceMemoryLimit(d, size_t(1) << 30);
    EXPECT_EQ(launch(2, 100), 0);
    const auto img = raw();
    ASSERT_EQ(img.size(), 40u * 12);
    for (unsigned y = 0; y < 12; ++y)
        for (unsigned x = 0; x < 40; ++x) {
            const float4 p = img[(11 - y) * 40 + x];
            ASSERT_TRUE(p.x == x && p.y == y && p.z == deviceOf(x, y) && p.w == 1.5f);
        }

    // Keeping albedo with no memory anywhere: the change is undone, the
    // launch refuses the emptied buffers, and a resize brings them back.
    sim::setPinnedMemoryLimit(0);
    sim::setDeviceMemoryLimit(0, 0);
    EXPECT_NE(failure([&] { findPathTracer(h)->setSaveAlbedoState(true); }), "<no exception>");
    sim::setPinnedMemoryLimit(SIZE_MAX);
    sim::setDeviceMemoryLimit(0, size_t(1) << 30);
    EXPECT_TRUE(image<float4>(ApiGetAlbedoBuffer).empty());
    printed([&] { EXPECT_EQ(ApiLaunch(h, 1, 100, error), 0x900); });
    EXPECT_TRUE(ApiResize(h, 40, 12, error)) << error;
    EXPECT_EQ(launch(1, 100), 0);
}

// Sizes are checked in 64 bits before anything is allocated; after a resize
// whose restore failed too, pointers and sizes agree and a launch fails
// cleanly; keeping an image the denoiser keeps already restarts nothing.
TEST_F(Frames, SizesFailedRestoresAndKeptGuides)
{
    char error[kErrorSize];
    const sim::Counts before = sim::counts();
    const struct {
        unsigned w, h;
        const char* why;
    } sizes[] = {
        {0, 0, "width and height must be at least 1."},
        {0, 5, "width and height must be at least 1."},
        {7, 0, "width and height must be at least 1."},
        {65536, 65537, "more than 134217727 pixels."},
        {46341, 46341, "more than 134217727 pixels."},
        {4294967294u, 4294967295u, "more than 134217727 pixels."},
    };
    for (const auto& s : sizes) {
        const std::string text = "Image size " + std::to_string(s.w) + " x " + std::to_string(s.h) +
                                 " cannot be rendered: " + s.why;
        EXPECT_EQ(printed([&] { EXPECT_FALSE(ApiResize(h, s.w, s.h, error)); }), text + "\n");
        EXPECT_EQ(error, text);
        EXPECT_EQ(sim::counts().deviceBytes, before.deviceBytes) << text;
        EXPECT_EQ(sim::counts().pinnedAllocations, before.pinnedAllocations) << text;
    }
    EXPECT_EQ(launch(1, 100), 0);
    EXPECT_EQ(raw().size(), size_t(kWidth * kHeight)) << "still at the old size";
    EXPECT_EQ(ApiCreatePathTracer(0, 0, READBACK_RGBA8, nullptr, nullptr, 0, nullptr, nullptr, 0,
                                  nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0,
                                  nullptr, nullptr, 0, nullptr, 0, 0, error),
              0u);
    EXPECT_STREQ(error, "Image size 0 x 0 cannot be rendered: width and height must be at least 1.");
    const unsigned tiny = ApiCreatePathTracer(1, 1, READBACK_RGBA8, nullptr, nullptr, 0, nullptr,
                                              nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0,
                                              nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, 0, 0, error);
    ASSERT_NE(tiny, 0u) << error;
    EXPECT_EQ(printed([&] { ApiAddPostprocessing(tiny, POSTPROC_DENOISER_UP2); }),
              "Image size 1 x 1 cannot be rendered: 2x upscaling needs at least 2 x 2.\n");
    EXPECT_FALSE(findPathTracer(tiny)->hasDenoiser());
    EXPECT_TRUE(ApiDestroyPathTracer(tiny, nullptr));

    // No pinned memory: the resize fails, and so does its restore.
    sim::setPinnedMemoryLimit(0);
    printed([&] { EXPECT_FALSE(ApiResize(h, 32, 32, error)); });
    sim::setPinnedMemoryLimit(SIZE_MAX);
    void* data = &data;
    unsigned size = 7;
    EXPECT_TRUE(ApiGetOutputBuffer(h, &data, &size, error));
    EXPECT_TRUE(data == nullptr && size == 0) << "pointer and size agree";
    int rawSize = 7;
    EXPECT_TRUE(ApiGetRawOutputBuffer(h, &data, &rawSize, error));
    EXPECT_EQ(data != nullptr, rawSize > 0);
    EXPECT_EQ(printed([&] { EXPECT_EQ(ApiLaunch(h, 1, 100, error), 0x900); }),
              "The images could not be allocated at the last resize: resize the image to render "
              "again.\n");
    EXPECT_TRUE(ApiResize(h, 32, 32, error)) << error;
    EXPECT_EQ(launch(1, 100), 0);
    EXPECT_TRUE(ApiGetOutputBuffer(h, &data, &size, error));
    EXPECT_TRUE(data != nullptr && size == 32 * 32 * 4);

    // A denoiser keeping the albedo (guide kind 3), acting from frame 100.
    ApiSetPostprocDenoiser(h, OPTIX_DENOISER_INPUT_RGB_ALBEDO, 0.0f, 100);
    ApiAddPostprocessing(h, POSTPROC_DENOISER_LDR);
    EXPECT_EQ(launch(2, 4), 0);
    ASSERT_TRUE(ApiSetSaveAlbedoState(h, true));
    EXPECT_EQ(launch(2, 4), 1) << "kept already: no restart";
    ASSERT_TRUE(ApiSetSaveNormalsState(h, true));
    EXPECT_EQ(launch(2, 4), 0) << "new buffers: a restart";
}

bool same(float3 a, float3 b) { return a.x == b.x && a.y == b.y && a.z == b.z; }

// Variables reach every device's launch parameters by name, in their own list
// only; a change restarts accumulation and is copied with the next pass.
TEST_F(Frames, ShaderVariablesByNameOnEveryDevice)
{
    const PathTracer& pt = *findPathTracer(h);
    for (const PathTracerState& s : pt.states()) {
        const Params& p = s.params;
        EXPECT_TRUE(p.path_seg_range.x == 2 && p.path_seg_range.y == 6 &&
                    p.scene_epsilon == 0.001f && p.gamma == 2.2f && p.exposure == 1.0f);
        EXPECT_TRUE(same(p.bad_color, make_float3(1, 0, 1)) &&
                    same(p.bg_color, make_float3(0.01f, 0.01f, 0.01f)) &&
                    same(p.ambient_color, make_float3(0.1f, 0.1f, 0.1f)));
    }
    EXPECT_TRUE(pt.variables().denoiser_kind == 3 && pt.variables().denoiser_start == 4u);

    EXPECT_EQ(launch(2, 100), 0);
    const char* names[] = {"scene_epsilon", "scene_epsilon", "denoiser_start"};
    int inInts[] = {7};
    float epsilon[] = {0.5f, 0.25f}; // a name given twice keeps its first value
    unsigned start[] = {9};
    EXPECT_TRUE(ApiUpdateVariables(h, names, inInts, 1, names + 2, start, 1, nullptr, nullptr, 0,
                                   names, epsilon, 2, nullptr, nullptr, 0, nullptr, nullptr, 0));
    EXPECT_TRUE(pt.accumFrames() == 0u && pt.variables().denoiser_start == 9u);
    for (const PathTracerState& s : pt.states())
        EXPECT_TRUE(s.params.scene_epsilon == 0.5f && s.params.path_seg_range.y == 6 &&
                    s.params.gamma == 2.2f);
    EXPECT_EQ(launch(1, 100), 0);
    EXPECT_EQ(sim::records().launches.back().params.scene_epsilon, 0.5f);

    // At creation: the lists' values, defaults for the rest.
    const char* created[] = {"bg_color", "path_seg_range", "tonemap_gamma"};
    trevix7_float3 bg[] = {{0.5f, 0.25f, 0}};
    trevix7_uint2 range[] = {{1, 9}};
    float gamma[] = {1.0f};
    char error[kErrorSize];
    const unsigned other = ApiCreatePathTracer(
        8, 8, READBACK_NONE, nullptr, nullptr, 0, nullptr, nullptr, 0, created + 1, range, 1,
        created + 2, gamma, 1, nullptr, nullptr, 0, created, bg, 1, nullptr, 0, 0, error);
    ASSERT_NE(other, 0u) << error;
    for (const PathTracerState& s : findPathTracer(other)->states())
        EXPECT_TRUE(same(s.params.bg_color, make_float3(0.5f, 0.25f, 0)) &&
                    s.params.path_seg_range.x == 1 && s.params.gamma == 1.0f &&
                    s.params.exposure == 1.0f && s.params.scene_epsilon == 0.001f);
    EXPECT_TRUE(ApiDestroyPathTracer(other, nullptr));
}

} // namespace
