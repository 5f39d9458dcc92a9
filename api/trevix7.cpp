// The exported entry points for devices and renderer instances, and the
// instance registry.

#include "trevix7.h"

#include "EntryPoint.h"
#include "core/PathTracer.h"

#include <map>
#include <tuple>

namespace {

// Instances by handle; each object is built in place and never moved.
std::map<unsigned int, PathTracer> g_contextMap;
// Last handle issued or attempted; handles are never reused.
unsigned int hcount = 0;

} // namespace

PathTracer* findPathTracer(unsigned int handle)
{
    auto it = g_contextMap.find(handle);
    return it == g_contextMap.end() ? nullptr : &it->second;
}

extern "C" {

int ApiGetDeviceCount(void) { return PathTracer::initOptix(); }

int ApiGpuArchitecture(unsigned int device) { return PathTracer::getGpuComputeCap(device); }

unsigned int ApiCreatePathTracer(
    unsigned int width, unsigned int height, int mode, const char** intNames, int* intValues,
    size_t intCount, const char** uintNames, unsigned int* uintValues, size_t uintCount,
    const char** uint2Names, trevix7_uint2* uint2Values, size_t uint2Count,
    const char** floatNames, float* floatValues, size_t floatCount, const char** float2Names,
    trevix7_float2* float2Values, size_t float2Count, const char** float3Names,
    trevix7_float3* float3Values, size_t float3Count, const unsigned int* devices,
    unsigned int deviceCount, int logLevel, char* error)
{
    // Creation reports through the error buffer only, and refuses bad
    // arguments before it takes a handle.
    return reporting(error, 0u, [&] {
        const auto ints = toVariableMap(intNames, intValues, intCount, "intNames", "intValues");
        const auto uints =
            toVariableMap(uintNames, uintValues, uintCount, "uintNames", "uintValues");
        const auto uint2s =
            toVariableMap(uint2Names, uint2Values, uint2Count, "uint2Names", "uint2Values");
        const auto floats =
            toVariableMap(floatNames, floatValues, floatCount, "floatNames", "floatValues");
        const auto float2s =
            toVariableMap(float2Names, float2Values, float2Count, "float2Names", "float2Values");
        const auto float3s =
            toVariableMap(float3Names, float3Values, float3Count, "float3Names", "float3Values");
        const std::vector<unsigned> deviceList = toVector(devices, deviceCount, "devices");

        const unsigned int handle = ++hcount;
        if (g_contextMap.count(handle))
            return 0u;
        g_contextMap.emplace(std::piecewise_construct, std::forward_as_tuple(handle),
                             std::forward_as_tuple(width, height, readbackMode(mode), ints, uints,
                                                   uint2s, floats, float2s, float3s, deviceList,
                                                   logLevel));
        return handle;
    });
}

bool ApiDestroyPathTracer(unsigned int handle, char* error)
{
    clearError(error);
    return g_contextMap.erase(handle) != 0;
}

int ApiCudaOrdinal(unsigned int handle, unsigned int index)
{
    return nonCatching(handle, 0, [&](PathTracer& pt) { return pt.cudaOrdinal(index); });
}

int ApiOutputCudaOrdinal(unsigned int handle)
{
    return nonCatching(handle, -1, [](PathTracer& pt) { return pt.outputCudaOrdinal(); });
}

} // extern "C"
