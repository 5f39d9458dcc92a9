// Instance lifetime through the entry points, on one simulated device (860).

#include "support.h"

#include <cstdio>
#include <cstdlib>

using namespace t7test;

namespace {

class Lifecycle : public BooksAtZero {};

TEST_F(Lifecycle, HandlesStartAtOneAndAFailedCreationConsumesItsHandle)
{
    Created first = create();
    ASSERT_EQ(first.handle, 1u) << first.error;
    EXPECT_EQ(first.error, "");

    Created failed = create({5}); // no such device
    EXPECT_EQ(failed.handle, 0u); // its texts: device selection
    EXPECT_EQ(create({0}).handle, 3u);

    char error[16] = "stale";
    EXPECT_TRUE(ApiDestroyPathTracer(1, error));
    EXPECT_STREQ(error, "");
    EXPECT_FALSE(ApiDestroyPathTracer(1, error));
    EXPECT_FALSE(ApiDestroyPathTracer(2, nullptr));
    EXPECT_TRUE(ApiDestroyPathTracer(3, nullptr));
}

TEST_F(Lifecycle, AnInstanceHoldsItsDeviceObjectsSampleBuffersAndImages)
{
    Created c = create();
    ASSERT_NE(c.handle, 0u) << c.error;
    // The default material's texture arrays are empty and take no memory. On
    // the device: the launch parameters and, for 64 x 48 pixels (8 x 6 tiles
    // of 64 samples), the indices, sums and running averages. In host memory:
    // the RGBA8 image, the float4 image, hit positions, ids and the 1 x 1
    // upscaled image.
    const sim::Counts n = sim::counts();
    EXPECT_TRUE(n.optixContexts == 1 && n.streams == 1 && n.deviceAllocations == 4 &&
                n.pinnedAllocations == 5);
    EXPECT_EQ(n.deviceBytes, 296u + 3072 * (8 + 16 + 16));
    const sim::ContextRecord ctx = sim::records().contexts.back();
    EXPECT_TRUE(ctx.device == 0 && ctx.hasCallback && ctx.cacheEnabled == 1 && ctx.logLevel == 0);
    EXPECT_TRUE(ApiDestroyPathTracer(c.handle, nullptr));
}

// A device start that fails at any step releases what the earlier steps made.
TEST_F(Lifecycle, AFailedDeviceStartReleasesWhatWasBuilt)
{
    struct Case {
        const char* function;
        int result;
        unsigned after;
        const char* error;
        const char* out;
    };
    const Case cases[] = {
        {"cudaSetDevice", cudaErrorInvalidDevice, 0, "invalid device ordinal",
         "\tSelected devices: [\nCUDA device 0 is not valid.\n"},
        {"cudaStreamCreate", cudaErrorMemoryAllocation, 1, "out of memory",
         "\tSelected devices: [0\nCUDA stream construction failed on device 0\n"},
        {"cudaMalloc", cudaErrorMemoryAllocation, 1, "out of memory",
         "\tSelected devices: [0\nCUDA memory allocation failed on device 0\n"},
        {"optixDeviceContextCreate", OPTIX_ERROR_HOST_OUT_OF_MEMORY, 0,
         "OPTIX_ERROR_HOST_OUT_OF_MEMORY: Optix call 'optixDeviceContextCreate(cuCtx, &options, "
         "&context)' failed: PathTracer.cpp:",
         "\tSelected devices: ["},
    };
    for (const Case& k : cases) {
        sim::failNext(k.function, k.result, k.after);
        Created c = create({0, 0});
        EXPECT_EQ(c.handle, 0u) << k.function;
        EXPECT_EQ(c.error.rfind(k.error, 0), 0u) << c.error;
        EXPECT_EQ(c.out, k.out) << k.function;
        expectBooksAtZero();
    }
}

// A host that never destroys its instances exits cleanly: the library's
// static destructors release them while the simulated device still answers.
TEST(LifecycleDeathTest, AnInstanceLeftToTheExitIsReleasedCleanly)
{
    EXPECT_EXIT(
        {
            const Created c = create();
            readyToLaunch(c.handle);
            std::fflush(stdout);
            std::exit(ApiLaunch(c.handle, 1, 1, nullptr) == 1 ? 0 : 3);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
