// The simulated OptiX library: answers the ABI 68 function-table query with
// bookkeeping implementations that keep handles, refuse obvious misuse and
// record what reached them.

#include "SimDevice.h"
#include "sim_optix.h"

#include "core/optix7.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

using sim::lock;
using sim::state;

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

struct Context {
    int device;
    bool callback;
    unsigned level;
    size_t record; // index into the context history
};

bool liveContext(OptixDeviceContext c)
{
    return c && state().optixContexts.count(c);
}

OptixResult contextCreate(CUcontext fromContext, const OptixDeviceContextOptions* options,
                          OptixDeviceContext* context)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixDeviceContextCreate");
    // Only the current CUDA context (a null handle) is supported.
    if (fromContext || state().devices.empty())
        return OPTIX_ERROR_INVALID_DEVICE_CONTEXT;
    int device = sim::currentDevice();
    if (!state().devices[device].contextCreated)
        return OPTIX_ERROR_CUDA_NOT_INITIALIZED;
    auto* c = new Context{device, options && options->logCallbackFunction,
                          options ? unsigned(options->logCallbackLevel) : 0u,
                          state().records.contexts.size()};
    *context = reinterpret_cast<OptixDeviceContext>(c);
    state().optixContexts.insert(c);
    state().records.contexts.push_back({device, c->level, c->callback, 0});
    sim::trace("optix", "optixDeviceContextCreate device=%d level=%u -> 0", device, c->level);
    return OPTIX_SUCCESS;
}

OptixResult contextDestroy(OptixDeviceContext context)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixDeviceContextDestroy");
    // Contexts are destroyed with their own device current.
    if (!liveContext(context) ||
        reinterpret_cast<Context*>(context)->device != sim::currentDevice())
        return OPTIX_ERROR_INVALID_DEVICE_CONTEXT;
    state().optixContexts.erase(context);
    delete reinterpret_cast<Context*>(context);
    sim::trace("optix", "optixDeviceContextDestroy -> 0");
    return OPTIX_SUCCESS;
}

OptixResult contextSetCacheEnabled(OptixDeviceContext context, int enabled)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixDeviceContextSetCacheEnabled");
    if (!liveContext(context))
        return OPTIX_ERROR_INVALID_DEVICE_CONTEXT;
    state().records.contexts[reinterpret_cast<Context*>(context)->record].cacheEnabled = enabled;
    sim::trace("optix", "optixDeviceContextSetCacheEnabled enabled=%d -> 0", enabled);
    return OPTIX_SUCCESS;
}

// The entry functions (".entry NAME") of each live module made from PTX text
// that declares any. Kept in the state, which outlives every static object:
// a host may leave instances for its static destructors to release.
std::map<const void*, std::string>& moduleEntries() { return state().moduleEntries; }

} // namespace

bool sim::moduleHasEntry(OptixModule module, const char* entry)
{
    const auto found = moduleEntries().find(module);
    return found == moduleEntries().end() ||
           found->second.find(std::string(".entry ") + entry + "(") != std::string::npos;
}

namespace {

// A module is a heap cell holding its device ordinal.
OptixModule newModule(const Context& c)
{
    auto* m = new int(c.device);
    state().optixObjects.insert(m);
    return reinterpret_cast<OptixModule>(m);
}

sim::ModuleRecord record(const OptixModuleCompileOptions* module,
                         const OptixPipelineCompileOptions* pipeline)
{
    sim::ModuleRecord r{"", 0, *module, *pipeline, ""};
    if (pipeline->pipelineLaunchParamsVariableName)
        r.launchParamsName = pipeline->pipelineLaunchParamsVariableName;
    return r;
}

OptixResult moduleCreateFromPTX(OptixDeviceContext context,
                                const OptixModuleCompileOptions* moduleCompileOptions,
                                const OptixPipelineCompileOptions* pipelineCompileOptions,
                                const char* PTX, size_t PTXsize, char* logString,
                                size_t* logStringSize, OptixModule* module)
{
    std::lock_guard<std::mutex> guard(lock());
    if (!liveContext(context) || !moduleCompileOptions || !pipelineCompileOptions || !PTX ||
        !PTXsize || !module)
        return OPTIX_ERROR_INVALID_VALUE;
    const auto& c = *reinterpret_cast<Context*>(context);
    if (const int injected = sim::injected("optixModuleCreateFromPTX", logString, logStringSize))
        return OptixResult(injected);
    sim::writeLog("", logString, logStringSize);
    sim::ModuleRecord r = record(moduleCompileOptions, pipelineCompileOptions);
    r.text.assign(PTX, PTXsize);
    state().records.modules.push_back(r);
    *module = newModule(c);
    if (r.text.find(".entry ") != std::string::npos)
        moduleEntries()[*module] = r.text;
    sim::trace("optix", "optixModuleCreateFromPTX bytes=%zu -> 0", PTXsize);
    return OPTIX_SUCCESS;
}

OptixResult builtinISModuleGet(OptixDeviceContext context,
                               const OptixModuleCompileOptions* moduleCompileOptions,
                               const OptixPipelineCompileOptions* pipelineCompileOptions,
                               const OptixBuiltinISOptions* builtinISOptions,
                               OptixModule* builtinModule)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixBuiltinISModuleGet");
    if (!liveContext(context) || !moduleCompileOptions || !pipelineCompileOptions ||
        !builtinISOptions || !builtinModule)
        return OPTIX_ERROR_INVALID_VALUE;
    const auto& c = *reinterpret_cast<Context*>(context);
    sim::ModuleRecord r = record(moduleCompileOptions, pipelineCompileOptions);
    r.builtinType = unsigned(builtinISOptions->builtinISModuleType);
    state().records.modules.push_back(r);
    *builtinModule = newModule(c);
    sim::trace("optix", "optixBuiltinISModuleGet type=0x%x -> 0", r.builtinType);
    return OPTIX_SUCCESS;
}

OptixResult moduleDestroy(OptixModule module)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixModuleDestroy");
    if (!module || !state().optixObjects.erase(module))
        return OPTIX_ERROR_INVALID_VALUE;
    moduleEntries().erase(module);
    delete reinterpret_cast<int*>(module);
    sim::trace("optix", "optixModuleDestroy -> 0");
    return OPTIX_SUCCESS;
}

} // namespace

namespace sim {

int contextDevice(OptixDeviceContext context)
{
    return liveContext(context) ? reinterpret_cast<Context*>(context)->device : -1;
}

OptixResult queryFunctionTable(int abiId, unsigned int /*numOptions*/,
                               OptixQueryFunctionTableOptions* /*optionKeys*/,
                               const void** /*optionValues*/, void* functionTable,
                               size_t sizeOfTable)
{
    trace("optix", "optixQueryFunctionTable abi=%d size=%zu", abiId, sizeOfTable);
    if (abiId != OPTIX_ABI_VERSION)
        return OPTIX_ERROR_UNSUPPORTED_ABI_VERSION;
    if (sizeOfTable != sizeof(OptixFunctionTable))
        return OPTIX_ERROR_FUNCTION_TABLE_SIZE_MISMATCH;
    // Entries the library does not call stay null.
    OptixFunctionTable table = {};
    table.optixGetErrorName = errorName;
    table.optixDeviceContextCreate = contextCreate;
    table.optixDeviceContextDestroy = contextDestroy;
    table.optixDeviceContextSetCacheEnabled = contextSetCacheEnabled;
    table.optixModuleCreateFromPTX = moduleCreateFromPTX;
    table.optixBuiltinISModuleGet = builtinISModuleGet;
    table.optixModuleDestroy = moduleDestroy;
    fillAccelEntries(table);
    fillPipelineEntries(table);
    fillDenoiserEntries(table);
    std::memcpy(functionTable, &table, sizeof(table));
    return OPTIX_SUCCESS;
}

} // namespace sim
