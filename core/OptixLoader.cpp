#include "OptixLoader.h"

#include "optix7.h"

#include <dlfcn.h>

OptixFunctionTable g_optixFunctionTable = {};

bool loadOptixFunctionTable()
{
    g_optixFunctionTable.optixGetErrorName = nullptr;
    g_optixFunctionTable.optixGetErrorString = nullptr;

    void* lib = dlopen("libnvoptix.so.1", RTLD_NOW);
    if (!lib)
        return false;
    auto query = reinterpret_cast<OptixQueryFunctionTable_t>(dlsym(lib, "optixQueryFunctionTable"));
    if (!query)
        return false;
    if (query(OPTIX_ABI_VERSION, 0, nullptr, nullptr, &g_optixFunctionTable,
              sizeof(g_optixFunctionTable)) != OPTIX_SUCCESS) {
        g_optixFunctionTable.optixGetErrorName = nullptr;
        return false;
    }
    return true;
}

bool optixLoaded()
{
    return g_optixFunctionTable.optixGetErrorName != nullptr;
}
