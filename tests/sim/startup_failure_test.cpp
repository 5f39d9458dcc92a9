// Start-up that fails: no device at all, or no OptiX library. Either way the
// failure is final for the process.

#include "sim_test_support.h"

using namespace t7test;

namespace {

// OptiX is not loaded, so the result's name comes from the fixed table, which
// does not know 7052.
const char* kNotInitialized =
    "Unknown OptixResult code: Compatible device(s) not found / OptiX not initialized.";

// TREVIX7_SIM_DEVICES= (empty): the runtime answers cudaErrorNoDevice.
TEST(NoDevice, StartUpReportsTheCudaErrorOnce)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(ApiGetDeviceCount(), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "CUDA initialization failed:\nno CUDA-capable device is detected\n");

    testing::internal::CaptureStdout();
    EXPECT_EQ(ApiGetDeviceCount(), -1); // never retried, so printed once
    EXPECT_EQ(ApiGpuArchitecture(0), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

    Created c = create({});
    EXPECT_EQ(c.handle, 0u);
    EXPECT_EQ(c.error, kNotInitialized);
    EXPECT_EQ(c.out, "");
}

// No libnvoptix.so.1 on the search path: start-up fails without a word.
TEST(NoOptix, StartUpFailsSilently)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(ApiGetDeviceCount(), -1);
    EXPECT_EQ(ApiGetDeviceCount(), -1);
    EXPECT_EQ(ApiGpuArchitecture(0), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

    for (int i = 0; i < 2; ++i) {
        Created c = create({0});
        EXPECT_EQ(c.handle, 0u);
        EXPECT_EQ(c.error, kNotInitialized);
    }
    expectNothingLeft();
}

} // namespace
