// Program groups, pipelines and launches of the simulated OptiX library:
// handles of the context's device, argument checks, records of what was
// created, and a launch that runs the placeholder camera's rule on the host.

#include "SimDevice.h"
#include "sim_optix.h"

#include "shaders/dummy7_camera.h"

#include <cstring>

using sim::lock;
using sim::state;

namespace {

// Groups and pipelines are heap cells holding their device ordinal, like modules.
template <typename Handle> Handle newObject(int device)
{
    auto* cell = new int(device);
    state().optixObjects.insert(cell);
    return reinterpret_cast<Handle>(cell);
}

bool live(const void* object) { return object && state().optixObjects.count(const_cast<void*>(object)); }

// The destruction of a group or pipeline by its API name.
OptixResult release(const char* function, void* object)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT(function);
    OptixResult e = OPTIX_ERROR_INVALID_VALUE;
    if (live(object)) {
        state().optixObjects.erase(object);
        delete static_cast<int*>(object);
        e = OPTIX_SUCCESS;
    }
    sim::trace("optix", "%s -> %d", function, int(e));
    return e;
}

std::string name(const char* entry) { return entry ? entry : ""; }

// A program: a live module with an entry, or neither.
bool program(OptixModule module, const char* entry)
{
    return module ? live(module) && entry && *entry : !entry;
}

// An entry function that its module's PTX does not declare, or null.
const char* missingEntry(const OptixProgramGroupDesc& d)
{
    const std::pair<OptixModule, const char*> programs[] = {
        {d.raygen.module, d.raygen.entryFunctionName},
        {d.hitgroup.moduleCH, d.hitgroup.entryFunctionNameCH},
        {d.hitgroup.moduleAH, d.hitgroup.entryFunctionNameAH},
        {d.hitgroup.moduleIS, d.hitgroup.entryFunctionNameIS}};
    const size_t count = d.kind == OPTIX_PROGRAM_GROUP_KIND_HITGROUP ? 4 : 1;
    for (size_t i = d.kind == OPTIX_PROGRAM_GROUP_KIND_HITGROUP ? 1 : 0; i < count; ++i)
        if (programs[i].first && programs[i].second && live(programs[i].first) &&
            !sim::moduleHasEntry(programs[i].first, programs[i].second))
            return programs[i].second;
    return nullptr;
}

// Built-in intersection modules have no entry; every other program names one.
bool builtinIs(OptixModule module, const char* entry)
{
    return module && live(module) && !entry;
}

OptixResult groupCreate(OptixDeviceContext context, const OptixProgramGroupDesc* descs,
                        unsigned int count, const OptixProgramGroupOptions* options,
                        char* logString, size_t* logStringSize, OptixProgramGroup* groups)
{
    std::lock_guard<std::mutex> guard(lock());
    const int device = sim::contextDevice(context);
    if (device < 0 || !descs || !count || !options || !groups)
        return OPTIX_ERROR_INVALID_VALUE;
    if (const int injected = sim::injected("optixProgramGroupCreate", logString, logStringSize))
        return OptixResult(injected);
    std::vector<sim::GroupRecord> made;
    for (unsigned i = 0; i < count; ++i) {
        const OptixProgramGroupDesc& d = descs[i];
        if (const char* missing = missingEntry(d)) {
            sim::writeLog("Unknown entry function \"" + std::string(missing) + "\"", logString,
                          logStringSize);
            return OPTIX_ERROR_INVALID_VALUE;
        }
        sim::GroupRecord r{nullptr, unsigned(d.kind), {}, {}};
        if (d.kind == OPTIX_PROGRAM_GROUP_KIND_RAYGEN || d.kind == OPTIX_PROGRAM_GROUP_KIND_MISS) {
            const OptixProgramGroupSingleModule& m = d.raygen; // the same layout as miss
            if (!program(m.module, m.entryFunctionName) ||
                (d.kind == OPTIX_PROGRAM_GROUP_KIND_RAYGEN && !m.module))
                return OPTIX_ERROR_INVALID_VALUE;
            r.modules[0] = m.module;
            r.entries[0] = name(m.entryFunctionName);
        } else if (d.kind == OPTIX_PROGRAM_GROUP_KIND_HITGROUP) {
            const OptixProgramGroupHitgroup& h = d.hitgroup;
            if (!program(h.moduleCH, h.entryFunctionNameCH) ||
                !program(h.moduleAH, h.entryFunctionNameAH) ||
                !(program(h.moduleIS, h.entryFunctionNameIS) ||
                  builtinIs(h.moduleIS, h.entryFunctionNameIS)))
                return OPTIX_ERROR_INVALID_VALUE;
            r.modules[0] = h.moduleCH;
            r.modules[1] = h.moduleAH;
            r.modules[2] = h.moduleIS;
            r.entries[0] = name(h.entryFunctionNameCH);
            r.entries[1] = name(h.entryFunctionNameAH);
            r.entries[2] = name(h.entryFunctionNameIS);
        } else {
            return OPTIX_ERROR_INVALID_VALUE; // the library makes no other kind
        }
        made.push_back(r);
    }
    sim::writeLog("", logString, logStringSize);
    for (unsigned i = 0; i < count; ++i) {
        made[i].handle = groups[i] = newObject<OptixProgramGroup>(device);
        state().records.groups.push_back(made[i]);
        sim::trace("optix", "optixProgramGroupCreate device=%d kind=0x%x -> 0", device,
                   made[i].kind);
    }
    return OPTIX_SUCCESS;
}

OptixResult groupDestroy(OptixProgramGroup group) { return release("optixProgramGroupDestroy", group); }

OptixResult pipelineCreate(OptixDeviceContext context, const OptixPipelineCompileOptions* compile,
                           const OptixPipelineLinkOptions* link, const OptixProgramGroup* groups,
                           unsigned int count, char* logString, size_t* logStringSize,
                           OptixPipeline* pipeline)
{
    std::lock_guard<std::mutex> guard(lock());
    const int device = sim::contextDevice(context);
    if (device < 0 || !compile || !link || !groups || !count || !pipeline)
        return OPTIX_ERROR_INVALID_VALUE;
    if (const int injected = sim::injected("optixPipelineCreate", logString, logStringSize))
        return OptixResult(injected);
    // Every group must be live and of this device.
    for (unsigned i = 0; i < count; ++i)
        if (!live(groups[i]) || *reinterpret_cast<const int*>(groups[i]) != device)
            return OPTIX_ERROR_INVALID_VALUE;
    sim::writeLog("", logString, logStringSize);
    *pipeline = newObject<OptixPipeline>(device);
    state().records.pipelines.push_back(
        {device, *pipeline, std::vector<OptixProgramGroup>(groups, groups + count), *link,
         compile->usesPrimitiveTypeFlags, name(compile->pipelineLaunchParamsVariableName)});
    sim::trace("optix", "optixPipelineCreate device=%d groups=%u -> 0", device, count);
    return OPTIX_SUCCESS;
}

OptixResult pipelineDestroy(OptixPipeline pipeline) { return release("optixPipelineDestroy", pipeline); }

// The header names its group: sim::kRecordMagic, then the group's handle.
OptixResult packHeader(OptixProgramGroup group, void* header)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixSbtRecordPackHeader");
    if (!live(group) || !header)
        return OPTIX_ERROR_INVALID_VALUE;
    const unsigned long long words[4] = {sim::kRecordMagic,
                                         reinterpret_cast<unsigned long long>(group), 0, 0};
    std::memcpy(header, words, sizeof(words));
    return OPTIX_SUCCESS;
}

// Whether `p` holds `count` elements of T in one live block (or is null
// when that is allowed).
template <typename T> bool holds(const T* p, size_t count, bool nullAllowed = false)
{
    return p ? sim::blockHolding(p, count * sizeof(T)) != nullptr : nullAllowed;
}

// Runs the placeholder camera (shaders/dummy7_camera.h) for every sample, on
// the host, after the pass's hook. The launch must be one-dimensional over
// sample buffers of at least `width` elements.
OptixResult launch(OptixPipeline pipeline, CUstream stream, CUdeviceptr pipelineParams,
                   size_t pipelineParamsSize, const OptixShaderBindingTable* sbt,
                   unsigned int width, unsigned int height, unsigned int depth)
{
    Params p;
    std::function<void()> hook;
    {
        std::lock_guard<std::mutex> guard(lock());
        SIM_OPTIX_INJECT("optixLaunch");
        const int device = live(pipeline) ? *reinterpret_cast<const int*>(pipeline) : -1;
        const bool streamOfDevice = state().streams.count(stream) &&
                                    *reinterpret_cast<const int*>(stream) == device;
        const void* block = reinterpret_cast<const void*>(pipelineParams);
        if (device < 0 || !streamOfDevice || !sbt || !sbt->raygenRecord ||
            pipelineParamsSize != sizeof(Params) || !sim::blockHolding(block, sizeof(Params)) ||
            height != 1 || depth != 1)
            return OPTIX_ERROR_INVALID_VALUE;
        std::memcpy(&p, block, sizeof p);
        const size_t pixels = size_t(p.width) * p.height;
        if (!holds(p.sample_indices, width) || !holds(p.sample_accum, width) ||
            !holds(p.albedo_accum, width, true) || !holds(p.normal_accum, width, true) ||
            !holds(p.hit_pos, pixels, true) || !holds(p.geom_id, pixels, true))
            return OPTIX_ERROR_INVALID_VALUE;
        state().records.launches.push_back({device, p, width});
        auto it = state().passHooks.find(p.subframe_index);
        if (it != state().passHooks.end()) {
            hook = std::move(it->second);
            state().passHooks.erase(it);
        }
        sim::trace("optix", "optixLaunch device=%d pass=%u width=%u -> 0", device,
                   p.subframe_index, width);
    }
    if (hook)
        hook();
    for (unsigned s = 0; s < width; ++s)
        dummyCameraSample(p, s);
    return OPTIX_SUCCESS;
}

} // namespace

namespace sim {

void fillPipelineEntries(OptixFunctionTable& table)
{
    table.optixLaunch = launch;
    table.optixSbtRecordPackHeader = packHeader;
    table.optixProgramGroupCreate = groupCreate;
    table.optixProgramGroupDestroy = groupDestroy;
    table.optixPipelineCreate = pipelineCreate;
    table.optixPipelineDestroy = pipelineDestroy;
}

} // namespace sim
