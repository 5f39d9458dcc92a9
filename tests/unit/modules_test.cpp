// The module cache of one device on the simulated OptiX library.

#include "core/CUDABuffer.h"
#include "core/OptixLoader.h"
#include "core/PathTracerState.h"
#include "programs/Modules.h"
#include "sim_control.h"

#include <gtest/gtest.h>

namespace {

class ModuleCache : public testing::Test {
protected:
    void SetUp() override
    {
        if (!optixLoaded()) {
            ASSERT_TRUE(loadOptixFunctionTable());
        }
        ASSERT_EQ(cudaSetDevice(0), cudaSuccess);
        ASSERT_EQ(cudaFree(nullptr), cudaSuccess);
        OptixDeviceContextOptions options = {};
        ASSERT_EQ(optixDeviceContextCreate(nullptr, &options, &m_context), OPTIX_SUCCESS);
        m_modules.setContext(m_context);
        m_first = sim::moduleHistory().size();
    }
    void TearDown() override
    {
        m_modules.destroy();
        EXPECT_EQ(sim::counts().optixObjects, 0u);
        EXPECT_EQ(optixDeviceContextDestroy(m_context), OPTIX_SUCCESS);
    }
    size_t created() const { return sim::moduleHistory().size() - m_first; }

    OptixDeviceContext m_context = nullptr;
    Modules m_modules;
    size_t m_first = 0;
};

TEST_F(ModuleCache, OneModulePerFileWhateverItsExtension)
{
    OptixModule x = m_modules.getModule("x.cu", "text of x");
    EXPECT_EQ(m_modules.getModule("x.ptx", "other text"), x);
    EXPECT_EQ(m_modules.getModule("x.ir", ""), x);
    EXPECT_EQ(created(), 1u);
    EXPECT_EQ(sim::moduleHistory().back().text, "text of x");
    EXPECT_NE(m_modules.getModule("y.cu", "text of y"), x);
    EXPECT_EQ(created(), 2u);
    EXPECT_EQ(m_modules.moduleCount(), 2u);
}

TEST_F(ModuleCache, CompileOptionsReachOptix)
{
    m_modules.getModule("opts.cu", "text");
    const sim::ModuleRecord r = sim::moduleHistory().back();
    EXPECT_EQ(r.builtinType, 0u);
    EXPECT_EQ(r.moduleOptions.maxRegisterCount, 0);
    EXPECT_EQ(unsigned(r.moduleOptions.optLevel), 0u);
    EXPECT_EQ(unsigned(r.moduleOptions.debugLevel), 0x2351u);
    EXPECT_EQ(r.moduleOptions.boundValues, nullptr);
    EXPECT_EQ(r.moduleOptions.numBoundValues, 0u);
    EXPECT_EQ(r.pipelineOptions.usesMotionBlur, 0);
    EXPECT_EQ(r.pipelineOptions.traversableGraphFlags, 2u);
    EXPECT_EQ(r.pipelineOptions.numPayloadValues, 4);
    EXPECT_EQ(r.pipelineOptions.numAttributeValues, 6);
    EXPECT_EQ(r.pipelineOptions.exceptionFlags, 0u);
    EXPECT_EQ(r.pipelineOptions.usesPrimitiveTypeFlags, 0u);
    EXPECT_EQ(r.launchParamsName, "params");
}

TEST_F(ModuleCache, CurveModulesAreCreatedOnceEach)
{
    OptixModule lin = m_modules.getBSplineLinIsModule();
    OptixModule quad = m_modules.getBSplineQuadIsModule();
    OptixModule cube = m_modules.getBSplineCubeIsModule();
    OptixModule crom = m_modules.getSplineCRomIsModule();
    EXPECT_EQ(m_modules.getBSplineLinIsModule(), lin);
    EXPECT_EQ(m_modules.getBSplineQuadIsModule(), quad);
    EXPECT_EQ(m_modules.getBSplineCubeIsModule(), cube);
    EXPECT_EQ(m_modules.getSplineCRomIsModule(), crom);
    ASSERT_EQ(created(), 4u);
    auto history = sim::moduleHistory();
    const unsigned types[] = {0x2503, 0x2501, 0x2502, 0x2504};
    for (size_t i = 0; i < 4; ++i)
        EXPECT_EQ(history[m_first + i].builtinType, types[i]);
    EXPECT_EQ(sim::counts().optixObjects, 4u);
    m_modules.destroy();
    EXPECT_EQ(sim::counts().optixObjects, 0u);
    // Destroyed modules are asked for anew.
    EXPECT_NE(m_modules.getBSplineLinIsModule(), nullptr);
    EXPECT_EQ(created(), 5u);
}

TEST_F(ModuleCache, CreationFailureCarriesTheLog)
{
    for (size_t bytes : {size_t(100), kOptixLogSize - 1, kOptixLogSize}) {
        std::string text = "SIM_COMPILE_ERROR SIM_LOG_BYTES=" + std::to_string(bytes);
        try {
            m_modules.getModule("bad" + std::to_string(bytes) + ".cu", text);
            ADD_FAILURE() << "no exception";
        } catch (const sutil::Exception& e) {
            std::string msg = e.what();
            EXPECT_EQ(msg.rfind("OPTIX_ERROR_INVALID_PTX: Optix call 'optixModuleCreateFromPTX( "
                                "m_context, &m_module_compile_options, &m_pipeline_compile_options, "
                                "ptx.data(), ptx.size(), log, &sizeof_log, &mnew )' failed: "
                                "Modules.cpp:",
                                0),
                      0u)
                << msg;
            EXPECT_NE(msg.find(")\nLog:\nsimulated compile error"), std::string::npos);
            // The reported size counts the terminator: a log of 8192 bytes needs 8193.
            bool truncated = bytes + 1 > kOptixLogSize;
            EXPECT_EQ(msg.find("<TRUNCATED>\n") != std::string::npos, truncated) << bytes;
            EXPECT_EQ(msg.back(), '\n');
        }
    }
    EXPECT_EQ(m_modules.moduleCount(), 0u);
    EXPECT_EQ(created(), 0u);
}

} // namespace

namespace {

// A per-device state releases its modules before its context, on its device.
TEST(StateTeardown, ReleasesModulesThenContext)
{
    if (!optixLoaded()) {
        ASSERT_TRUE(loadOptixFunctionTable());
    }
    {
        PathTracerState state;
        state.device_idx = 0;
        ASSERT_EQ(cudaSetDevice(0), cudaSuccess);
        ASSERT_EQ(cudaFree(nullptr), cudaSuccess);
        OptixDeviceContextOptions options = {};
        ASSERT_EQ(optixDeviceContextCreate(nullptr, &options, &state.context), OPTIX_SUCCESS);
        state.modules.setContext(state.context);
        state.modules.getModule("teardown.cu", "text");
        state.modules.getSplineCRomIsModule();
        EXPECT_EQ(sim::counts().optixObjects, 2u);
    }
    EXPECT_EQ(sim::counts().optixObjects, 0u);
    EXPECT_EQ(sim::counts().optixContexts, 0u);
}

} // namespace
