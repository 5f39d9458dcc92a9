// Entry points for the programs of an instance and the compilation of its scene.

#include "trevix7.h"

#include "EntryPoint.h"
#include "core/PathTracer.h"

extern "C" {

bool ApiSetMissProgram(unsigned int handle, const char* program, char* error)
{
    return catching(handle, error, false, false, [&](PathTracer& pt) {
        return pt.setMissProgram(requiredString(program, "program"));
    });
}

} // extern "C"
