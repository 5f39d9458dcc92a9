#pragma once
// The module cache of one device: turns program texts into OptiX modules, at
// most once per program file, lends out the built-in curve intersection
// modules, and holds the compile options every module and the pipeline share.

#include "core/optix7.h"

#include <map>
#include <string>

class Modules {
public:
    Modules();
    ~Modules() = default; // destroy() releases the modules; the owner calls it
    Modules(const Modules&) = delete;
    Modules& operator=(const Modules&) = delete;

    void setContext(OptixDeviceContext context) { m_context = context; }
    OptixDeviceContext Context() const { return m_context; }
    OptixPipelineCompileOptions& pipelineCompileOptions() { return m_pipeline_compile_options; }
    const OptixModuleCompileOptions& moduleCompileOptions() const { return m_module_compile_options; }

    // The module of a program file, keyed by its name without extension; the
    // text is used only when the module does not exist yet.
    OptixModule getModule(const std::string& file, const std::string& ptx, bool = false);

    OptixModule getBSplineLinIsModule(bool = false);
    OptixModule getBSplineQuadIsModule(bool = false);
    OptixModule getBSplineCubeIsModule(bool = false);
    OptixModule getSplineCRomIsModule(bool = false);

    // Destroys the file modules in key order, then the built-in ones.
    void destroy();

    size_t moduleCount() const { return m_modules.size(); }

private:
    OptixPipelineCompileOptions m_pipeline_compile_options = {};
    OptixModuleCompileOptions m_module_compile_options = {};
    std::map<std::string, OptixModule> m_modules;
    OptixModule m_module_bspline_lin_is = nullptr;
    OptixModule m_module_bspline_quad_is = nullptr;
    OptixModule m_module_bspline_cube_is = nullptr;
    OptixModule m_module_spline_crom_is = nullptr;
    OptixDeviceContext m_context = nullptr;
};
