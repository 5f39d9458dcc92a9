// Checks the library's preprocessing kernels on a real GPU against the host
// per-element functions that the simulated device runs. Inputs are
// pseudo-random with a fixed seed and of normal magnitude, so flush-to-zero on
// the device changes nothing and the boxes must agree bit for bit; only the
// textured particles' axes differ, by the device's approximate rsqrt.
// Prints one line per check and "N passed, N failed".

#include "kernels/preprocessing_kernels.h"

#include <cuda_runtime.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
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

std::vector<float3> points()
{
    std::vector<float3> v(kCount);
    for (float3& p : v)
        p = make_float3(value(), value(), value());
    return v;
}

std::vector<float> radii()
{
    std::vector<float> v(kCount);
    for (float& r : v)
        r = std::fabs(value());
    return v;
}

std::vector<float2> radiusPairs()
{
    std::vector<float2> v(kCount);
    for (float2& r : v)
        r = make_float2(value(), value()); // negative pairs exercise the clamp
    return v;
}

// A device copy of a host array, freed with the object.
template <typename T>
struct DeviceArray {
    T* ptr = nullptr;
    size_t count;
    explicit DeviceArray(const std::vector<T>& host) : count(host.size())
    {
        cudaMalloc(&ptr, count * sizeof(T));
        cudaMemcpy(ptr, host.data(), count * sizeof(T), cudaMemcpyHostToDevice);
    }
    explicit DeviceArray(size_t n) : count(n)
    {
        cudaMalloc(&ptr, n * sizeof(T));
        cudaMemset(ptr, 0xff, n * sizeof(T)); // NaN until written
    }
    ~DeviceArray() { cudaFree(ptr); }
    DeviceArray(const DeviceArray&) = delete;
    DeviceArray& operator=(const DeviceArray&) = delete;
    std::vector<T> download() const
    {
        std::vector<T> host(count);
        cudaMemcpy(host.data(), ptr, count * sizeof(T), cudaMemcpyDeviceToHost);
        return host;
    }
};

bool launchedCleanly(cudaStream_t stream, const std::string& what)
{
    cudaError_t e = cudaStreamSynchronize(stream);
    if (e == cudaSuccess)
        e = cudaGetLastError();
    return e == cudaSuccess || check(false, what + ": " + cudaGetErrorString(e));
}

std::string describe(const CudaAabb& b)
{
    char text[200];
    std::snprintf(text, sizeof(text), "(%.9g %.9g %.9g)..(%.9g %.9g %.9g)", b.minX, b.minY,
                  b.minZ, b.maxX, b.maxY, b.maxZ);
    return text;
}

void compareBoxes(const std::string& kind, const std::vector<CudaAabb>& device,
                  const std::vector<CudaAabb>& host)
{
    unsigned mismatches = 0;
    std::string first;
    for (unsigned i = 0; i < kCount; ++i)
        if (std::memcmp(&device[i], &host[i], sizeof(CudaAabb)) != 0 && mismatches++ == 0)
            first = ", first at " + std::to_string(i) + ": device " + describe(device[i]) +
                    ", host " + describe(host[i]);
    check(mismatches == 0, kind + ": " + std::to_string(kCount) + " boxes equal the host's bit for bit" +
                               (mismatches ? " (" + std::to_string(mismatches) + " differ" + first + ")"
                                           : ""));
}

bool close(float device, float host)
{
    if (!std::isfinite(host))
        return !std::isfinite(device);
    return std::fabs(device - host) <= 1e-4f * std::fmax(1.0f, std::fabs(host));
}

bool close(float3 d, float3 h)
{
    return close(d.x, h.x) && close(d.y, h.y) && close(d.z, h.z);
}

void checkParticleSet(cudaStream_t stream)
{
    const auto centres = points();
    const auto r = radii();
    std::vector<CudaAabb> host(kCount);
    for (unsigned i = 0; i < kCount; ++i)
        particleSetElement(i, host.data(), centres.data(), r.data());

    DeviceArray<float3> dCentres(centres);
    DeviceArray<float> dRadii(r);
    DeviceArray<CudaAabb> dBoxes(kCount);
    preprocessingParticleSet(kCount, stream, dBoxes.ptr, dCentres.ptr, dRadii.ptr);
    if (launchedCleanly(stream, "particle set"))
        compareBoxes("particle set", dBoxes.download(), host);
}

void checkParticleSetTex(cudaStream_t stream)
{
    const auto centres = points();
    auto axisA = points();
    auto axisB = points();
    const auto r = radii();
    // The last primitive has a zero first axis: no guard, both axes become NaN.
    axisA[kCount - 1] = make_float3(0, 0, 0);

    // Upload before the host loop normalises its own copies in place.
    DeviceArray<float3> dCentres(centres), dA(axisA), dB(axisB);
    DeviceArray<float> dRadii(r);
    DeviceArray<CudaAabb> dBoxes(kCount);

    std::vector<CudaAabb> host(kCount);
    for (unsigned i = 0; i < kCount; ++i)
        particleSetTexElement(i, host.data(), centres.data(), axisA.data(), axisB.data(), r.data());

    preprocessingParticleSetTex(kCount, stream, dBoxes.ptr, dCentres.ptr, dA.ptr, dB.ptr, dRadii.ptr);
    if (!launchedCleanly(stream, "textured particle set"))
        return;
    compareBoxes("textured particle set", dBoxes.download(), host);

    const auto deviceA = dA.download();
    const auto deviceB = dB.download();
    unsigned off = 0;
    for (unsigned i = 0; i < kCount; ++i)
        off += !close(deviceA[i], axisA[i]) || !close(deviceB[i], axisB[i]);
    check(off == 0, "textured particle set: axes normalised in place within 1e-4 of the host (" +
                        std::to_string(off) + " differ)");
    const float3 za = deviceA[kCount - 1], zb = deviceB[kCount - 1];
    check(std::isnan(za.x) && std::isnan(za.y) && std::isnan(za.z) && std::isnan(zb.x),
          "textured particle set: a zero axis gives NaN axes on the device too");
}

void checkBezier(cudaStream_t stream)
{
    const auto r = radiusPairs();
    const auto p0 = points(), p1 = points(), p2 = points(), p3 = points();
    std::vector<CudaAabb> host(kCount);
    for (unsigned i = 0; i < kCount; ++i)
        bezierElement(i, host.data(), r.data(), p0.data(), p1.data(), p2.data(), p3.data());

    DeviceArray<float2> dRadii(r);
    DeviceArray<float3> d0(p0), d1(p1), d2(p2), d3(p3);
    DeviceArray<CudaAabb> dBoxes(kCount);
    preprocessingBezier(kCount, stream, dBoxes.ptr, dRadii.ptr, d0.ptr, d1.ptr, d2.ptr, d3.ptr);
    if (launchedCleanly(stream, "Bezier"))
        compareBoxes("Bezier", dBoxes.download(), host);
}

void checkParallelograms(cudaStream_t stream)
{
    const auto p = points(), a = points(), b = points();
    std::vector<CudaAabb> host(kCount);
    for (unsigned i = 0; i < kCount; ++i)
        parallelogramElement(i, host.data(), p.data(), a.data(), b.data());

    DeviceArray<float3> dP(p), dA(a), dB(b);
    DeviceArray<CudaAabb> dBoxes(kCount);
    preprocessingParallelograms(kCount, stream, dBoxes.ptr, dP.ptr, dA.ptr, dB.ptr);
    if (launchedCleanly(stream, "parallelograms"))
        compareBoxes("parallelograms", dBoxes.download(), host);
}

void checkParallelepipeds(cudaStream_t stream)
{
    const auto p = points(), a = points(), b = points(), c = points();
    std::vector<CudaAabb> host(kCount);
    for (unsigned i = 0; i < kCount; ++i)
        parallelepipedElement(i, host.data(), p.data(), a.data(), b.data(), c.data());

    DeviceArray<float3> dP(p), dA(a), dB(b), dC(c);
    DeviceArray<CudaAabb> dBoxes(kCount);
    preprocessingParallelepipeds(kCount, stream, dBoxes.ptr, dP.ptr, dA.ptr, dB.ptr, dC.ptr);
    if (launchedCleanly(stream, "parallelepipeds"))
        compareBoxes("parallelepipeds", dBoxes.download(), host);
}

// Only the first n boxes are written: the threads of the last block beyond n stay idle.
void checkPartialCount(cudaStream_t stream)
{
    const unsigned n = kCount - 3;
    const auto centres = points();
    const auto r = radii();
    DeviceArray<float3> dCentres(centres);
    DeviceArray<float> dRadii(r);
    DeviceArray<CudaAabb> dBoxes(kCount);
    preprocessingParticleSet(n, stream, dBoxes.ptr, dCentres.ptr, dRadii.ptr);
    preprocessingParticleSet(0, stream, dBoxes.ptr + n, dCentres.ptr, dRadii.ptr);
    if (!launchedCleanly(stream, "partial count"))
        return;
    const auto boxes = dBoxes.download();
    bool untouched = true;
    for (unsigned i = n; i < kCount; ++i)
        untouched = untouched && std::isnan(boxes[i].minX) && std::isnan(boxes[i].maxZ);
    check(untouched && !std::isnan(boxes[n - 1].maxZ),
          "particle set: n = " + std::to_string(n) + " writes boxes 0.." + std::to_string(n - 1) +
              " only; n = 0 writes none");
}

} // namespace

int main()
{
    int count = 0;
    cudaError_t e = cudaGetDeviceCount(&count);
    if (!check(e == cudaSuccess && count > 0, std::string("CUDA device present (") +
                                                  cudaGetErrorString(e) + ")")) {
        std::printf("%d passed, %d failed\n", passed, failed);
        return 1;
    }
    cudaSetDevice(0);
    cudaStream_t stream = nullptr;
    cudaStreamCreate(&stream);
    checkParticleSet(stream);
    checkParticleSetTex(stream);
    checkBezier(stream);
    checkParallelograms(stream);
    checkParallelepipeds(stream);
    checkPartialCount(stream);
    cudaStreamDestroy(stream);
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed ? 1 : 0;
}
