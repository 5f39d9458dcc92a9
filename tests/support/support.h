#pragma once
// What the unit and integration tests share: exception capture, printed
// output, instance and mesh set-up, and the fixture that checks that a test
// leaves nothing behind on the simulated device.

#include "sim_control.h"
#include "trevix7.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace t7test {

constexpr size_t kErrorSize = 4096;
constexpr const char* kHit = "dummy7_chit.cu::__closesthit__dummy";
constexpr const char* kIsec = "dummy7_isec.cu::__intersection__dummy";
constexpr const char* kCamera = "dummy7_camera.cu::__raygen__dummy";

// The text of what `call` throws, or "<no exception>".
inline std::string failure(const std::function<void()>& call)
{
    try {
        call();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "<no exception>";
}

// What `call` prints on standard output.
inline std::string printed(const std::function<void()>& call)
{
    testing::internal::CaptureStdout();
    try {
        call();
    } catch (...) {
        testing::internal::GetCapturedStdout();
        throw;
    }
    return testing::internal::GetCapturedStdout();
}

// Lines of the simulated device's journal that contain `text`.
inline size_t journalCount(const std::string& text)
{
    size_t n = 0;
    for (const std::string& line : sim::journal())
        n += line.find(text) != std::string::npos;
    return n;
}

// Nothing is held on the simulated device any more.
inline void expectBooksAtZero()
{
    const sim::Counts c = sim::counts();
    EXPECT_EQ(c.deviceAllocations, 0u);
    EXPECT_EQ(c.deviceBytes, 0u);
    EXPECT_EQ(c.pinnedAllocations, 0u);
    EXPECT_EQ(c.arrays, 0u);
    EXPECT_EQ(c.textureObjects, 0u);
    EXPECT_EQ(c.streams, 0u);
    EXPECT_EQ(c.optixContexts, 0u);
    EXPECT_EQ(c.optixObjects, 0u);
}

// Every test of a suite on this fixture must leave the books at zero; an
// injected failure that did not fire is dropped.
class BooksAtZero : public testing::Test {
protected:
    void TearDown() override
    {
        sim::clearInjections();
        expectBooksAtZero();
    }
};

struct Created {
    unsigned handle;
    std::string error;
    std::string out; // what creation printed
};

// An instance with no variables on the given devices (all capable ones when empty).
inline Created create(const std::vector<unsigned>& devices = {}, int logLevel = 0)
{
    char error[kErrorSize] = "stale";
    ApiSetupLibraryDir(TREVIX7_BUILD_DIR); // the placeholder programs
    testing::internal::CaptureStdout();
    const unsigned h = ApiCreatePathTracer(64, 48, READBACK_RGBA8, nullptr, nullptr, 0, nullptr,
                                           nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0,
                                           nullptr, nullptr, 0, nullptr, nullptr, 0,
                                           devices.data(), unsigned(devices.size()), logLevel,
                                           error);
    return {h, error, testing::internal::GetCapturedStdout()};
}

// A material with the placeholder programs and no parameters.
inline unsigned plainMaterial(unsigned handle, char* error = nullptr)
{
    return ApiSetupMaterial(handle, kHit, kHit, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr,
                            nullptr, 0, nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0,
                            nullptr, 0, 0, error);
}

// A triangle mesh with vertex and face slots (12-byte elements each).
inline int mesh(unsigned handle, unsigned material, char* error = nullptr)
{
    const unsigned slots[] = {geoBufVertices, geoBufIndices};
    const unsigned sizes[] = {12, 12};
    return ApiSetupTrianglesGeometry(handle, geoPrimitives0, slots, sizes, 2, material, error);
}

// A current placeholder camera, with lens value 4 (the blend value) as given,
// and the placeholder miss program: the instance can launch.
inline void readyToLaunch(unsigned handle, float blend = 0.0f)
{
    const unsigned camera = ApiSetupCamera(handle, kCamera, {0, 0, 1}, {}, {0, 1, 0}, 45, 1, {}, 0,
                                           0, 0, 0, 0, blend, false, nullptr, 0);
    ASSERT_TRUE(ApiSetCurrentCamera(handle, camera, nullptr));
    ASSERT_TRUE(ApiSetMissProgram(handle, "dummy7_miss.cu::__miss__dummy", nullptr));
}

// The float4 image: render size (or the upscaled output), bottom row first.
inline std::vector<float4> rawImage(unsigned handle)
{
    void* data = nullptr;
    int size = 0;
    EXPECT_TRUE(ApiGetRawOutputBuffer(handle, &data, &size, nullptr));
    const float4* p = static_cast<const float4*>(data);
    return std::vector<float4>(p, p + size_t(size) / sizeof(float4));
}

// An instance on every simulated device with one plain material, destroyed
// after the test; the books must then be at zero.
class InstanceTest : public BooksAtZero {
protected:
    void SetUp() override
    {
        Created c = create();
        ASSERT_NE(c.handle, 0u) << c.error;
        h = c.handle;
        material = plainMaterial(h);
        ASSERT_NE(material, 0u);
    }
    void TearDown() override
    {
        EXPECT_TRUE(ApiDestroyPathTracer(h, nullptr));
        BooksAtZero::TearDown();
    }
    unsigned h = 0;
    unsigned material = 0;
};

} // namespace t7test
