// The test layer's OptiX: the CPU device's function table, with the entries
// tests look into wrapped. Each wrapper calls the CPU device's entry and, when
// it succeeds, records what reached it (sim::records()). Launches are also
// checked against the library's use of its launch parameters and run the
// pass hooks; the denoiser writes a known function of its inputs instead of
// passing them through, so a test can tell which buffer went where.

#include "SimLayer.h"

#include "cpu/OptixObjects.h"

#include <vector_functions.h>

#include <cstring>

namespace {

OptixFunctionTable g_cpu; // the CPU device's own entries

template <typename T> bool holds(const T* p, size_t count, bool nullAllowed = false)
{
    return p ? cpu::blockHolding(p, count * sizeof(T)) != nullptr : nullAllowed;
}


OptixResult contextCreate(CUcontext fromContext, const OptixDeviceContextOptions* options,
                          OptixDeviceContext* context)
{
    const OptixResult e = g_cpu.optixDeviceContextCreate(fromContext, options, context);
    if (e == OPTIX_SUCCESS)
        sim::locked([&](sim::Layer& l) {
            l.contextRecords[*context] = l.records.contexts.size();
            l.records.contexts.push_back({cpu::contextDevice(*context),
                                          options ? unsigned(options->logCallbackLevel) : 0u,
                                          options && options->logCallbackFunction, 0});
        });
    return e;
}

OptixResult contextSetCacheEnabled(OptixDeviceContext context, int enabled)
{
    const OptixResult e = g_cpu.optixDeviceContextSetCacheEnabled(context, enabled);
    if (e == OPTIX_SUCCESS)
        sim::locked([&](sim::Layer& l) {
            l.records.contexts[l.contextRecords.at(context)].cacheEnabled = enabled;
        });
    return e;
}

sim::ModuleRecord moduleRecord(const OptixModuleCompileOptions* module,
                               const OptixPipelineCompileOptions* pipeline)
{
    sim::ModuleRecord r{"", 0, *module, *pipeline, ""};
    if (pipeline->pipelineLaunchParamsVariableName)
        r.launchParamsName = pipeline->pipelineLaunchParamsVariableName;
    return r;
}

OptixResult moduleCreateFromPTX(OptixDeviceContext context, const OptixModuleCompileOptions* m,
                                const OptixPipelineCompileOptions* p, const char* PTX,
                                size_t PTXsize, char* log, size_t* logSize, OptixModule* module)
{
    const OptixResult e = g_cpu.optixModuleCreateFromPTX(context, m, p, PTX, PTXsize, log, logSize, module);
    if (e == OPTIX_SUCCESS)
        sim::locked([&](sim::Layer& l) {
            sim::ModuleRecord r = moduleRecord(m, p);
            r.text.assign(PTX, PTXsize);
            l.records.modules.push_back(r);
        });
    return e;
}

OptixResult builtinISModuleGet(OptixDeviceContext context, const OptixModuleCompileOptions* m,
                               const OptixPipelineCompileOptions* p,
                               const OptixBuiltinISOptions* builtin, OptixModule* module)
{
    const OptixResult e = g_cpu.optixBuiltinISModuleGet(context, m, p, builtin, module);
    if (e == OPTIX_SUCCESS)
        sim::locked([&](sim::Layer& l) {
            sim::ModuleRecord r = moduleRecord(m, p);
            r.builtinType = unsigned(builtin->builtinISModuleType);
            l.records.modules.push_back(r);
        });
    return e;
}

std::string name(const char* entry) { return entry ? entry : ""; }

OptixResult groupCreate(OptixDeviceContext context, const OptixProgramGroupDesc* descs,
                        unsigned int count, const OptixProgramGroupOptions* options, char* log,
                        size_t* logSize, OptixProgramGroup* groups)
{
    const OptixResult e = g_cpu.optixProgramGroupCreate(context, descs, count, options, log, logSize, groups);
    if (e == OPTIX_SUCCESS)
        sim::locked([&](sim::Layer& l) {
            for (unsigned i = 0; i < count; ++i) {
                const OptixProgramGroupDesc& d = descs[i];
                sim::GroupRecord r{groups[i], unsigned(d.kind), {}, {}};
                if (d.kind == OPTIX_PROGRAM_GROUP_KIND_HITGROUP) {
                    const OptixProgramGroupHitgroup& h = d.hitgroup;
                    r.modules[0] = h.moduleCH;
                    r.modules[1] = h.moduleAH;
                    r.modules[2] = h.moduleIS;
                    r.entries[0] = name(h.entryFunctionNameCH);
                    r.entries[1] = name(h.entryFunctionNameAH);
                    r.entries[2] = name(h.entryFunctionNameIS);
                } else {
                    r.modules[0] = d.raygen.module; // the same layout as miss
                    r.entries[0] = name(d.raygen.entryFunctionName);
                }
                l.records.groups.push_back(r);
            }
        });
    return e;
}

OptixResult pipelineCreate(OptixDeviceContext context, const OptixPipelineCompileOptions* compile,
                           const OptixPipelineLinkOptions* link, const OptixProgramGroup* groups,
                           unsigned int count, char* log, size_t* logSize, OptixPipeline* pipeline)
{
    const OptixResult e = g_cpu.optixPipelineCreate(context, compile, link, groups, count, log, logSize, pipeline);
    if (e == OPTIX_SUCCESS)
        sim::locked([&](sim::Layer& l) {
            l.records.pipelines.push_back(
                {cpu::contextDevice(context), *pipeline,
                 std::vector<OptixProgramGroup>(groups, groups + count), *link,
                 compile->usesPrimitiveTypeFlags, name(compile->pipelineLaunchParamsVariableName)});
        });
    return e;
}

// The first input as a test sees it: host arrays resolved, their pointers nulled.
void describe(const OptixBuildInput& in, sim::BuildRecord& r)
{
    r.input = in;
    switch (in.type) {
    case OPTIX_BUILD_INPUT_TYPE_TRIANGLES: {
        OptixBuildInputTriangleArray& t = r.input.triangleArray;
        r.vertexBuffer = t.vertexBuffers[0];
        r.flags.assign(t.flags, t.flags + t.numSbtRecords);
        t.vertexBuffers = nullptr;
        t.flags = nullptr;
        t.opacityMicromap.micromapUsageCounts = nullptr;
        break;
    }
    case OPTIX_BUILD_INPUT_TYPE_CURVES: {
        OptixBuildInputCurveArray& c = r.input.curveArray;
        r.vertexBuffer = c.vertexBuffers[0];
        r.widthBuffer = c.widthBuffers[0];
        r.flags = {c.flag};
        c.vertexBuffers = nullptr;
        c.widthBuffers = nullptr;
        c.normalBuffers = nullptr;
        break;
    }
    case OPTIX_BUILD_INPUT_TYPE_CUSTOM_PRIMITIVES: {
        OptixBuildInputCustomPrimitiveArray& p = r.input.customPrimitiveArray;
        r.aabbBuffer = p.aabbBuffers[0];
        r.flags.assign(p.flags, p.flags + p.numSbtRecords);
        p.aabbBuffers = nullptr;
        p.flags = nullptr;
        break;
    }
    case OPTIX_BUILD_INPUT_TYPE_INSTANCES: {
        const OptixBuildInputInstanceArray& a = in.instanceArray;
        r.instances.resize(a.numInstances);
        std::memcpy(r.instances.data(), reinterpret_cast<const void*>(a.instances),
                    a.numInstances * sizeof(OptixInstance));
        break;
    }
    default:
        break;
    }
}

OptixResult accelBuild(OptixDeviceContext context, CUstream stream,
                       const OptixAccelBuildOptions* options, const OptixBuildInput* inputs,
                       unsigned int numInputs, CUdeviceptr temp, size_t tempSize,
                       CUdeviceptr output, size_t outputSize, OptixTraversableHandle* handle,
                       const OptixAccelEmitDesc* emitted, unsigned int numEmitted)
{
    const OptixResult e = g_cpu.optixAccelBuild(context, stream, options, inputs, numInputs, temp,
                                                tempSize, output, outputSize, handle, emitted, numEmitted);
    if (e == OPTIX_SUCCESS)
        sim::locked([&](sim::Layer& l) {
            sim::BuildRecord r{};
            r.device = cpu::contextDevice(context);
            r.options = *options;
            describe(inputs[0], r);
            r.tempSize = tempSize;
            r.tempPinned = cpu::blockHolding(reinterpret_cast<void*>(temp), 1)->pinned;
            r.numEmittedProperties = numEmitted;
            l.records.builds.push_back(r);
        });
    return e;
}

OptixResult accelCompact(OptixDeviceContext context, CUstream stream, OptixTraversableHandle input,
                         CUdeviceptr output, size_t outputSize, OptixTraversableHandle* handle)
{
    const OptixResult e = g_cpu.optixAccelCompact(context, stream, input, output, outputSize, handle);
    if (e == OPTIX_SUCCESS)
        sim::locked([&](sim::Layer& l) { l.records.compactions.push_back({*handle, stream}); });
    return e;
}

OptixResult accelRelocate(OptixDeviceContext context, CUstream stream, const OptixRelocationInfo* info,
                          const OptixRelocateInput* inputs, size_t numInputs, CUdeviceptr target,
                          size_t targetSize, OptixTraversableHandle* handle)
{
    const OptixResult e = g_cpu.optixAccelRelocate(context, stream, info, inputs, numInputs,
                                                   target, targetSize, handle);
    if (e == OPTIX_SUCCESS)
        sim::locked([&](sim::Layer& l) {
            sim::RelocationRecord r{cpu::contextDevice(context), {}};
            if (numInputs) {
                const OptixRelocateInputInstanceArray& a = inputs->instanceArray;
                const auto* h = reinterpret_cast<const OptixTraversableHandle*>(a.traversableHandles);
                r.instanceHandles.assign(h, h + a.numInstances);
            }
            l.records.relocations.push_back(r);
        });
    return e;
}

// A launch as the library makes it: one dimension over sample buffers of
// `width` elements, and images of width x height pixels where given; then
// the hook of its pass, and the CPU device's launch.
OptixResult launch(OptixPipeline pipeline, CUstream stream, CUdeviceptr pipelineParams,
                   size_t pipelineParamsSize, const OptixShaderBindingTable* sbt,
                   unsigned int width, unsigned int height, unsigned int depth)
{
    Params p;
    std::function<void()> hook;
    {
        std::lock_guard<std::mutex> guard(cpu::lock());
        const void* block = reinterpret_cast<const void*>(pipelineParams);
        if (pipelineParamsSize != sizeof(Params) || !cpu::blockHolding(block, sizeof(Params)) ||
            height != 1 || depth != 1)
            return OPTIX_ERROR_INVALID_VALUE;
        std::memcpy(&p, block, sizeof p);
        const size_t pixels = size_t(p.width) * p.height;
        if (!holds(p.sample_indices, width) || !holds(p.sample_accum, width) ||
            !holds(p.albedo_accum, width, true) || !holds(p.normal_accum, width, true) ||
            !holds(p.hit_pos, pixels, true) || !holds(p.geom_id, pixels, true))
            return OPTIX_ERROR_INVALID_VALUE;
        auto& hooks = sim::layer().passHooks;
        if (auto it = hooks.find(p.subframe_index); it != hooks.end()) {
            hook = std::move(it->second);
            hooks.erase(it);
        }
    }
    if (hook)
        hook();
    const OptixResult e = g_cpu.optixLaunch(pipeline, stream, pipelineParams, pipelineParamsSize,
                                            sbt, width, height, depth);
    if (e == OPTIX_SUCCESS)
        sim::locked([&](sim::Layer& l) {
            l.records.launches.push_back({reinterpret_cast<const cpu::Pipeline*>(pipeline)->device, p, width});
        });
    return e;
}

// --- The denoiser ---

sim::DenoiserRecord denoiserRecord(const char* call, const sim::DenoiserState& d, unsigned w, unsigned h)
{
    sim::DenoiserRecord r = {};
    r.call = call;
    r.kind = d.kind;
    r.options = d.options;
    r.width = w;
    r.height = h;
    return r;
}

OptixResult denoiserCreate(OptixDeviceContext context, OptixDenoiserModelKind kind,
                           const OptixDenoiserOptions* options, OptixDenoiser* handle)
{
    const OptixResult e = g_cpu.optixDenoiserCreate(context, kind, options, handle);
    if (e == OPTIX_SUCCESS)
        sim::locked([&](sim::Layer& l) {
            l.denoisers[*handle] = {kind, *options};
            l.records.denoisers.push_back(denoiserRecord("Create", l.denoisers[*handle], 0, 0));
        });
    return e;
}

OptixResult denoiserDestroy(OptixDenoiser handle)
{
    const OptixResult e = g_cpu.optixDenoiserDestroy(handle);
    if (e == OPTIX_SUCCESS)
        sim::locked([&](sim::Layer& l) {
            l.records.denoisers.push_back(denoiserRecord("Destroy", l.denoisers.at(handle), 0, 0));
            l.denoisers.erase(handle);
        });
    return e;
}

OptixResult denoiserSetup(OptixDenoiser handle, CUstream stream, unsigned w, unsigned h,
                          CUdeviceptr state, size_t stateSize, CUdeviceptr scratch, size_t scratchSize)
{
    const OptixResult e = g_cpu.optixDenoiserSetup(handle, stream, w, h, state, stateSize, scratch, scratchSize);
    if (e == OPTIX_SUCCESS)
        sim::locked([&](sim::Layer& l) {
            sim::DenoiserState& d = l.denoisers.at(handle);
            d.width = w;
            d.height = h;
            l.records.denoisers.push_back(denoiserRecord("Setup", d, w, h));
        });
    return e;
}

OptixResult denoiserIntensity(OptixDenoiser handle, CUstream stream, const OptixImage2D* input,
                              CUdeviceptr output, CUdeviceptr scratch, size_t scratchSize)
{
    const OptixResult e = g_cpu.optixDenoiserComputeIntensity(handle, stream, input, output, scratch, scratchSize);
    if (e == OPTIX_SUCCESS)
        sim::locked([&](sim::Layer& l) {
            sim::DenoiserRecord r = denoiserRecord("ComputeIntensity", l.denoisers.at(handle),
                                                   input->width, input->height);
            r.params.hdrIntensity = output;
            l.records.denoisers.push_back(r);
        });
    return e;
}

float4& pixel(const OptixImage2D& i, unsigned x, unsigned y)
{
    return reinterpret_cast<float4*>(i.data + size_t(y) * i.rowStrideInBytes)[x];
}

// Output pixel (x, y) from input pixel (x / f, y / f), f the output's scale:
// D = in + 10 albedo + 100 normal (guides used by the denoiser's options),
// then out = blend in + (1 - blend) D; alpha is the input's.
OptixResult denoiserInvoke(OptixDenoiser handle, CUstream stream, const OptixDenoiserParams* params,
                           CUdeviceptr state, size_t stateSize, const OptixDenoiserGuideLayer* guide,
                           const OptixDenoiserLayer* layers, unsigned numLayers, unsigned offsetX,
                           unsigned offsetY, CUdeviceptr scratch, size_t scratchSize)
{
    const OptixResult e = g_cpu.optixDenoiserInvoke(handle, stream, params, state, stateSize, guide, layers,
                                                    numLayers, offsetX, offsetY, scratch, scratchSize);
    if (e != OPTIX_SUCCESS)
        return e;
    sim::locked([&](sim::Layer& l) {
        const sim::DenoiserState& d = l.denoisers.at(handle);
        const OptixImage2D &in = layers[0].input, &out = layers[0].output;
        const unsigned f = d.kind == OPTIX_DENOISER_MODEL_KIND_UPSCALE2X ? 2 : 1;
        const float b = params->blendFactor;
        for (unsigned y = 0; y < out.height; ++y)
            for (unsigned x = 0; x < out.width; ++x) {
                const float4 c = pixel(in, x / f, y / f);
                const float4 a = d.options.guideAlbedo ? pixel(guide->albedo, x / f, y / f) : float4{};
                const float4 n = d.options.guideNormal ? pixel(guide->normal, x / f, y / f) : float4{};
                auto mix = [&](float cc, float aa, float nn) { return b * cc + (1 - b) * (cc + 10 * aa + 100 * nn); };
                pixel(out, x, y) = make_float4(mix(c.x, a.x, n.x), mix(c.y, a.y, n.y), mix(c.z, a.z, n.z), c.w);
            }
        sim::DenoiserRecord r = denoiserRecord("Invoke", d, in.width, in.height);
        r.params = *params;
        r.guide = *guide;
        r.layer = layers[0];
        r.numLayers = numLayers;
        l.records.denoisers.push_back(r);
    });
    return e;
}

} // namespace

namespace sim {

OptixResult queryFunctionTable(int abiId, void* functionTable, size_t sizeOfTable)
{
    const OptixResult e = cpu::queryFunctionTable(abiId, &g_cpu, sizeOfTable);
    if (e != OPTIX_SUCCESS)
        return e;
    OptixFunctionTable table = g_cpu;
    table.optixDeviceContextCreate = contextCreate;
    table.optixDeviceContextSetCacheEnabled = contextSetCacheEnabled;
    table.optixModuleCreateFromPTX = moduleCreateFromPTX;
    table.optixBuiltinISModuleGet = builtinISModuleGet;
    table.optixProgramGroupCreate = groupCreate;
    table.optixPipelineCreate = pipelineCreate;
    table.optixAccelBuild = accelBuild;
    table.optixAccelCompact = accelCompact;
    table.optixAccelRelocate = accelRelocate;
    table.optixLaunch = launch;
    table.optixDenoiserCreate = denoiserCreate;
    table.optixDenoiserDestroy = denoiserDestroy;
    table.optixDenoiserSetup = denoiserSetup;
    table.optixDenoiserComputeIntensity = denoiserIntensity;
    table.optixDenoiserInvoke = denoiserInvoke;
    std::memcpy(functionTable, &table, sizeof(table));
    return OPTIX_SUCCESS;
}

} // namespace sim
