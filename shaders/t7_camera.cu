// Camera programs: one path per launch index, for the pixel of the sample
// list, through a pinhole or a thin lens (api/trevix7_programs.h).

#include "shaders/device.h"

// The scene as the path tracer asks for it: radiance rays use ray type 0 and
// the miss program, occlusion rays ray type 1 and no miss program, so the
// tracer's "not occluded" stays unless an occlusion program runs.
struct T7OptixScene {
    const Params& p;

    __device__ void trace(float3 o, float3 d, T7Hit& hit) const
    {
        const unsigned long long address = reinterpret_cast<unsigned long long>(&hit);
        unsigned lo = unsigned(address), hi = unsigned(address >> 32);
        optixTrace(p.handle, o, d, 0.0f, kT7Far, 0.0f, OptixVisibilityMask(255),
                   OPTIX_RAY_FLAG_DISABLE_ANYHIT, 0, RAY_TYPE_COUNT, 0, lo, hi);
    }

    __device__ bool occluded(float3 o, float3 d, float tmax) const
    {
        unsigned blocked = 0;
        optixTrace(p.handle, o, d, 0.0f, tmax, 0.0f, OptixVisibilityMask(255),
                   OPTIX_RAY_FLAG_DISABLE_ANYHIT | OPTIX_RAY_FLAG_TERMINATE_ON_FIRST_HIT, 1,
                   RAY_TYPE_COUNT, 1, blocked);
        return blocked != 0;
    }

    __device__ float3 background(float3 d) const { return t7_background(p, d); }
};

__forceinline__ __device__ void t7_cameraSample(bool thin)
{
    const unsigned s = optixGetLaunchIndex().x;
    const int2 pixel = params.sample_indices[s];
    unsigned rng = t7_seed(unsigned(pixel.x), unsigned(pixel.y), params.total_frames);
    const float2 film = t7_filmPoint(params, pixel, t7_random(rng), t7_random(rng));
    const float u1 = t7_random(rng), u2 = t7_random(rng);
    const float2 lens = t7_lensPoint(params.lens1, params.lens2, u1, u2);
    float3 origin, direction;
    t7_cameraRay(params, film, thin, lens, origin, direction);
    T7PathResult r = t7_tracePath(params, T7OptixScene{params}, origin, direction, rng);
    float3 filter = make_float3(1, 1, 1);
    if (params.camera_tex0)
        filter = t7_rgb(t7_texel(params.camera_tex0,
                                 make_float2(0.5f * (film.x + 1.0f), 0.5f * (film.y + 1.0f))));
    if (thin && params.camera_tex1)
        filter = t7_mul(filter, t7_rgb(t7_texel(params.camera_tex1,
                                                make_float2(0.5f * (lens.x + 1.0f),
                                                            0.5f * (lens.y + 1.0f)))));
    r.radiance = t7_mul(r.radiance, filter);
    t7_storeSample(params, s, pixel, r);
}

extern "C" __global__ void __raygen__pinhole() { t7_cameraSample(false); }
extern "C" __global__ void __raygen__thinlens() { t7_cameraSample(true); }
