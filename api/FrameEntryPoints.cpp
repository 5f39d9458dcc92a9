// Entry points for frames: launching batches, breaking them off, restarting
// accumulation, the image size, the shader variables and the auxiliary images
// kept.

#include "trevix7.h"

#include "EntryPoint.h"
#include "core/PathTracer.h"

extern "C" {

int ApiLaunch(unsigned int handle, unsigned int count, unsigned int maxFrames, char* error)
{
    return catching(handle, error, 0x500, 0x900, [&](PathTracer& pt) {
        const int result = int(pt.launch(count, maxFrames));
        if (result == 0x901)
            setError(error, pt.compileProblem().c_str());
        return result;
    });
}

// Called from another thread while ApiLaunch runs: it only touches the
// instance's two flags.
int ApiBreakLaunch(unsigned int handle)
{
    return nonCatching(handle, -1, [](PathTracer& pt) { return pt.breakLaunch(); });
}

bool ApiClearAccumulation(unsigned int handle)
{
    return nonCatching(handle, false, [](PathTracer& pt) {
        pt.clearAccumulation();
        return true;
    });
}

bool ApiResize(unsigned int handle, unsigned int width, unsigned int height, char* error)
{
    return catching(handle, error, false, false, [&](PathTracer& pt) {
        pt.resize(width, height);
        return true;
    });
}

bool ApiUpdateVariables(unsigned int handle, const char** intNames, int* intValues,
                        size_t intCount, const char** uintNames, unsigned int* uintValues,
                        size_t uintCount, const char** uint2Names, trevix7_uint2* uint2Values,
                        size_t uint2Count, const char** floatNames, float* floatValues,
                        size_t floatCount, const char** float2Names, trevix7_float2* float2Values,
                        size_t float2Count, const char** float3Names,
                        trevix7_float3* float3Values, size_t float3Count)
{
    return nonCatching(handle, false, [&](PathTracer& pt) {
        pt.updateVariables(
            toVariableMap(intNames, intValues, intCount, "intNames", "intValues"),
            toVariableMap(uintNames, uintValues, uintCount, "uintNames", "uintValues"),
            toVariableMap(uint2Names, uint2Values, uint2Count, "uint2Names", "uint2Values"),
            toVariableMap(floatNames, floatValues, floatCount, "floatNames", "floatValues"),
            toVariableMap(float2Names, float2Values, float2Count, "float2Names", "float2Values"),
            toVariableMap(float3Names, float3Values, float3Count, "float3Names", "float3Values"));
        return true;
    });
}

bool ApiSetSaveAlbedoState(unsigned int handle, bool save)
{
    return nonCatching(handle, false, [&](PathTracer& pt) {
        pt.setSaveAlbedoState(save);
        return true;
    });
}

bool ApiSetSaveNormalsState(unsigned int handle, bool save)
{
    return nonCatching(handle, false, [&](PathTracer& pt) {
        pt.setSaveNormalsState(save);
        return true;
    });
}

} // extern "C"
