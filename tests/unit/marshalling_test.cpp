// Argument marshalling and the error-buffer convention of the entry points.

#include "api/Marshalling.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

TEST(Marshalling, NameValueListsKeepTheFirstValueOfARepeatedName)
{
    const char* names[] = {"a", "b", "a"};
    int ints[] = {1, 2, 3};
    auto m = toVariableMap(names, ints, 3);
    ASSERT_EQ(m.size(), 2u);
    EXPECT_EQ(m["a"], 1);
    EXPECT_EQ(m["b"], 2);
    EXPECT_TRUE(toVariableMap(names, ints, 0).empty());

    trevix7_float3 colors[] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
    auto c = toVariableMap(names, colors, 3);
    static_assert(std::is_same<decltype(c)::mapped_type, float3>::value, "float3 values");
    EXPECT_EQ(c["a"].z, 3.0f);
    EXPECT_EQ(c["b"].x, 4.0f);

    trevix7_uint2 ranges[] = {{1, 2}, {3, 4}};
    auto r = toVariableMap(names, ranges, 2);
    EXPECT_EQ(r["b"].y, 4u);
}

TEST(Marshalling, DeviceListsKeepOrderAndRepeats)
{
    const unsigned devices[] = {1, 0, 1};
    EXPECT_EQ(toVector(devices, 3), (std::vector<unsigned>{1, 0, 1}));
    EXPECT_TRUE(toVector(nullptr, 0).empty());
}

TEST(Marshalling, CatchingPrintsThenFillsTheBuffer)
{
    char error[64] = "stale";
    clearError(error);
    EXPECT_STREQ(error, "");
    clearError(nullptr); // no buffer is fine

    testing::internal::CaptureStdout();
    int r = catching(error, 0x901, []() -> int { throw std::runtime_error("it broke"); });
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "it broke\n");
    EXPECT_EQ(r, 0x901);
    EXPECT_STREQ(error, "it broke");

    EXPECT_EQ(catching(nullptr, false, [] { return true; }), true);
    EXPECT_THROW(catching(error, 0, []() -> int { throw 5; }), int); // not a std::exception
}

} // namespace
