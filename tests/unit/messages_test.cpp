// Message layouts of the checked calls, the exception type and the OptiX log
// callback, before the OptiX library is loaded.

#include "core/CUDABuffer.h"
#include "core/PathTracer.h"
#include "support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <string>

T7_CHECK_LABEL("messages_test.cpp");

namespace {

using t7test::failure;

OptixResult failingCall(OptixResult r) { return r; }

TEST(Messages, CudaCheckQuotesTheCallAndTheSourceFile)
{
    int line = __LINE__ + 1;
    std::string msg = failure([] { CUDA_CHECK(cudaMalloc(nullptr, 16)); });
    EXPECT_EQ(msg, "CUDA call (cudaMalloc(nullptr, 16) ) failed with error: 'invalid argument' "
                   "(messages_test.cpp:" + std::to_string(line) + ")\n");
}

TEST(Messages, SyncCheckReportsThePendingError)
{
    ASSERT_EQ(cudaSetDevice(42), cudaErrorInvalidDevice); // leaves a pending error
    int line = __LINE__ + 1;
    std::string msg = failure([] { CUDA_SYNC_CHECK(); });
    EXPECT_EQ(msg, "CUDA error on synchronize with error 'invalid device ordinal' "
                   "(messages_test.cpp:" + std::to_string(line) + ")\n");
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
}

TEST(Messages, OptixCheckBeforeLoadingUsesTheFixedNames)
{
    ASSERT_EQ(g_optixFunctionTable.optixGetErrorName, nullptr);
    int line = __LINE__ + 1;
    std::string msg = failure([] { OPTIX_CHECK(failingCall(OPTIX_ERROR_INVALID_VALUE)); });
    EXPECT_EQ(msg, "OPTIX_ERROR_INVALID_VALUE: Optix call 'failingCall(OPTIX_ERROR_INVALID_VALUE)' "
                   "failed: messages_test.cpp:" + std::to_string(line) + ")\n");

    const std::pair<int, const char*> names[] = {
        {0, "OPTIX_SUCCESS"}, {7001, "OPTIX_ERROR_INVALID_VALUE"},
        {7002, "Unknown OptixResult code"}, {7052, "Unknown OptixResult code"},
        {7801, "OPTIX_ERROR_UNSUPPORTED_ABI_VERSION"},
        {7802, "OPTIX_ERROR_FUNCTION_TABLE_SIZE_MISMATCH"},
        {7803, "OPTIX_ERROR_INVALID_ENTRY_FUNCTION_OPTIONS"},
        {7804, "OPTIX_ERROR_LIBRARY_NOT_FOUND"}, {7805, "OPTIX_ERROR_ENTRY_SYMBOL_NOT_FOUND"},
        {7806, "OPTIX_ERROR_LIBRARY_UNLOAD_FAILURE"}, {7807, "Unknown OptixResult code"},
    };
    for (const auto& n : names)
        EXPECT_EQ(sutil::Exception::createMessage(OptixResult(n.first), "x"),
                  std::string(n.second) + ": x");
    // A null text fails the stream after the separator.
    EXPECT_EQ(sutil::Exception::createMessage(OPTIX_ERROR_INVALID_VALUE, nullptr),
              "OPTIX_ERROR_INVALID_VALUE: ");
    // The constructor without a result keeps the text unchanged.
    EXPECT_STREQ(sutil::Exception("as is").what(), "as is");
}

TEST(Messages, LogCallbackAlignsLevelAndTag)
{
    testing::internal::CaptureStderr();
    context_log_cb(4, "DISKCACHE", "Opened database", nullptr);
    context_log_cb(12, "COMPILER", "", nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "[ 4][   DISKCACHE]: Opened database\n"
              "[12][    COMPILER]: \n");

    // A null tag fails the stream: the rest of the record is lost.
    testing::internal::CaptureStderr();
    context_log_cb(2, nullptr, "lost", nullptr);
    context_log_cb(2, "TAG", "also lost", nullptr);
    std::cerr.clear();
    context_log_cb(3, "TAG", "back", nullptr);
    std::string out = testing::internal::GetCapturedStderr();
    EXPECT_EQ(out.rfind("[ 2][", 0), 0u) << out;
    EXPECT_EQ(out.find("lost"), std::string::npos) << out;
    EXPECT_EQ(out.substr(out.size() - 25), "[ 3][         TAG]: back\n") << out;
}

// Each unit labels its messages with its own name, wherever its code lives.
TEST(Messages, EachUnitLabelsItsMessages)
{
    PathTracerState state;
    state.device_idx = 0;
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"PathTracer.cpp", [&] { PathTracer::makeCurrent(state); }},
        {"CUDABuffer.cpp", [] { CuBuffer(4, 0, nullptr).upload(nullptr); }},
        {"Geometry.cpp", [] { GeometryTriangles(0, nullptr, 1, geoPrimitives0, 1).streamSync(); }},
        {"Texture.cpp", [] { Texture(0, nullptr, 1, 1, 1, 8, cudaAddressModeWrap, "x"); }},
        {"Material.cpp", [] { Material(0, nullptr, {}, {}, {}, {}, {}).reallocBuffers(); }},
    };
    for (const auto& c : cases) {
        sim::failNext("cudaSetDevice", cudaErrorInvalidDevice);
        const std::string msg = failure(c.second);
        EXPECT_TRUE(std::regex_match(msg, std::regex("CUDA call \\(cudaSetDevice\\((state\\.device_idx|"
                                                     "m_device_idx)\\) \\) failed with error: "
                                                     "'invalid device ordinal' \\(" +
                                                     std::string(c.first) + ":[0-9]+\\)\n")))
            << msg;
    }
    state.device_idx = -1;
    t7test::expectBooksAtZero();
}

// Destructors report a failure with their class name and go on.
TEST(Messages, DestructorsReportAndContinue)
{
    auto* material = new Material(0, nullptr, {}, {}, {}, {}, {});
    sim::failNext("cudaFree", cudaErrorInvalidValue);
    const std::string out = t7test::printed([&] { delete material; });
    EXPECT_EQ(out.rfind("Material destructor caught exception: CUDA call (cudaFree(reinterpret_cast"
                        "<void*>(m_params.color_tex)) ) failed with error: 'invalid argument' "
                        "(Material.cpp:",
                        0),
              0u)
        << out;
    EXPECT_EQ(out.substr(out.size() - 3), ")\n\n");
    t7test::expectBooksAtZero();
}

} // namespace
