// Entry points for frames: launching batches, breaking them off, restarting
// accumulation, the image size and the auxiliary images kept.

#include "trevix7.h"

#include "EntryPoint.h"
#include "core/PathTracer.h"

extern "C" {

int ApiLaunch(unsigned int handle, unsigned int count, unsigned int maxFrames, char* error)
{
    return catching(handle, error, 0x500, 0x900,
                    [&](PathTracer& pt) { return int(pt.launch(count, maxFrames)); });
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
