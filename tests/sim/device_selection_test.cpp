// Device selection and its printed lines on two simulated devices.

#include "sim_test_support.h"

using namespace t7test;

namespace {

void expectChosen(const Created& c, const std::string& list, const std::vector<int>& ordinals)
{
    ASSERT_NE(c.handle, 0u) << c.error;
    EXPECT_EQ(c.out, "\tSelected devices: [" + list + "]\n\tPrimary device: " +
                         std::to_string(ordinals.front()) + "\n");
    for (size_t k = 0; k < ordinals.size(); ++k)
        EXPECT_EQ(ApiCudaOrdinal(c.handle, unsigned(k)), ordinals[k]) << "state " << k;
    EXPECT_EQ(ApiCudaOrdinal(c.handle, unsigned(ordinals.size())), -1);
    EXPECT_EQ(ApiOutputCudaOrdinal(c.handle), ordinals.front());
    EXPECT_EQ(sim::counts().optixContexts, ordinals.size());
    EXPECT_EQ(sim::counts().streams, ordinals.size());
    EXPECT_TRUE(ApiDestroyPathTracer(c.handle, nullptr));
    expectNothingLeft();
}

// TREVIX7_SIM_DEVICES=860,450: device 1 is too old to be chosen.
TEST(DeviceSelection, StartUpListsEveryDeviceOnce)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(ApiGetDeviceCount(), 2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\t[0]: Simulated Device 0 (sm_86)\n\t[1]: Simulated Device 1 (sm_45)\n");
    testing::internal::CaptureStdout();
    EXPECT_EQ(ApiGetDeviceCount(), 2);
    EXPECT_EQ(ApiGpuArchitecture(0), 860);
    EXPECT_EQ(ApiGpuArchitecture(1), 450);
    EXPECT_EQ(ApiGpuArchitecture(2), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(DeviceSelection, RequestedListsKeepOrderSkipUnusableAndRepeat)
{
    expectChosen(create({}), "0", {0});
    expectChosen(create({1, 0}), "0", {0});
    expectChosen(create({0, 0}), "0, 0", {0, 0});
}

TEST(DeviceSelection, NothingUsableIsAnError)
{
    for (const std::vector<unsigned>& devices : {std::vector<unsigned>{2}, {1}, {1, 2, 1}}) {
        Created c = create(devices);
        EXPECT_EQ(c.handle, 0u);
        EXPECT_EQ(c.error, "OPTIX_ERROR_CUDA_NOT_INITIALIZED: Compatible device(s) not found / "
                           "not selected.");
        EXPECT_EQ(c.out, "");
    }
    expectNothingLeft();
}

// TREVIX7_SIM_DEVICES=860,750: both devices qualify.
TEST(TwoCapableDevices, TheFirstRequestedDeviceIsPrimary)
{
    testing::internal::CaptureStdout();
    ASSERT_EQ(ApiGetDeviceCount(), 2);
    testing::internal::GetCapturedStdout();
    expectChosen(create({}), "0, 1", {0, 1});
    expectChosen(create({1, 0}), "1, 0", {1, 0});
    expectChosen(create({1, 2, 1}), "1, 1", {1, 1});
}

// TREVIX7_SIM_DEVICES=450: the only device is too old.
TEST(OldDeviceOnly, NoDeviceIsSelected)
{
    Created c = create({});
    EXPECT_EQ(c.handle, 0u);
    EXPECT_EQ(c.error, "OPTIX_ERROR_CUDA_NOT_INITIALIZED: Compatible device(s) not found / "
                       "not selected.");
    expectNothingLeft();
}

} // namespace
