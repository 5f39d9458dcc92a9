#pragma once
// Helpers for tests that drive the simulated build through its entry points.

#include "trevix7.h"
#include "sim_control.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace t7test {

constexpr size_t kErrorSize = 4096;

struct Created {
    unsigned handle;
    std::string error;
    std::string out; // what creation printed
};

// Creates an instance with no variables on the given devices.
inline Created create(const std::vector<unsigned>& devices, int logLevel = 0,
                      unsigned width = 64, unsigned height = 48)
{
    char error[kErrorSize] = "stale";
    ApiSetupLibraryDir(TREVIX7_BUILD_DIR); // the placeholder programs
    testing::internal::CaptureStdout();
    unsigned h = ApiCreatePathTracer(width, height, READBACK_RGBA8, nullptr, nullptr, 0, nullptr,
                                     nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr,
                                     nullptr, 0, nullptr, nullptr, 0, devices.data(),
                                     unsigned(devices.size()), logLevel, error);
    return {h, error, testing::internal::GetCapturedStdout()};
}

// True when the simulated device holds nothing any more.
inline void expectNothingLeft()
{
    sim::Counts c = sim::counts();
    EXPECT_EQ(c.deviceAllocations, 0u);
    EXPECT_EQ(c.deviceBytes, 0u);
    EXPECT_EQ(c.pinnedAllocations, 0u);
    EXPECT_EQ(c.arrays, 0u);
    EXPECT_EQ(c.textureObjects, 0u);
    EXPECT_EQ(c.streams, 0u);
    EXPECT_EQ(c.optixContexts, 0u);
    EXPECT_EQ(c.optixObjects, 0u);
}

} // namespace t7test
