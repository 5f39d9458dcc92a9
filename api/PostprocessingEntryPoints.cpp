// Entry points for post-processing: the stages, their settings and textures,
// and the denoiser's settings.

#include "trevix7.h"

#include "EntryPoint.h"
#include "core/PathTracer.h"

namespace {

// The entry points without a result.
template <typename Call> void withoutResult(unsigned handle, Call&& call)
{
    nonCatching(handle, false, [&](PathTracer& pt) {
        call(pt);
        return true;
    });
}

} // namespace

extern "C" {

void ApiAddPostprocessing(unsigned int handle, postprocAlgorithm algorithm)
{
    withoutResult(handle, [&](PathTracer& pt) { pt.addPostprocessing(algorithm); });
}

void ApiSetPostprocGamma(unsigned int handle, float gamma, float scale)
{
    withoutResult(handle, [&](PathTracer& pt) { pt.setPostprocGamma(gamma, scale); });
}

void ApiSetPostprocLevels(unsigned int handle, const trevix7_float3* low,
                          const trevix7_float3* high)
{
    withoutResult(handle, [&](PathTracer& pt) {
        pt.setPostprocLevels(toNative(*required(low, "low")), toNative(*required(high, "high")));
    });
}

void ApiSetPostprocDenoiser(unsigned int handle, OptixDenoiserInputKind kind, float blend,
                            unsigned int start)
{
    withoutResult(handle, [&](PathTracer& pt) { pt.setPostprocDenoiser(kind, blend, start); });
}

#define T7_TEXTURE_ENTRY_POINT(Name)                                                          \
    bool ApiSetPostproc##Name(unsigned int handle, unsigned int texture)                      \
    {                                                                                         \
        return nonCatching(handle, false,                                                     \
                           [&](PathTracer& pt) { return pt.setPostproc##Name(texture); });    \
    }
T7_TEXTURE_ENTRY_POINT(TonemapGrayTexture)
T7_TEXTURE_ENTRY_POINT(TonemapRedTexture)
T7_TEXTURE_ENTRY_POINT(TonemapGreenTexture)
T7_TEXTURE_ENTRY_POINT(TonemapBlueTexture)
T7_TEXTURE_ENTRY_POINT(AddTexture)
T7_TEXTURE_ENTRY_POINT(MulTexture)
#undef T7_TEXTURE_ENTRY_POINT

} // extern "C"
