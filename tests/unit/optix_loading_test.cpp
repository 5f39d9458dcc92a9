// Loading the OptiX function table, with the simulated library on the search
// path (OptixLoading) and without any (OptixAbsent).

#include "core/CUDABuffer.h"
#include "core/OptixLoader.h"

#include "support.h"

namespace {

TEST(OptixLoading, TableLoadsAndNamesComeFromTheLibrary)
{
    ASSERT_FALSE(optixLoaded());
    ASSERT_TRUE(loadOptixFunctionTable());
    EXPECT_TRUE(optixLoaded());
    // After loading, even codes outside the fixed table have their names.
    EXPECT_EQ(sutil::Exception::createMessage(OPTIX_ERROR_HOST_OUT_OF_MEMORY, "x"),
              "OPTIX_ERROR_HOST_OUT_OF_MEMORY: x");
    EXPECT_EQ(sutil::Exception::createMessage(OPTIX_ERROR_CUDA_NOT_INITIALIZED, "y"),
              "OPTIX_ERROR_CUDA_NOT_INITIALIZED: y");
}

TEST(OptixLoading, NullNameGivesAnEmptyMessage)
{
    ASSERT_TRUE(optixLoaded());
    auto saved = g_optixFunctionTable.optixGetErrorName;
    g_optixFunctionTable.optixGetErrorName = [](OptixResult) -> const char* { return nullptr; };
    std::string msg = sutil::Exception::createMessage(OPTIX_ERROR_INVALID_VALUE, "text");
    g_optixFunctionTable.optixGetErrorName = saved;
    EXPECT_EQ(msg, "");
}

TEST(OptixAbsent, TableStaysUnloadedAndSilent)
{
    EXPECT_EQ(t7test::printed([] { EXPECT_FALSE(loadOptixFunctionTable()); }), "");
    EXPECT_TRUE(!optixLoaded() && g_optixFunctionTable.optixGetErrorName == nullptr &&
                g_optixFunctionTable.optixGetErrorString == nullptr);
}

} // namespace
