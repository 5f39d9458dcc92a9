// What initLaunchParams writes into a state's launch parameters.

#include "core/PathTracer.h"
#include "programs/ProgramFiles.h"

#include <gtest/gtest.h>

namespace {

TEST(LaunchParams, InitWritesSizeDeviceAndRoot)
{
    lib_dir = TREVIX7_BUILD_DIR;
    testing::internal::CaptureStdout();
    PathTracer pt(1280, 720, READBACK_RGBA8, {}, {}, {}, {}, {}, {}, {}, 0);
    testing::internal::GetCapturedStdout();

    PathTracerState state;
    state.device_idx = 3;
    state.ias_handle = 0x1234;
    state.params.total_frames = 77; // not touched
    pt.initLaunchParams(state);
    EXPECT_EQ(state.params.subframe_index, 0u);
    EXPECT_EQ(state.params.width, 1280u);
    EXPECT_EQ(state.params.height, 720u);
    EXPECT_EQ(state.params.device_idx, 3);
    EXPECT_EQ(state.params.handle, 0x1234u);
    EXPECT_EQ(state.params.total_frames, 77u);
    state.device_idx = -1; // holds nothing to release
}

} // namespace
