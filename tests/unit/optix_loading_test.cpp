// Loading the OptiX function table, with the simulated library on the search
// path (OptixLoading) and without any (OptixAbsent).

#include "core/CUDABuffer.h"
#include "core/OptixLoader.h"
#include "sim_optix.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

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

TEST(OptixLoading, SimulatedLibraryRefusesOtherAbisAndSizes)
{
    void* lib = dlopen("libnvoptix.so.1", RTLD_NOW);
    ASSERT_NE(lib, nullptr);
    auto query = reinterpret_cast<OptixQueryFunctionTable_t>(dlsym(lib, "optixQueryFunctionTable"));
    ASSERT_NE(query, nullptr);
    OptixFunctionTable table = {};
    EXPECT_EQ(query(60, 0, nullptr, nullptr, &table, 344), OPTIX_ERROR_UNSUPPORTED_ABI_VERSION);
    EXPECT_EQ(query(68, 0, nullptr, nullptr, &table, 384), OPTIX_ERROR_FUNCTION_TABLE_SIZE_MISMATCH);
    EXPECT_EQ(table.optixGetErrorName, nullptr);
    EXPECT_EQ(query(68, 0, nullptr, nullptr, &table, sizeof(table)), OPTIX_SUCCESS);
    EXPECT_NE(table.optixDeviceContextCreate, nullptr);
    dlclose(lib);
}

TEST(OptixAbsent, TableStaysUnloadedAndSilent)
{
    testing::internal::CaptureStdout();
    EXPECT_FALSE(loadOptixFunctionTable());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_FALSE(optixLoaded());
    EXPECT_EQ(g_optixFunctionTable.optixGetErrorName, nullptr);
    EXPECT_EQ(g_optixFunctionTable.optixGetErrorString, nullptr);
}

} // namespace
