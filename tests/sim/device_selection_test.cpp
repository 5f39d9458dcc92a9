// Device selection and start-up, each suite in its own process with its own
// simulated devices (see tests/CMakeLists.txt).

#include "support.h"

using namespace t7test;

namespace {

const char* kNotSelected =
    "OPTIX_ERROR_CUDA_NOT_INITIALIZED: Compatible device(s) not found / not selected.";
// OptiX is not loaded, so the result's name comes from the fixed table, which
// does not know 7052.
const char* kNotInitialized =
    "Unknown OptixResult code: Compatible device(s) not found / OptiX not initialized.";

void expectChosen(const Created& c, const std::string& list, const std::vector<int>& ordinals)
{
    ASSERT_NE(c.handle, 0u) << c.error;
    EXPECT_EQ(c.out, "\tSelected devices: [" + list + "]\n\tPrimary device: " +
                         std::to_string(ordinals.front()) + "\n");
    for (size_t k = 0; k < ordinals.size(); ++k)
        EXPECT_EQ(ApiCudaOrdinal(c.handle, unsigned(k)), ordinals[k]) << "state " << k;
    EXPECT_TRUE(ApiCudaOrdinal(c.handle, unsigned(ordinals.size())) == -1 &&
                ApiOutputCudaOrdinal(c.handle) == ordinals.front() &&
                sim::counts().optixContexts == ordinals.size() &&
                sim::counts().streams == ordinals.size() &&
                ApiDestroyPathTracer(c.handle, nullptr));
    expectBooksAtZero();
}

void expectNoneChosen(const std::vector<unsigned>& devices, const char* error = kNotSelected)
{
    Created c = create(devices);
    EXPECT_TRUE(c.handle == 0u && c.error == error && c.out == "");
    expectBooksAtZero();
}

// TREVIX7_SIM_DEVICES=860,450: device 1 is too old to be chosen.
TEST(DeviceSelection, StartUpListsEveryDeviceOnce)
{
    EXPECT_EQ(printed([] { EXPECT_EQ(ApiGetDeviceCount(), 2); }),
              "\t[0]: Simulated Device 0 (sm_86)\n\t[1]: Simulated Device 1 (sm_45)\n");
    EXPECT_EQ(printed([] { EXPECT_EQ(ApiGetDeviceCount() * 1000 + ApiGpuArchitecture(1), 2450); }), "");
}

TEST(DeviceSelection, RequestedListsKeepOrderSkipUnusableAndRepeat)
{
    expectChosen(create({}), "0", {0});
    expectChosen(create({1, 0}), "0", {0});
    expectChosen(create({0, 0}), "0, 0", {0, 0});
    for (const std::vector<unsigned>& devices : {std::vector<unsigned>{2}, {1}, {1, 2, 1}})
        expectNoneChosen(devices);
}

// TREVIX7_SIM_DEVICES=860,750: both devices qualify.
TEST(TwoCapableDevices, TheFirstRequestedDeviceIsPrimary)
{
    printed([] { ApiGetDeviceCount(); });
    expectChosen(create({}), "0, 1", {0, 1});
    expectChosen(create({1, 0}), "1, 0", {1, 0});
    expectChosen(create({1, 2, 1}), "1, 1", {1, 1});
}

// TREVIX7_SIM_DEVICES=500,490: 5.0 is the oldest capability rendered on.
TEST(OldestDevices, CapabilityFiveIsTheFloor)
{
    printed([] { ApiGetDeviceCount(); });
    expectChosen(create({}), "0", {0});
    expectNoneChosen({1});
}

// TREVIX7_SIM_DEVICES= (empty): the runtime answers cudaErrorNoDevice, once.
TEST(NoDevice, StartUpReportsTheCudaErrorOnce)
{
    EXPECT_EQ(printed([] { EXPECT_EQ(ApiGetDeviceCount(), -1); }),
              "CUDA initialization failed:\nno CUDA-capable device is detected\n");
    EXPECT_EQ(printed([] { EXPECT_TRUE(ApiGetDeviceCount() == -1 && ApiGpuArchitecture(0) == 0); }), "");
    expectNoneChosen({}, kNotInitialized);
}

// No libnvoptix.so.1 on the search path: start-up fails without a word, for good.
TEST(NoOptix, StartUpFailsSilently)
{
    EXPECT_EQ(printed([] { EXPECT_TRUE(ApiGetDeviceCount() == -1 && ApiGetDeviceCount() == -1); }), "");
    expectNoneChosen({0}, kNotInitialized);
    expectNoneChosen({0}, kNotInitialized);
}

} // namespace
