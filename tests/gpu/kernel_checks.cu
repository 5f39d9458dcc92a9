// Checks every library kernel on a real GPU against the host per-element
// functions that the simulated device runs, expanded from the kernels' lists.
// Inputs are pseudo-random with a fixed seed and of normal magnitude, so
// flush-to-zero changes nothing: boxes, sample lists, gathers and readback
// conversions must agree bit for bit, and arrays a kernel rewrites in place
// (the textured particles' axes, through the device's approximate rsqrt)
// within 1e-4. Prints one line per check and "N passed, N failed".

#include "kernels/WorkDistribution_kernel.h"
#include "kernels/postprocessing_kernels.h"
#include "kernels/preprocessing_kernels.h"
#include "kernels/readback_kernels.h"

#include <cuda_runtime.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace {

int passed = 0;
int failed = 0;

bool check(bool ok, const std::string& what)
{
    std::printf("%s %s\n", ok ? "[pass]" : "[FAIL]", what.c_str());
    std::fflush(stdout);
    (ok ? passed : failed)++;
    return ok;
}

// Not a power of two, so the last block is partly idle.
constexpr unsigned kCount = 300;

std::mt19937 rng(20240607);

// Magnitudes in [1/8, 100), either sign: far from denormals.
float value()
{
    std::uniform_real_distribution<float> magnitude(0.125f, 100.0f);
    return (rng() & 1) ? magnitude(rng) : -magnitude(rng);
}

void fill(float& v) { v = value(); }
void fill(float2& v) { v = make_float2(value(), value()); }
void fill(float3& v) { v = make_float3(value(), value(), value()); }
void fill(CudaAabb& b) { std::memset(&b, 0xff, sizeof b); } // NaN until written
// Images around [0, 1], some values outside and a few NaNs, for the readback.
float pixelValue()
{
    if (rng() % 16 == 0)
        return std::nanf("");
    return std::uniform_real_distribution<float>(-0.25f, 1.25f)(rng);
}
void fill(float4& v) { v = make_float4(pixelValue(), pixelValue(), pixelValue(), pixelValue()); }
// Every other type (uchar4, ushort4, int2): the overloads above win over the template.
template <typename T> void fill(T& v) { std::memset(&v, 0x5a, sizeof v); }

bool close(float device, float host)
{
    if (!std::isfinite(host))
        return !std::isfinite(device);
    return std::fabs(device - host) <= 1e-4f * std::fmax(1.0f, std::fabs(host));
}
bool same(const float& d, const float& h) { return close(d, h); }
bool same(const float2& d, const float2& h) { return close(d.x, h.x) && close(d.y, h.y); }
bool same(const float3& d, const float3& h)
{
    return close(d.x, h.x) && close(d.y, h.y) && close(d.z, h.z);
}
// Every other type (CudaAabb, float4, uchar4, ushort4, int2) bit for bit.
template <typename T> bool same(const T& d, const T& h) { return std::memcmp(&d, &h, sizeof d) == 0; }
// Inexact comparisons: float4 component by component, every other type as same().
bool close(const float4& d, const float4& h)
{
    return close(d.x, h.x) && close(d.y, h.y) && close(d.z, h.z) && close(d.w, h.w);
}
template <typename T> bool close(const T& d, const T& h) { return same(d, h); }

// One argument of a kernel: random host values, and their device copy.
template <typename T> struct Array {
    std::vector<T> host = std::vector<T>(kCount);
    T* device = nullptr;
    Array()
    {
        for (T& v : host)
            fill(v);
        cudaMalloc(&device, kCount * sizeof(T));
        cudaMemcpy(device, host.data(), kCount * sizeof(T), cudaMemcpyHostToDevice);
    }
    ~Array() { cudaFree(device); }
    void upload() { cudaMemcpy(device, host.data(), kCount * sizeof(T), cudaMemcpyHostToDevice); }
    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;

    // How many device values differ from the host's, by same() or, not exact, by close().
    unsigned mismatches(bool exact = true) const
    {
        std::vector<T> back(kCount);
        cudaMemcpy(back.data(), device, kCount * sizeof(T), cudaMemcpyDeviceToHost);
        unsigned off = 0;
        for (unsigned i = 0; i < kCount; ++i)
            off += !(exact ? same(back[i], host[i]) : close(back[i], host[i]));
        return off;
    }
};

template <typename P> using ArrayOf = Array<std::remove_const_t<std::remove_pointer_t<P>>>;

bool launchedCleanly(cudaStream_t stream, const std::string& what)
{
    cudaError_t e = cudaStreamSynchronize(stream);
    if (e == cudaSuccess)
        e = cudaGetLastError();
    return e == cudaSuccess || check(false, what + ": " + cudaGetErrorString(e));
}

// The launcher on the device against the element function on the host, over
// the same inputs; every array is compared afterwards.
template <typename... P>
void checkKernel(const std::string& name, void (*launch)(unsigned, cudaStream_t, P...),
                 void (*element)(unsigned, P...), cudaStream_t stream)
{
    std::tuple<ArrayOf<P>...> arrays; // uploaded before the host rewrites its copies
    std::apply([&](auto&... a) { launch(kCount, stream, a.device...); }, arrays);
    for (unsigned i = 0; i < kCount; ++i)
        std::apply([&](auto&... a) { element(i, a.host.data()...); }, arrays);
    if (!launchedCleanly(stream, name))
        return;
    unsigned off = 0;
    std::apply([&](auto&... a) { ((off += a.mismatches()), ...); }, arrays);
    check(off == 0, name + ": " + std::to_string(kCount) + " elements agree with the host (" +
                        std::to_string(off) + " values differ)");
}

// Only the first n boxes are written: the threads of the last block beyond n stay idle.
void checkPartialCount(cudaStream_t stream)
{
    const unsigned n = kCount - 3;
    Array<float3> centres;
    Array<float> radii;
    Array<CudaAabb> boxes;
    preprocessingParticleSet(n, stream, boxes.device, centres.device, radii.device);
    preprocessingParticleSet(0, stream, boxes.device + n, centres.device, radii.device);
    if (!launchedCleanly(stream, "partial count"))
        return;
    for (unsigned i = 0; i < n; ++i)
        particleSetElement(i, boxes.host.data(), centres.host.data(), radii.host.data());
    check(boxes.mismatches() == 0, "particle set: n = " + std::to_string(n) + " writes boxes 0.." +
                                       std::to_string(n - 1) + " only; n = 0 writes none");
}

// Sample lists for one and two devices, with ordinals beyond the count.
void checkFillSamples(cudaStream_t stream)
{
    const int cases[][3] = {{0, 1, 1920}, {1, 2, 20}, {2, 2, 100}, {3, 4, 33}};
    for (const auto& c : cases) {
        Array<int2> out;
        fillSamplesCUDA(kCount, stream, c[0], c[1], unsigned(c[2]), 8, out.device);
        for (unsigned s = 0; s < kCount; ++s)
            fillSamples(s, c[0], c[1], unsigned(c[2]), 8, out.host.data());
        const std::string name = "fillSamplesCUDA ordinal " + std::to_string(c[0]) + " of " +
                                 std::to_string(c[1]) + ", width " + std::to_string(c[2]);
        if (launchedCleanly(stream, name))
            check(out.mismatches() == 0, name + ": the host's sample list");
    }
}

// Both gathers over samples of which some lie outside the image.
void checkGathers(cudaStream_t stream)
{
    const unsigned width = 20, height = 6; // samples beyond x = 19 and y = 5
    Array<int2> indices;
    for (unsigned s = 0; s < kCount; ++s)
        fillSamples(s, 0, 1, width, height, indices.host.data());
    indices.upload();
    Array<float4> accum, l2, albedoAccum, normalAccum, image, albedo, normal;
    // Finite everywhere: a NaN's payload may differ between host and device.
    for (Array<float4>* a : {&accum, &l2, &albedoAccum, &normalAccum, &image, &albedo, &normal}) {
        for (float4& v : a->host)
            v = make_float4(value(), value(), value(), value());
        a->upload();
    }
    auto args = [&](bool device) {
        auto p = [&](Array<float4>& a) { return device ? a.device : a.host.data(); };
        return GatherArgs{device ? indices.device : indices.host.data(), p(accum), p(l2),
                          p(albedoAccum), p(normalAccum), p(image), p(albedo), p(normal),
                          width, height};
    };
    gatherResults0(kCount, stream, args(true), 0.25f);
    gatherResultsN(kCount, stream, args(true), 0.25f, 0.375f);
    for (unsigned s = 0; s < kCount; ++s)
        gatherResults0Element(s, args(false), 0.25f);
    for (unsigned s = 0; s < kCount; ++s)
        gatherResultsNElement(s, args(false), 0.25f, 0.375f);
    if (!launchedCleanly(stream, "gathers"))
        return;
    const unsigned off =
        l2.mismatches() + image.mismatches() + albedo.mismatches() + normal.mismatches();
    check(off == 0, "gatherResults0 then gatherResultsN: images and running averages agree "
                    "bit for bit (" + std::to_string(off) + " values differ)");
}

// The post-processing kernels that read no texture, in place or from a
// source into a destination, over a 20 x 15 image. Levels, the 2x copy and
// the edge extension agree bit for bit (finite inputs: NaN payloads may differ); gamma and the
// firefly filter go through the device's approximate log2, exp2 and divide,
// and agree within 1e-4 (NaN where the host has NaN or infinity).
void checkPostprocessing(cudaStream_t stream)
{
    const unsigned w = 20, h = kCount / w;
    const float3 low = {0.1f, 0.2f, -0.3f}, range = {1.1f, 0.5f, 2.0f};
    const float3 inv = {1 / range.x, 1 / range.y, 1 / range.z};
    const float e = 1 / 2.2f, scale = 1.5f;
    auto run = [&](const std::string& name, bool exact, auto&& device, auto&& host) {
        Array<float4> src, dst;
        if (exact || name == "filterFirefliesDenoiser") { // finite, and sums above 5
            for (float4& v : src.host)
                v = make_float4(std::fabs(value()), std::fabs(value()), value(), value());
            src.upload();
        }
        device(src.device, dst.device);
        for (unsigned i = 0; i < kCount; ++i)
            host(i, src.host.data(), dst.host.data());
        if (!launchedCleanly(stream, name))
            return;
        const unsigned off = src.mismatches(exact) + dst.mismatches(exact);
        check(off == 0, name + ": agrees with the host " + (exact ? "bit for bit" : "within 1e-4") +
                            " (" + std::to_string(off) + " pixels differ)");
    };
    run("postprocessingLevels", true,
        [&](float4* s, float4*) { postprocessingLevels(kCount, stream, s, low, range, inv); },
        [&](unsigned i, float4* s, float4*) { levelsElement(i, s, low, range, inv); });
    run("upscale2x", true, [&](float4* s, float4* d) { upscale2x(kCount, stream, s, d, w, h); },
        [&](unsigned i, float4* s, float4* d) { upscale2xElement(i, s, d, w, h); });
    run("extendEdges", true, [&](float4* s, float4*) { extendEdges(kCount, stream, s, w, h); },
        [&](unsigned i, float4* s, float4*) { extendEdgesElement(i, s, w, h); });
    run("postprocessingGamma", false,
        [&](float4* s, float4*) { postprocessingGamma(kCount, stream, s, e, scale); },
        [&](unsigned i, float4* s, float4*) { gammaElement(i, s, e, scale); });
    run("postprocessingGammaDenoiser", false,
        [&](float4* s, float4* d) { postprocessingGammaDenoiser(kCount, stream, s, d, e, scale); },
        [&](unsigned i, float4* s, float4* d) { gammaDenoiserElement(i, s, d, e, scale); });
    run("filterFirefliesDenoiser", false,
        [&](float4* s, float4* d) { filterFirefliesDenoiser(kCount, stream, s, d, w, h); },
        [&](unsigned i, float4* s, float4* d) { filterFirefliesElement(i, s, d, w, h); });
}

} // namespace

int main()
{
    int count = 0;
    cudaError_t e = cudaGetDeviceCount(&count);
    if (check(e == cudaSuccess && count > 0,
              std::string("CUDA device present (") + cudaGetErrorString(e) + ")")) {
        cudaSetDevice(0);
        cudaStream_t stream = nullptr;
        cudaStreamCreate(&stream);
#define T7_CHECK_KERNEL(name, element, params, args) checkKernel(#name, &name, &element, stream);
        T7_PREPROCESSING_KERNELS(T7_CHECK_KERNEL)
        T7_READBACK_KERNELS(T7_CHECK_KERNEL)
        checkPartialCount(stream);
        checkFillSamples(stream);
        checkGathers(stream);
        checkPostprocessing(stream);
        cudaStreamDestroy(stream);
    }
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed ? 1 : 0;
}
