// Program groups and the pipeline of each device: the camera, the two miss
// groups and two hit groups per geometry, linked in the order the binding
// table and the instances follow.

#include "core/PathTracer.h"

#include "core/CUDABuffer.h"
#include "programs/ProgramFiles.h"
#include "programs/ProgramReference.h"

#include <iostream>

T7_CHECK_LABEL(PathTracer::kLabel);

namespace {

// Splits and loads a program reference into its three fields; false when not valid.
bool loadProgram(const std::string& ref, std::string& file, std::string& ptx,
                 std::string& function)
{
    ProgramReference parts;
    if (!splitProgramReference(ref, parts))
        return false;
    std::string text;
    getPtxString(text, parts.file.c_str()); // a missing file throws before anything changes
    file = parts.file;
    ptx = text;
    function = parts.function;
    return true;
}

} // namespace

bool PathTracer::setCameraProgram(const std::string& ref)
{
    if (!loadProgram(ref, m_camera_file, m_camera_ptx, m_camera_function))
        return false;
    m_accumFrames = 0;
    m_camera_dirty = m_pipeline_dirty = true;
    return true;
}

bool PathTracer::setMissProgram(const std::string& ref)
{
    if (!loadProgram(ref, m_miss_file, m_miss_ptx, m_miss_function))
        return false;
    m_accumFrames = 0;
    m_miss_dirty = m_pipeline_dirty = m_sbt_dirty = true;
    return true;
}

void PathTracer::createCameraModule(PathTracerState& state, bool)
{
    if (state.raygen_prog_group) {
        OPTIX_CHECK(optixProgramGroupDestroy(state.raygen_prog_group));
        state.raygen_prog_group = nullptr;
    }
    state.camera_module = state.modules.getModule(m_camera_file, m_camera_ptx);
    OptixProgramGroupOptions program_group_options = {};
    OptixProgramGroupDesc raygen_prog_group_desc = {};
    raygen_prog_group_desc.kind = OPTIX_PROGRAM_GROUP_KIND_RAYGEN;
    raygen_prog_group_desc.raygen.module = state.camera_module;
    raygen_prog_group_desc.raygen.entryFunctionName = m_camera_function.c_str();
    char log[kOptixLogSize];
    size_t sizeof_log = 0;
    OPTIX_CHECK_LOG(optixProgramGroupCreate( state.context, &raygen_prog_group_desc, 1, &program_group_options, log, &sizeof_log, &state.raygen_prog_group ));
}

void PathTracer::createMissModule(PathTracerState& state, bool)
{
    if (state.radiance_miss_group) {
        OPTIX_CHECK(optixProgramGroupDestroy(state.radiance_miss_group));
        state.radiance_miss_group = nullptr;
    }
    if (state.occlusion_miss_group) {
        OPTIX_CHECK(optixProgramGroupDestroy(state.occlusion_miss_group));
        state.occlusion_miss_group = nullptr;
    }
    state.miss_module = state.modules.getModule(m_miss_file, m_miss_ptx);
    OptixProgramGroupOptions program_group_options = {};
    OptixProgramGroupDesc miss_prog_group_desc = {};
    miss_prog_group_desc.kind = OPTIX_PROGRAM_GROUP_KIND_MISS;
    miss_prog_group_desc.miss.module = state.miss_module;
    miss_prog_group_desc.miss.entryFunctionName = m_miss_function.c_str();
    char log[kOptixLogSize];
    size_t sizeof_log = 0;
    OPTIX_CHECK_LOG(optixProgramGroupCreate( state.context, &miss_prog_group_desc, 1, &program_group_options, log, &sizeof_log, &state.radiance_miss_group ));
    // An occlusion ray that misses runs nothing: its payload keeps the tracer's value.
    miss_prog_group_desc.miss = {};
    OPTIX_CHECK_LOG(optixProgramGroupCreate( state.context, &miss_prog_group_desc, 1, &program_group_options, log, &sizeof_log, &state.occlusion_miss_group ));
}

std::vector<GeometryBase*> PathTracer::sceneGeometries(PathTracerState& state)
{
    std::vector<GeometryBase*> list;
    auto take = [&](auto& map) {
        for (auto& entry : map)
            if (entry.second.primitiveCount())
                list.push_back(&entry.second);
    };
    take(state.primitives);
    take(state.triangles);
    take(state.curves);
    if (list.empty())
        list.push_back(state.dummyGeometry.get());
    return list;
}

void PathTracer::createHitModules(PathTracerState& state, bool force)
{
    for (GeometryBase* g : sceneGeometries(state)) {
        auto material = state.materials.find(g->material());
        if (material == state.materials.end())
            throw sutil::Exception("Material not found.");
        g->createHitModules(state.modules, material->second, force);
    }
}

bool PathTracer::createPipeline(PathTracerState& state)
{
    if (m_camera_function.empty())
        return compileFailed("No camera program: make a camera current before compiling.");
    if (m_miss_function.empty())
        return compileFailed("No miss program: set one with ApiSetMissProgram before compiling.");
    destroyPipeline(state);
    // Every pipeline admits triangles, custom primitives and all round curves.
    state.modules.pipelineCompileOptions().usesPrimitiveTypeFlags |= 0x8000001F;
    if (m_hit_dirty)
        createHitModules(state, false);
    if (m_camera_dirty)
        createCameraModule(state, false);
    if (m_miss_dirty)
        createMissModule(state, false);

    std::vector<OptixProgramGroup> program_groups = {
        state.raygen_prog_group, state.radiance_miss_group, state.occlusion_miss_group};
    for (const GeometryBase* g : sceneGeometries(state)) {
        program_groups.push_back(g->radianceHitGroup());
        program_groups.push_back(g->occlusionHitGroup());
    }
    OptixPipelineLinkOptions pipeline_link_options = {};
    pipeline_link_options.maxTraceDepth = 2;
    // Full debug information at link time, line information in the modules.
    pipeline_link_options.debugLevel = OPTIX_COMPILE_DEBUG_LEVEL_FULL;
    char log[kOptixLogSize];
    size_t sizeof_log = 0;
    OPTIX_CHECK_LOG(optixPipelineCreate(state.context, &state.modules.pipelineCompileOptions(), &pipeline_link_options, program_groups.data(), program_groups.size(), log, &sizeof_log, &state.pipeline));
    return true;
}

bool PathTracer::compilePipelines()
{
    if (!m_pipeline_dirty)
        return true;
    if (!forEachState([&](PathTracerState& state) { return createPipeline(state); })) {
        std::cout << "compile: pipelines failed." << std::endl;
        return false;
    }
    m_camera_dirty = m_miss_dirty = m_hit_dirty = m_pipeline_dirty = false;
    m_sbt_dirty = true; // the records carry the headers of the groups just linked
    return true;
}

void PathTracer::destroyPipeline(PathTracerState& state)
{
    makeCurrent(state);
    if (state.pipeline) {
        OPTIX_CHECK(optixPipelineDestroy(state.pipeline));
        state.modules.pipelineCompileOptions().usesPrimitiveTypeFlags = 0;
        state.pipeline = nullptr;
    }
}
