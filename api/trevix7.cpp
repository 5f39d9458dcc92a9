// The exported entry points: the instance registry, the calling and error
// convention, and one thin wrapper per renderer method.

#include "trevix7.h"

#include "Marshalling.h"
#include "Registry.h"
#include "core/PathTracer.h"

#include <exception>
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

// ---------------------------------------------------------------------------
// Devices and renderer instances

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
    clearError(error);
    auto ints = toVariableMap(intNames, intValues, intCount);
    auto uints = toVariableMap(uintNames, uintValues, uintCount);
    auto uint2s = toVariableMap(uint2Names, uint2Values, uint2Count);
    auto floats = toVariableMap(floatNames, floatValues, floatCount);
    auto float2s = toVariableMap(float2Names, float2Values, float2Count);
    auto float3s = toVariableMap(float3Names, float3Values, float3Count);
    std::vector<unsigned> deviceList = toVector(devices, deviceCount);

    unsigned int handle = ++hcount;
    if (g_contextMap.count(handle))
        return 0;
    try {
        g_contextMap.emplace(std::piecewise_construct, std::forward_as_tuple(handle),
                             std::forward_as_tuple(width, height, readbackMode(mode), ints, uints,
                                                   uint2s, floats, float2s, float3s, deviceList,
                                                   logLevel));
    } catch (const std::exception& e) {
        // Creation reports through the error buffer only.
        setError(error, e.what());
        return 0;
    }
    return handle;
}

bool ApiDestroyPathTracer(unsigned int handle, char* error)
{
    clearError(error);
    return g_contextMap.erase(handle) != 0;
}

int ApiCudaOrdinal(unsigned int handle, unsigned int index)
{
    PathTracer* pt = findPathTracer(handle);
    return pt ? pt->cudaOrdinal(index) : 0;
}

int ApiOutputCudaOrdinal(unsigned int handle)
{
    PathTracer* pt = findPathTracer(handle);
    return pt ? pt->outputCudaOrdinal() : -1;
}

} // extern "C"
