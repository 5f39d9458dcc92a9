// Entry points for the programs of an instance, its lights and the compilation
// of its scene.

#include "trevix7.h"

#include "EntryPoint.h"
#include "core/PathTracer.h"

extern "C" {

int ApiCompile(unsigned int handle, char* error)
{
    return catching(handle, error, 0x500, 0x901, [&](PathTracer& pt) {
        if (pt.compileScene())
            return 1;
        setError(error, pt.compileProblem().c_str());
        return 0;
    });
}

bool ApiSetMissProgram(unsigned int handle, const char* program, char* error)
{
    return catching(handle, error, false, false, [&](PathTracer& pt) {
        return pt.setMissProgram(requiredString(program, "program"));
    });
}

bool ApiSetupLights(unsigned int handle, LightData* lights, unsigned int count)
{
    return nonCatching(handle, false, [&](PathTracer& pt) {
        pt.setupLights(required(lights, "lights", count), count);
        return true;
    });
}

} // extern "C"
