// Device contexts, modules, program groups and pipelines of the CPU device's
// OptiX, and its function table. A module made from PTX holds the host
// builds of the entry functions the PTX declares: our own programs, compiled
// for the host from the same sources. PTX that declares an entry with no
// host build (a host application's own program) is refused, saying so.

#include "CpuDevice.h"
#include "OptixObjects.h"

#include <cstring>
#include <string>

using cpu::lock;
using cpu::state;

namespace {

const char* errorName(OptixResult result)
{
    switch (result) {
#define NAME(n) \
    case n:     \
        return #n;
#include "optix_result_names.inc"
#undef NAME
    }
    return "Unknown OptixResult code";
}

const char* errorString(OptixResult result) { return errorName(result); }

cpu::Context* liveContext(OptixDeviceContext c)
{
    return c && state().optixContexts.count(c) ? reinterpret_cast<cpu::Context*>(c) : nullptr;
}

OptixResult contextCreate(CUcontext fromContext, const OptixDeviceContextOptions* options,
                          OptixDeviceContext* context)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_OPTIX_INTERCEPT("optixDeviceContextCreate");
    // Only the current CUDA context (a null handle) is supported.
    if (fromContext || state().devices.empty() || !context)
        return OPTIX_ERROR_INVALID_DEVICE_CONTEXT;
    const int device = cpu::currentDevice();
    if (!state().devices[device].contextCreated)
        return OPTIX_ERROR_CUDA_NOT_INITIALIZED;
    auto* c = new cpu::Context{device, options ? options->logCallbackFunction : nullptr,
                               options ? options->logCallbackData : nullptr,
                               options ? unsigned(options->logCallbackLevel) : 0u};
    *context = reinterpret_cast<OptixDeviceContext>(c);
    state().optixContexts.insert(c);
    cpu::note("optix", "optixDeviceContextCreate device=%d level=%u -> 0", device, c->level);
    return OPTIX_SUCCESS;
}

OptixResult contextDestroy(OptixDeviceContext context)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_OPTIX_INTERCEPT("optixDeviceContextDestroy");
    // Contexts are destroyed with their own device current.
    cpu::Context* c = liveContext(context);
    if (!c || c->device != cpu::currentDevice())
        return OPTIX_ERROR_INVALID_DEVICE_CONTEXT;
    state().optixContexts.erase(context);
    delete c;
    cpu::note("optix", "optixDeviceContextDestroy -> 0");
    return OPTIX_SUCCESS;
}

OptixResult contextSetCacheEnabled(OptixDeviceContext context, int enabled)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_OPTIX_INTERCEPT("optixDeviceContextSetCacheEnabled");
    if (!liveContext(context))
        return OPTIX_ERROR_INVALID_DEVICE_CONTEXT;
    cpu::note("optix", "optixDeviceContextSetCacheEnabled enabled=%d -> 0", enabled);
    return OPTIX_SUCCESS; // there is nothing to cache
}

// The entry functions (".entry NAME(") a PTX text declares.
std::vector<std::string> entries(const std::string& ptx)
{
    std::vector<std::string> names;
    for (size_t at = ptx.find(".entry "); at != std::string::npos; at = ptx.find(".entry ", at + 1)) {
        const size_t begin = ptx.find_first_not_of(" \t", at + 7);
        const size_t end = ptx.find_first_of("( \t\r\n", begin);
        if (begin != std::string::npos && end != std::string::npos)
            names.push_back(ptx.substr(begin, end - begin));
    }
    return names;
}

cpu::HostProgram hostBuild(const std::string& name)
{
    for (const cpu::HostEntry& e : cpu::hostPrograms())
        if (name == e.name)
            return e.program;
    return nullptr;
}

template <typename Object> Object* newObject(const Object& object)
{
    auto* o = new Object(object);
    state().optixObjects.insert(o);
    return o;
}

OptixResult moduleCreateFromPTX(OptixDeviceContext context,
                                const OptixModuleCompileOptions* moduleCompileOptions,
                                const OptixPipelineCompileOptions* pipelineCompileOptions,
                                const char* PTX, size_t PTXsize, char* logString,
                                size_t* logStringSize, OptixModule* module)
{
    std::lock_guard<std::mutex> guard(lock());
    const cpu::Context* c = liveContext(context);
    if (!c || !moduleCompileOptions || !pipelineCompileOptions || !PTX || !PTXsize || !module)
        return OPTIX_ERROR_INVALID_VALUE;
    if (const int intercepted = cpu::intercepted("optixModuleCreateFromPTX", logString, logStringSize))
        return OptixResult(intercepted);
    cpu::Module m{c->device, false, {}, 0};
    for (const std::string& name : entries(std::string(PTX, PTXsize))) {
        m.declaresEntries = true;
        m.entries[name] = hostBuild(name);
        if (!m.entries[name]) {
            cpu::writeLog("The CPU device has no host build of entry function \"" + name +
                              "\": it runs trevix7's own programs only.",
                          logString, logStringSize);
            cpu::note("optix", "optixModuleCreateFromPTX bytes=%zu -> %d", PTXsize,
                      int(OPTIX_ERROR_INVALID_VALUE));
            return OPTIX_ERROR_INVALID_VALUE;
        }
    }
    cpu::writeLog("", logString, logStringSize);
    *module = reinterpret_cast<OptixModule>(newObject(m));
    cpu::note("optix", "optixModuleCreateFromPTX bytes=%zu -> 0", PTXsize);
    return OPTIX_SUCCESS;
}

OptixResult builtinISModuleGet(OptixDeviceContext context,
                               const OptixModuleCompileOptions* moduleCompileOptions,
                               const OptixPipelineCompileOptions* pipelineCompileOptions,
                               const OptixBuiltinISOptions* builtinISOptions,
                               OptixModule* builtinModule)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_OPTIX_INTERCEPT("optixBuiltinISModuleGet");
    const cpu::Context* c = liveContext(context);
    if (!c || !moduleCompileOptions || !pipelineCompileOptions || !builtinISOptions ||
        !builtinModule)
        return OPTIX_ERROR_INVALID_VALUE;
    const unsigned type = unsigned(builtinISOptions->builtinISModuleType);
    *builtinModule = reinterpret_cast<OptixModule>(newObject(cpu::Module{c->device, false, {}, type}));
    cpu::note("optix", "optixBuiltinISModuleGet type=0x%x -> 0", type);
    return OPTIX_SUCCESS;
}

// The release of any OptiX object by its API name; a second release fails.
template <typename Object> OptixResult release(const char* function, Object* object)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_OPTIX_INTERCEPT(function);
    OptixResult e = OPTIX_ERROR_INVALID_VALUE;
    if (object && state().optixObjects.erase(object)) {
        delete object;
        e = OPTIX_SUCCESS;
    }
    cpu::note("optix", "%s -> %d", function, int(e));
    return e;
}

OptixResult moduleDestroy(OptixModule module)
{
    return release("optixModuleDestroy", reinterpret_cast<cpu::Module*>(module));
}

cpu::Module* liveModule(OptixModule module)
{
    return cpu::liveObject(module) ? reinterpret_cast<cpu::Module*>(module) : nullptr;
}

// A program: a live module with an entry, or neither; `program` gets its
// host build. A built-in intersection module has no entry. False, with the
// log written when the module does not declare the entry.
bool program(OptixModule module, const char* entry, bool builtinAllowed, cpu::HostProgram& out,
             char* log, size_t* logSize, bool& unknown)
{
    out = nullptr;
    if (!module)
        return !entry;
    const cpu::Module* m = liveModule(module);
    if (!m)
        return false;
    if (!entry || !*entry)
        return builtinAllowed && !entry && m->builtinType;
    if (!m->declaresEntries)
        return true; // text without entries (tests): any name, nothing to run
    const auto found = m->entries.find(entry);
    if (found == m->entries.end()) {
        cpu::writeLog("Unknown entry function \"" + std::string(entry) + "\"", log, logSize);
        unknown = true;
        return false;
    }
    out = found->second;
    return true;
}

OptixResult groupCreate(OptixDeviceContext context, const OptixProgramGroupDesc* descs,
                        unsigned int count, const OptixProgramGroupOptions* options,
                        char* logString, size_t* logStringSize, OptixProgramGroup* groups)
{
    std::lock_guard<std::mutex> guard(lock());
    const int device = cpu::contextDevice(context);
    if (device < 0 || !descs || !count || !options || !groups)
        return OPTIX_ERROR_INVALID_VALUE;
    if (const int intercepted = cpu::intercepted("optixProgramGroupCreate", logString, logStringSize))
        return OptixResult(intercepted);
    std::vector<cpu::ProgramGroup> made;
    for (unsigned i = 0; i < count; ++i) {
        const OptixProgramGroupDesc& d = descs[i];
        cpu::ProgramGroup g{device, d.kind, nullptr, nullptr, nullptr, nullptr};
        bool unknown = false, valid = false;
        if (d.kind == OPTIX_PROGRAM_GROUP_KIND_RAYGEN || d.kind == OPTIX_PROGRAM_GROUP_KIND_MISS) {
            const OptixProgramGroupSingleModule& m = d.raygen; // the same layout as miss
            valid = program(m.module, m.entryFunctionName, false, g.program, logString,
                            logStringSize, unknown) &&
                    (d.kind == OPTIX_PROGRAM_GROUP_KIND_MISS || m.module);
        } else if (d.kind == OPTIX_PROGRAM_GROUP_KIND_HITGROUP) {
            const OptixProgramGroupHitgroup& h = d.hitgroup;
            valid = program(h.moduleCH, h.entryFunctionNameCH, false, g.closestHit, logString, logStringSize, unknown) &&
                    program(h.moduleAH, h.entryFunctionNameAH, false, g.anyHit, logString, logStringSize, unknown) &&
                    program(h.moduleIS, h.entryFunctionNameIS, true, g.intersection, logString, logStringSize, unknown);
        } // no other kind: the library makes none
        if (!valid)
            return OPTIX_ERROR_INVALID_VALUE;
        made.push_back(g);
    }
    cpu::writeLog("", logString, logStringSize);
    for (unsigned i = 0; i < count; ++i) {
        groups[i] = reinterpret_cast<OptixProgramGroup>(newObject(made[i]));
        cpu::note("optix", "optixProgramGroupCreate device=%d kind=0x%x -> 0", device,
                  unsigned(made[i].kind));
    }
    return OPTIX_SUCCESS;
}

OptixResult groupDestroy(OptixProgramGroup group)
{
    return release("optixProgramGroupDestroy", reinterpret_cast<cpu::ProgramGroup*>(group));
}

OptixResult pipelineCreate(OptixDeviceContext context, const OptixPipelineCompileOptions* compile,
                           const OptixPipelineLinkOptions* link, const OptixProgramGroup* groups,
                           unsigned int count, char* logString, size_t* logStringSize,
                           OptixPipeline* pipeline)
{
    std::lock_guard<std::mutex> guard(lock());
    const int device = cpu::contextDevice(context);
    if (device < 0 || !compile || !link || !groups || !count || !pipeline)
        return OPTIX_ERROR_INVALID_VALUE;
    if (const int intercepted = cpu::intercepted("optixPipelineCreate", logString, logStringSize))
        return OptixResult(intercepted);
    // Every group must be live and of this device.
    cpu::Pipeline p{device, {}};
    for (unsigned i = 0; i < count; ++i) {
        auto* g = reinterpret_cast<cpu::ProgramGroup*>(groups[i]);
        if (!cpu::liveObject(g) || g->device != device)
            return OPTIX_ERROR_INVALID_VALUE;
        p.groups.push_back(g);
    }
    cpu::writeLog("", logString, logStringSize);
    *pipeline = reinterpret_cast<OptixPipeline>(newObject(p));
    cpu::note("optix", "optixPipelineCreate device=%d groups=%u -> 0", device, count);
    return OPTIX_SUCCESS;
}

OptixResult pipelineDestroy(OptixPipeline pipeline)
{
    return release("optixPipelineDestroy", reinterpret_cast<cpu::Pipeline*>(pipeline));
}

// The header names its group: kRecordMagic, then the group's address.
OptixResult packHeader(OptixProgramGroup group, void* header)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_OPTIX_INTERCEPT("optixSbtRecordPackHeader");
    if (!cpu::liveObject(group) || !header)
        return OPTIX_ERROR_INVALID_VALUE;
    const unsigned long long words[4] = {cpu::kRecordMagic,
                                         reinterpret_cast<unsigned long long>(group), 0, 0};
    std::memcpy(header, words, sizeof(words));
    return OPTIX_SUCCESS;
}

} // namespace

namespace cpu {

int contextDevice(OptixDeviceContext context)
{
    const Context* c = liveContext(context);
    return c ? c->device : -1;
}

bool liveObject(const void* object)
{
    return object && state().optixObjects.count(const_cast<void*>(object));
}

void fillProgramEntries(OptixFunctionTable& table)
{
    table.optixGetErrorName = errorName;
    table.optixGetErrorString = errorString;
    table.optixDeviceContextCreate = contextCreate;
    table.optixDeviceContextDestroy = contextDestroy;
    table.optixDeviceContextSetCacheEnabled = contextSetCacheEnabled;
    table.optixModuleCreateFromPTX = moduleCreateFromPTX;
    table.optixBuiltinISModuleGet = builtinISModuleGet;
    table.optixModuleDestroy = moduleDestroy;
    table.optixSbtRecordPackHeader = packHeader;
    table.optixProgramGroupCreate = groupCreate;
    table.optixProgramGroupDestroy = groupDestroy;
    table.optixPipelineCreate = pipelineCreate;
    table.optixPipelineDestroy = pipelineDestroy;
}

OptixResult queryFunctionTable(int abiId, void* functionTable, size_t sizeOfTable)
{
    {
        std::lock_guard<std::mutex> guard(lock());
        note("optix", "optixQueryFunctionTable abi=%d size=%zu", abiId, sizeOfTable);
    }
    if (abiId != OPTIX_ABI_VERSION)
        return OPTIX_ERROR_UNSUPPORTED_ABI_VERSION;
    if (sizeOfTable != sizeof(OptixFunctionTable))
        return OPTIX_ERROR_FUNCTION_TABLE_SIZE_MISMATCH;
    // Entries the library does not call stay null.
    OptixFunctionTable table = {};
    fillProgramEntries(table);
    fillAccelEntries(table);
    fillLaunchEntries(table);
    fillDenoiserEntries(table);
    std::memcpy(functionTable, &table, sizeof(table));
    return OPTIX_SUCCESS;
}

} // namespace cpu
