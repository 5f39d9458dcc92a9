// The denoiser of the simulated OptiX library: argument checks, a record of
// every call, and an invocation that writes a known function of its inputs.

#include "SimDevice.h"
#include "sim_optix.h"

#include <vector_functions.h>

using sim::lock;
using sim::state;

namespace {

struct Denoiser {
    int device;
    OptixDenoiserModelKind kind;
    OptixDenoiserOptions options;
    unsigned width = 0, height = 0; // the input size of the last setup
};

Denoiser* live(OptixDenoiser d)
{
    auto* p = reinterpret_cast<Denoiser*>(d);
    return p && state().optixObjects.count(p) ? p : nullptr;
}

size_t stateBytes(unsigned w, unsigned h) { return 4096 + size_t(w) * h * 4; }
size_t scratchBytes(unsigned w, unsigned h) { return 1024 + size_t(w) * h * 16; }

sim::DenoiserRecord record(const char* call, const Denoiser& d, unsigned w, unsigned h)
{
    sim::DenoiserRecord r = {};
    r.call = call;
    r.kind = d.kind;
    r.options = d.options;
    r.width = w;
    r.height = h;
    return r;
}

bool holds(CUdeviceptr p, size_t bytes)
{
    return p && sim::blockHolding(reinterpret_cast<void*>(p), bytes);
}

// FLOAT4 pixels, rows at least a pixel row apart, inside one live block.
bool validImage(const OptixImage2D& i)
{
    return i.format == OPTIX_PIXEL_FORMAT_FLOAT4 && i.pixelStrideInBytes == 16 &&
           i.rowStrideInBytes >= i.width * 16 &&
           holds(i.data, size_t(i.rowStrideInBytes) * (i.height ? i.height - 1 : 0) + i.width * 16);
}

float4& pixel(const OptixImage2D& i, unsigned x, unsigned y)
{
    return reinterpret_cast<float4*>(i.data + size_t(y) * i.rowStrideInBytes)[x];
}

OptixResult create(OptixDeviceContext context, OptixDenoiserModelKind kind,
                   const OptixDenoiserOptions* options, OptixDenoiser* handle)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixDenoiserCreate");
    const int device = sim::contextDevice(context);
    // Any model is taken: the library refuses all but LDR, HDR and 2x
    // upscaling before it asks, and invoke knows upscaling by its kind.
    if (device < 0 || !options || !handle)
        return OPTIX_ERROR_INVALID_VALUE;
    auto* d = new Denoiser{device, kind, *options};
    state().optixObjects.insert(d);
    *handle = reinterpret_cast<OptixDenoiser>(d);
    state().records.denoisers.push_back(record("Create", *d, 0, 0));
    return OPTIX_SUCCESS;
}

OptixResult destroy(OptixDenoiser handle)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixDenoiserDestroy");
    Denoiser* d = live(handle);
    if (!d)
        return OPTIX_ERROR_INVALID_VALUE;
    state().records.denoisers.push_back(record("Destroy", *d, 0, 0));
    state().optixObjects.erase(d);
    delete d;
    return OPTIX_SUCCESS;
}

OptixResult memoryResources(const OptixDenoiser handle, unsigned w, unsigned h,
                            OptixDenoiserSizes* sizes)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixDenoiserComputeMemoryResources");
    Denoiser* d = live(handle);
    if (!d || !sizes)
        return OPTIX_ERROR_INVALID_VALUE;
    *sizes = {};
    sizes->stateSizeInBytes = stateBytes(w, h);
    sizes->withoutOverlapScratchSizeInBytes = scratchBytes(w, h);
    sizes->withOverlapScratchSizeInBytes = scratchBytes(w, h) * 2;
    return OPTIX_SUCCESS;
}

OptixResult setup(OptixDenoiser handle, CUstream, unsigned w, unsigned h, CUdeviceptr stateMemory,
                  size_t stateSize, CUdeviceptr scratch, size_t scratchSize)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixDenoiserSetup");
    Denoiser* d = live(handle);
    if (!d || stateSize < stateBytes(w, h) || scratchSize < scratchBytes(w, h) ||
        !holds(stateMemory, stateSize) || !holds(scratch, scratchSize))
        return OPTIX_ERROR_INVALID_VALUE;
    d->width = w;
    d->height = h;
    state().records.denoisers.push_back(record("Setup", *d, w, h));
    return OPTIX_SUCCESS;
}

OptixResult intensity(OptixDenoiser handle, CUstream, const OptixImage2D* input,
                      CUdeviceptr output, CUdeviceptr scratch, size_t scratchSize)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixDenoiserComputeIntensity");
    Denoiser* d = live(handle);
    if (!d || !input || !validImage(*input) || !holds(output, 4) || !holds(scratch, scratchSize))
        return OPTIX_ERROR_INVALID_VALUE;
    sim::DenoiserRecord r = record("ComputeIntensity", *d, input->width, input->height);
    r.params.hdrIntensity = output;
    state().records.denoisers.push_back(r);
    return OPTIX_SUCCESS;
}

// Output pixel (x, y) from input pixel (x / f, y / f), f the output's scale:
// D = in + 10 albedo + 100 normal (guides used by the denoiser's options),
// then out = blend in + (1 - blend) D; alpha is the input's.
OptixResult invoke(OptixDenoiser handle, CUstream, const OptixDenoiserParams* params,
                   CUdeviceptr stateMemory, size_t stateSize,
                   const OptixDenoiserGuideLayer* guide, const OptixDenoiserLayer* layers,
                   unsigned numLayers, unsigned offsetX, unsigned offsetY, CUdeviceptr scratch,
                   size_t scratchSize)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixDenoiserInvoke");
    Denoiser* d = live(handle);
    if (!d || !params || !guide || !layers || numLayers != 1 || offsetX || offsetY)
        return OPTIX_ERROR_INVALID_VALUE;
    const OptixImage2D& in = layers[0].input;
    const OptixImage2D& out = layers[0].output;
    const unsigned f = d->kind == OPTIX_DENOISER_MODEL_KIND_UPSCALE2X ? 2 : 1;
    auto guideOk = [&](unsigned used, const OptixImage2D& g) {
        return !used || (validImage(g) && g.width == in.width && g.height == in.height);
    };
    if (in.width != d->width || in.height != d->height || !validImage(in) || !validImage(out) ||
        out.width != in.width * f || out.height != in.height * f ||
        stateSize < stateBytes(in.width, in.height) || !holds(stateMemory, stateSize) ||
        scratchSize < scratchBytes(in.width, in.height) || !holds(scratch, scratchSize) ||
        !holds(params->hdrIntensity, 4) || !guideOk(d->options.guideAlbedo, guide->albedo) ||
        !guideOk(d->options.guideNormal, guide->normal))
        return OPTIX_ERROR_INVALID_VALUE;
    const float b = params->blendFactor;
    for (unsigned y = 0; y < out.height; ++y)
        for (unsigned x = 0; x < out.width; ++x) {
            const float4 c = pixel(in, x / f, y / f);
            const float4 a = d->options.guideAlbedo ? pixel(guide->albedo, x / f, y / f) : float4{};
            const float4 n = d->options.guideNormal ? pixel(guide->normal, x / f, y / f) : float4{};
            auto mix = [&](float cc, float aa, float nn) {
                return b * cc + (1 - b) * (cc + 10 * aa + 100 * nn);
            };
            pixel(out, x, y) = make_float4(mix(c.x, a.x, n.x), mix(c.y, a.y, n.y), mix(c.z, a.z, n.z), c.w);
        }
    sim::DenoiserRecord r = record("Invoke", *d, in.width, in.height);
    r.params = *params;
    r.guide = *guide;
    r.layer = layers[0];
    r.numLayers = numLayers;
    state().records.denoisers.push_back(r);
    return OPTIX_SUCCESS;
}

} // namespace

namespace sim {

void fillDenoiserEntries(OptixFunctionTable& table)
{
    table.optixDenoiserCreate = create;
    table.optixDenoiserDestroy = destroy;
    table.optixDenoiserComputeMemoryResources = memoryResources;
    table.optixDenoiserSetup = setup;
    table.optixDenoiserComputeIntensity = intensity;
    table.optixDenoiserInvoke = invoke;
}

} // namespace sim
