// Instance lifetime through the entry points, on one simulated device (860).

#include "sim_test_support.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>

using namespace t7test;

namespace {

TEST(Lifecycle, HandlesStartAtOneAndAFailedCreationConsumesItsHandle)
{
    Created first = create({});
    ASSERT_EQ(first.handle, 1u) << first.error;
    EXPECT_EQ(first.error, "");

    Created failed = create({5}); // no such device
    EXPECT_EQ(failed.handle, 0u);
    EXPECT_EQ(failed.error, "OPTIX_ERROR_CUDA_NOT_INITIALIZED: Compatible device(s) not found / "
                            "not selected.");
    EXPECT_EQ(failed.out, ""); // creation reports through the buffer only

    Created third = create({0});
    EXPECT_EQ(third.handle, 3u);

    char error[16] = "stale";
    EXPECT_TRUE(ApiDestroyPathTracer(1, error));
    EXPECT_STREQ(error, "");
    EXPECT_FALSE(ApiDestroyPathTracer(1, error));
    EXPECT_FALSE(ApiDestroyPathTracer(2, nullptr));
    EXPECT_TRUE(ApiDestroyPathTracer(3, nullptr));
    expectNothingLeft();
}

TEST(Lifecycle, UnknownHandlesGetTheirUnknownResults)
{
    char error[16] = "stale";
    EXPECT_FALSE(ApiDestroyPathTracer(999, error));
    EXPECT_STREQ(error, "");
    EXPECT_EQ(ApiCudaOrdinal(999, 0), 0);
    EXPECT_EQ(ApiOutputCudaOrdinal(999), -1);
    EXPECT_EQ(ApiOutputCudaOrdinal(0), -1);
}

TEST(Lifecycle, DeviceQueriesOnAnInstance)
{
    EXPECT_EQ(ApiGetDeviceCount(), 1);
    EXPECT_EQ(ApiGpuArchitecture(0), 860);
    EXPECT_EQ(ApiGpuArchitecture(1), 0);

    Created c = create({});
    ASSERT_NE(c.handle, 0u) << c.error;
    EXPECT_EQ(c.out, "\tSelected devices: [0]\n\tPrimary device: 0\n");
    EXPECT_EQ(ApiCudaOrdinal(c.handle, 0), 0);
    EXPECT_EQ(ApiCudaOrdinal(c.handle, 1), -1); // past the last state
    EXPECT_EQ(ApiOutputCudaOrdinal(c.handle), 0);

    // One context (cache on, our callback at the requested level), one
    // stream and one launch-parameter block; the default material's texture
    // arrays are empty and take no memory.
    sim::Counts counts = sim::counts();
    EXPECT_EQ(counts.optixContexts, 1u);
    EXPECT_EQ(counts.streams, 1u);
    EXPECT_EQ(counts.deviceAllocations, 1u);
    EXPECT_EQ(counts.deviceBytes, 296u);
    sim::ContextRecord ctx = sim::contextHistory().back();
    EXPECT_EQ(ctx.device, 0);
    EXPECT_TRUE(ctx.hasCallback);
    EXPECT_EQ(ctx.cacheEnabled, 1);
    EXPECT_EQ(ctx.logLevel, 0u);

    EXPECT_TRUE(ApiDestroyPathTracer(c.handle, nullptr));
    expectNothingLeft();
}

TEST(Lifecycle, OptixLogReachesStandardErrorAtTheRequestedLevel)
{
    testing::internal::CaptureStderr();
    Created quiet = create({}, 3);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    testing::internal::CaptureStderr();
    Created chatty = create({}, 4);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "[ 4][  SIMCONTEXT]: Created device context on device 0\n");
    EXPECT_EQ(sim::contextHistory().back().logLevel, 4u);
    ApiDestroyPathTracer(quiet.handle, nullptr);
    ApiDestroyPathTracer(chatty.handle, nullptr);
    expectNothingLeft();
}

TEST(Lifecycle, CreatingAndDestroyingManyInstancesLeavesNothing)
{
    unsigned previous = 0;
    for (int i = 0; i < 200; ++i) {
        Created c = create({0, 0});
        ASSERT_GT(c.handle, previous) << c.error;
        previous = c.handle;
        ASSERT_TRUE(ApiDestroyPathTracer(c.handle, nullptr));
    }
    expectNothingLeft();
}

TEST(SmallMemory, AFailedDeviceStartReleasesWhatWasBuilt)
{
    testing::internal::CaptureStdout();
    ASSERT_EQ(ApiGetDeviceCount(), 1);
    testing::internal::GetCapturedStdout();
    // 400 bytes per device: room for one launch-parameter block, not two.
    Created c = create({0, 0});
    EXPECT_EQ(c.handle, 0u);
    EXPECT_EQ(c.error, "out of memory");
    EXPECT_EQ(c.out, "\tSelected devices: [0\nCUDA memory allocation failed on device 0\n");
    expectNothingLeft();
}

} // namespace

namespace {

// TREVIX7_SIM_TRACE=<file>: every simulated call leaves one line.
TEST(Trace, CallsAreAppendedOneLineEach)
{
    const char* path = std::getenv("TREVIX7_SIM_TRACE");
    ASSERT_NE(path, nullptr);
    Created c = create({0});
    ASSERT_NE(c.handle, 0u) << c.error;
    ApiDestroyPathTracer(c.handle, nullptr);

    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    auto has = [&](const std::string& l) {
        return std::find(lines.begin(), lines.end(), l) != lines.end();
    };
    EXPECT_TRUE(has("cuda cudaGetDeviceCount count=1 -> 0"));
    EXPECT_TRUE(has("optix optixQueryFunctionTable abi=68 size=376"));
    EXPECT_TRUE(has("cuda cudaSetDevice device=0 -> 0"));
    EXPECT_TRUE(has("optix optixDeviceContextCreate device=0 level=0 -> 0"));
    EXPECT_TRUE(has("optix optixDeviceContextSetCacheEnabled enabled=1 -> 0"));
    EXPECT_TRUE(has("cuda cudaMalloc device=0 bytes=296 -> 0"));
    EXPECT_TRUE(has("cuda cudaStreamDestroy -> 0"));
    EXPECT_TRUE(has("optix optixDeviceContextDestroy -> 0"));
}

} // namespace
