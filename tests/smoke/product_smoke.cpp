// Loads the product library the way a host does, on a machine without an
// NVIDIA driver: it must load, report the CUDA start-up failure and refuse to
// create an instance with its usual text. The library's path is the argument.

#include "trevix7.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

const char* g_library = nullptr;

TEST(ProductSmoke, LoadsAndReportsTheMissingDriver)
{
    void* lib = dlopen(g_library, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(lib, nullptr) << dlerror();
    auto getDeviceCount =
        reinterpret_cast<decltype(&ApiGetDeviceCount)>(dlsym(lib, "ApiGetDeviceCount"));
    auto create =
        reinterpret_cast<decltype(&ApiCreatePathTracer)>(dlsym(lib, "ApiCreatePathTracer"));
    ASSERT_TRUE(getDeviceCount && create);

    testing::internal::CaptureStdout();
    EXPECT_EQ(getDeviceCount(), -1);
    const std::string out = testing::internal::GetCapturedStdout();
    // Two lines: the heading and the CUDA error text.
    EXPECT_EQ(out.rfind("CUDA initialization failed:\n", 0), 0u) << out;
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 2) << out;

    char error[512] = "stale";
    testing::internal::CaptureStdout();
    EXPECT_EQ(create(64, 64, 1, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0,
                     nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, 0, 0,
                     error),
              0u);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "creation prints nothing";
    EXPECT_STREQ(error, "Unknown OptixResult code: Compatible device(s) not found / OptiX not "
                        "initialized.");
}

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <path to libtrevix7.so>\n", argv[0]);
        return 2;
    }
    g_library = argv[1];
    return RUN_ALL_TESTS();
}
