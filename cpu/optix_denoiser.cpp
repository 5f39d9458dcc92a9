// The denoiser of the CPU device's OptiX: it has no network, so it passes
// its input through (doubled, pixel by pixel, for 2x upscaling), after the
// same argument checks as a denoiser that does.

#include "CpuDevice.h"
#include "OptixObjects.h"

#include <vector_functions.h>

using cpu::lock;
using cpu::state;

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
    return cpu::liveObject(p) ? p : nullptr;
}

size_t stateBytes(unsigned w, unsigned h) { return 4096 + size_t(w) * h * 4; }
size_t scratchBytes(unsigned w, unsigned h) { return 1024 + size_t(w) * h * 16; }

bool holds(CUdeviceptr p, size_t bytes)
{
    return p && cpu::blockHolding(reinterpret_cast<void*>(p), bytes);
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
    CPU_OPTIX_INTERCEPT("optixDenoiserCreate");
    const int device = cpu::contextDevice(context);
    // Any model is taken: the library refuses all but LDR, HDR and 2x
    // upscaling before it asks, and invoke knows upscaling by its kind.
    if (device < 0 || !options || !handle)
        return OPTIX_ERROR_INVALID_VALUE;
    auto* d = new Denoiser{device, kind, *options};
    state().optixObjects.insert(d);
    *handle = reinterpret_cast<OptixDenoiser>(d);
    cpu::note("optix", "optixDenoiserCreate device=%d -> 0", device);
    return OPTIX_SUCCESS;
}

OptixResult destroy(OptixDenoiser handle)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_OPTIX_INTERCEPT("optixDenoiserDestroy");
    Denoiser* d = live(handle);
    if (!d)
        return OPTIX_ERROR_INVALID_VALUE;
    state().optixObjects.erase(d);
    delete d;
    cpu::note("optix", "optixDenoiserDestroy -> 0");
    return OPTIX_SUCCESS;
}

OptixResult memoryResources(const OptixDenoiser handle, unsigned w, unsigned h,
                            OptixDenoiserSizes* sizes)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_OPTIX_INTERCEPT("optixDenoiserComputeMemoryResources");
    if (!live(handle) || !sizes)
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
    CPU_OPTIX_INTERCEPT("optixDenoiserSetup");
    Denoiser* d = live(handle);
    if (!d || stateSize < stateBytes(w, h) || scratchSize < scratchBytes(w, h) ||
        !holds(stateMemory, stateSize) || !holds(scratch, scratchSize))
        return OPTIX_ERROR_INVALID_VALUE;
    d->width = w;
    d->height = h;
    return OPTIX_SUCCESS;
}

OptixResult intensity(OptixDenoiser handle, CUstream, const OptixImage2D* input,
                      CUdeviceptr output, CUdeviceptr scratch, size_t scratchSize)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_OPTIX_INTERCEPT("optixDenoiserComputeIntensity");
    if (!live(handle) || !input || !validImage(*input) || !holds(output, 4) ||
        !holds(scratch, scratchSize))
        return OPTIX_ERROR_INVALID_VALUE;
    return OPTIX_SUCCESS; // the intensity is only for a network to use
}

OptixResult invoke(OptixDenoiser handle, CUstream, const OptixDenoiserParams* params,
                   CUdeviceptr stateMemory, size_t stateSize,
                   const OptixDenoiserGuideLayer* guide, const OptixDenoiserLayer* layers,
                   unsigned numLayers, unsigned offsetX, unsigned offsetY, CUdeviceptr scratch,
                   size_t scratchSize)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_OPTIX_INTERCEPT("optixDenoiserInvoke");
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
    for (unsigned y = 0; y < out.height; ++y)
        for (unsigned x = 0; x < out.width; ++x)
            pixel(out, x, y) = pixel(in, x / f, y / f);
    return OPTIX_SUCCESS;
}

} // namespace

namespace cpu {

void fillDenoiserEntries(OptixFunctionTable& table)
{
    table.optixDenoiserCreate = create;
    table.optixDenoiserDestroy = destroy;
    table.optixDenoiserComputeMemoryResources = memoryResources;
    table.optixDenoiserSetup = setup;
    table.optixDenoiserComputeIntensity = intensity;
    table.optixDenoiserInvoke = invoke;
}

} // namespace cpu
