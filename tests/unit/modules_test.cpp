// The module cache of one device on the simulated OptiX library.

#include "core/CUDABuffer.h"
#include "core/OptixLoader.h"
#include "core/PathTracerState.h"
#include "programs/Modules.h"
#include "sim_control.h"
#include "support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <regex>

namespace {

// The cache of a per-device state, whose destructor releases the modules
// before the context, on its device: the fixture checks the books at zero.
class ModuleCache : public t7test::BooksAtZero {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(optixLoaded() || loadOptixFunctionTable());
        ASSERT_EQ(cudaSetDevice(0), cudaSuccess);
        ASSERT_EQ(cudaFree(nullptr), cudaSuccess);
        m_state.device_idx = 0;
        OptixDeviceContextOptions options = {};
        ASSERT_EQ(optixDeviceContextCreate(nullptr, &options, &m_state.context), OPTIX_SUCCESS);
        m_state.modules.setContext(m_state.context);
        m_first = sim::records().modules.size();
    }
    void TearDown() override
    {
        m_stateHolder.reset();
        BooksAtZero::TearDown();
    }
    size_t created() const { return sim::records().modules.size() - m_first; }

    std::unique_ptr<PathTracerState> m_stateHolder = std::make_unique<PathTracerState>();
    PathTracerState& m_state = *m_stateHolder;
    Modules& m_modules = m_state.modules;
    size_t m_first = 0;
};

TEST_F(ModuleCache, OneModulePerFileWhateverItsExtension)
{
    OptixModule x = m_modules.getModule("x.cu", "text of x");
    EXPECT_TRUE(m_modules.getModule("x.ptx", "other text") == x &&
                m_modules.getModule("x.ir", "") == x && created() == 1u &&
                sim::records().modules.back().text == "text of x");
    EXPECT_NE(m_modules.getModule("y.cu", "text of y"), x);
    EXPECT_TRUE(created() == 2u && m_modules.moduleCount() == 2u);
}

TEST_F(ModuleCache, CompileOptionsReachOptix)
{
    m_modules.getModule("opts.cu", "text");
    sim::ModuleRecord r = sim::records().modules.back();
    EXPECT_EQ(r.builtinType, 0u);
    OptixModuleCompileOptions module = {}; // no register limit, default optimisation
    module.debugLevel = OptixCompileDebugLevel(0x2351);
    EXPECT_EQ(std::memcmp(&r.moduleOptions, &module, sizeof module), 0);
    OptixPipelineCompileOptions pipeline = {}; // no motion blur, exceptions or type flags
    pipeline.traversableGraphFlags = 2;
    pipeline.numPayloadValues = 4;
    pipeline.numAttributeValues = 6;
    EXPECT_EQ(r.launchParamsName, "params");
    r.pipelineOptions.pipelineLaunchParamsVariableName = nullptr;
    EXPECT_EQ(std::memcmp(&r.pipelineOptions, &pipeline, sizeof pipeline), 0);
}

TEST_F(ModuleCache, CurveModulesAreCreatedOnceEach)
{
    OptixModule lin = m_modules.getBSplineLinIsModule();
    OptixModule quad = m_modules.getBSplineQuadIsModule();
    OptixModule cube = m_modules.getBSplineCubeIsModule();
    OptixModule crom = m_modules.getSplineCRomIsModule();
    EXPECT_TRUE(m_modules.getBSplineLinIsModule() == lin && m_modules.getBSplineQuadIsModule() == quad &&
                m_modules.getBSplineCubeIsModule() == cube && m_modules.getSplineCRomIsModule() == crom);
    ASSERT_EQ(created(), 4u);
    auto history = sim::records().modules;
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
    // The reported size counts the terminator: a log of 8192 bytes needs 8193.
    for (size_t bytes : {size_t(0), size_t(100), kOptixLogSize - 1, kOptixLogSize}) {
        const std::string log = std::string(bytes, 'e');
        sim::failNext("optixModuleCreateFromPTX", OPTIX_ERROR_INVALID_PTX, 0, log);
        const std::string msg = std::regex_replace(
            t7test::failure([&] { m_modules.getModule("bad.cu", "text"); }),
            std::regex("Modules.cpp:[0-9]+\\)"), "Modules.cpp:N)");
        EXPECT_EQ(msg, "OPTIX_ERROR_INVALID_PTX: Optix call 'optixModuleCreateFromPTX( m_context, "
                       "&m_module_compile_options, &m_pipeline_compile_options, ptx.data(), "
                       "ptx.size(), log, &sizeof_log, &mnew )' failed: Modules.cpp:N)\nLog:\n" +
                           log.substr(0, kOptixLogSize - 1) +
                           (bytes + 1 > kOptixLogSize ? "<TRUNCATED>" : "") + "\n");
    }
    EXPECT_TRUE(m_modules.moduleCount() == 0u && created() == 0u);
}

} // namespace
