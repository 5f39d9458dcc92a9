#include "Modules.h"

#include "ProgramFiles.h"
#include "core/CUDABuffer.h"

T7_CHECK_LABEL("Modules.cpp");

Modules::Modules()
{
    m_pipeline_compile_options.usesMotionBlur = 0;
    // One instance level above the geometry.
    m_pipeline_compile_options.traversableGraphFlags =
        OPTIX_TRAVERSABLE_GRAPH_FLAG_ALLOW_SINGLE_LEVEL_INSTANCING;
    m_pipeline_compile_options.numPayloadValues = 4;
    m_pipeline_compile_options.numAttributeValues = 6;
    m_pipeline_compile_options.exceptionFlags = OPTIX_EXCEPTION_FLAG_NONE;
    m_pipeline_compile_options.pipelineLaunchParamsVariableName = "params";
    m_pipeline_compile_options.usesPrimitiveTypeFlags = 0; // set when a pipeline is built

    m_module_compile_options.maxRegisterCount = OPTIX_COMPILE_DEFAULT_MAX_REGISTER_COUNT;
    m_module_compile_options.optLevel = OPTIX_COMPILE_OPTIMIZATION_DEFAULT;
    m_module_compile_options.debugLevel = OPTIX_COMPILE_DEBUG_LEVEL_MINIMAL; // line info
}

OptixModule Modules::getModule(const std::string& file, const std::string& ptx, bool)
{
    const std::string key = removeExtension(file);
    auto found = m_modules.find(key);
    if (found != m_modules.end())
        return found->second;

    char log[kOptixLogSize];
    size_t sizeof_log = 0;
    OptixModule mnew = nullptr;
    OPTIX_CHECK_LOG(optixModuleCreateFromPTX( m_context, &m_module_compile_options, &m_pipeline_compile_options, ptx.data(), ptx.size(), log, &sizeof_log, &mnew ));
    m_modules[key] = mnew;
    return mnew;
}

OptixModule Modules::getBSplineLinIsModule(bool)
{
    if (!m_module_bspline_lin_is) {
        OptixBuiltinISOptions builtinISOptions = {};
        builtinISOptions.builtinISModuleType = OPTIX_PRIMITIVE_TYPE_ROUND_LINEAR;
        OPTIX_CHECK(optixBuiltinISModuleGet(m_context, &m_module_compile_options, &m_pipeline_compile_options, &builtinISOptions, &m_module_bspline_lin_is));
    }
    return m_module_bspline_lin_is;
}

OptixModule Modules::getBSplineQuadIsModule(bool)
{
    if (!m_module_bspline_quad_is) {
        OptixBuiltinISOptions builtinISOptions = {};
        builtinISOptions.builtinISModuleType = OPTIX_PRIMITIVE_TYPE_ROUND_QUADRATIC_BSPLINE;
        OPTIX_CHECK(optixBuiltinISModuleGet(m_context, &m_module_compile_options, &m_pipeline_compile_options, &builtinISOptions, &m_module_bspline_quad_is));
    }
    return m_module_bspline_quad_is;
}

OptixModule Modules::getBSplineCubeIsModule(bool)
{
    if (!m_module_bspline_cube_is) {
        OptixBuiltinISOptions builtinISOptions = {};
        builtinISOptions.builtinISModuleType = OPTIX_PRIMITIVE_TYPE_ROUND_CUBIC_BSPLINE;
        OPTIX_CHECK(optixBuiltinISModuleGet(m_context, &m_module_compile_options, &m_pipeline_compile_options, &builtinISOptions, &m_module_bspline_cube_is));
    }
    return m_module_bspline_cube_is;
}

OptixModule Modules::getSplineCRomIsModule(bool)
{
    if (!m_module_spline_crom_is) {
        OptixBuiltinISOptions builtinISOptions = {};
        builtinISOptions.builtinISModuleType = OPTIX_PRIMITIVE_TYPE_ROUND_CATMULLROM;
        OPTIX_CHECK(optixBuiltinISModuleGet(m_context, &m_module_compile_options, &m_pipeline_compile_options, &builtinISOptions, &m_module_spline_crom_is));
    }
    return m_module_spline_crom_is;
}

void Modules::destroy()
{
    // A failure leaves what is not destroyed yet in place.
    for (auto it = m_modules.begin(); it != m_modules.end(); it = m_modules.erase(it)) {
        auto& m = *it;
        OPTIX_CHECK(optixModuleDestroy(m.second));
    }
    if (m_module_bspline_lin_is)
        OPTIX_CHECK(optixModuleDestroy(m_module_bspline_lin_is));
    m_module_bspline_lin_is = nullptr;
    if (m_module_bspline_quad_is)
        OPTIX_CHECK(optixModuleDestroy(m_module_bspline_quad_is));
    m_module_bspline_quad_is = nullptr;
    if (m_module_bspline_cube_is)
        OPTIX_CHECK(optixModuleDestroy(m_module_bspline_cube_is));
    m_module_bspline_cube_is = nullptr;
    if (m_module_spline_crom_is)
        OPTIX_CHECK(optixModuleDestroy(m_module_spline_crom_is));
    m_module_spline_crom_is = nullptr;
}
