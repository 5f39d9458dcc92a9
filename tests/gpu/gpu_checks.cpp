// Checks on a real GPU: OptiX start-up through our own declarations, a device
// context, modules from our own PTX and built in, an instance created through
// the entry points, and scene content: textures, acceleration builds of every
// kind, boxes computed on the device, relocation between two contexts.
// Prints one line per check and "N passed, N failed".

#include "core/CUDABuffer.h"
#include "core/OptixLoader.h"
#include "programs/Modules.h"
#include "programs/ProgramFiles.h"
#include "scene/Geometry.h"
#include "scene/Texture.h"
#include "trevix7.h"

#include <cuda_runtime.h>
#include <dlfcn.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

T7_CHECK_LABEL("gpu_checks.cpp");

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

void checkOptixDirectly(const std::string& ptxDir)
{
    int count = 0;
    cudaError_t e = cudaGetDeviceCount(&count);
    if (!check(e == cudaSuccess && count > 0,
               "CUDA device present (" + std::to_string(count) + ", " + cudaGetErrorString(e) + ")"))
        return;
    cudaDeviceProp prop = {};
    cudaGetDeviceProperties(&prop, 0);
    std::printf("       device 0: %s, compute %d.%d\n", prop.name, prop.major, prop.minor);

    void* lib = dlopen("libnvoptix.so.1", RTLD_NOW);
    if (!check(lib != nullptr, std::string("libnvoptix.so.1 opens") + (lib ? "" : std::string(": ") + dlerror())))
        return;
    if (!check(loadOptixFunctionTable(), "function table loads for ABI 68"))
        return;

    OptixDeviceContext context = nullptr;
    try {
        CUDA_CHECK(cudaSetDevice(0));
        CUDA_CHECK(cudaFree(nullptr));
        OptixDeviceContextOptions options = {};
        options.logCallbackFunction = &context_log_cb;
        options.logCallbackLevel = 4;
        OPTIX_CHECK(optixDeviceContextCreate(nullptr, &options, &context));
        OPTIX_CHECK(optixDeviceContextSetCacheEnabled(context, 1));
        check(true, "device context created (log level 4)");
    } catch (const std::exception& ex) {
        check(false, std::string("device context: ") + ex.what());
        return;
    }

    // Our own PTX through the program search and the module cache.
    try {
        ApiSetupLibraryDir((ptxDir + "/..").c_str());
        std::string text;
        getPtxString(text, "dummy7_chit.cu");
        Modules modules;
        modules.setContext(context);
        OptixModule m = modules.getModule("dummy7_chit.cu", text);
        check(m && modules.getModule("dummy7_chit.ptx", text) == m,
              "module cache: dummy7_chit.cu loaded through the program search, one module");
        check(modules.getBSplineLinIsModule() && modules.getBSplineQuadIsModule() &&
                  modules.getBSplineCubeIsModule() && modules.getSplineCRomIsModule(),
              "four built-in curve intersection modules");
        modules.destroy();
        check(true, "module cache destroyed");
    } catch (const std::exception& ex) {
        check(false, std::string("module cache: ") + ex.what());
    }
    OptixResult r = optixDeviceContextDestroy(context);
    check(r == OPTIX_SUCCESS, "device context destroyed");
}

void checkProductInstance()
{
    int count = ApiGetDeviceCount();
    if (!check(count > 0, "ApiGetDeviceCount = " + std::to_string(count)))
        return;
    cudaDeviceProp prop = {};
    cudaGetDeviceProperties(&prop, 0);
    int arch = ApiGpuArchitecture(0);
    check(arch == prop.major * 100 + prop.minor * 10, "ApiGpuArchitecture(0) = " + std::to_string(arch));

    char error[4096] = "";
    unsigned h = ApiCreatePathTracer(640, 480, READBACK_RGBA8, nullptr, nullptr, 0, nullptr, nullptr,
                                     0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr,
                                     0, nullptr, nullptr, 0, nullptr, 0, 4, error);
    if (!check(h != 0, std::string("ApiCreatePathTracer: ") + (h ? "handle " + std::to_string(h) : error)))
        return;
    check(ApiCudaOrdinal(h, 0) == 0, "ApiCudaOrdinal(h, 0) = " + std::to_string(ApiCudaOrdinal(h, 0)));
    check(ApiOutputCudaOrdinal(h) == 0,
          "ApiOutputCudaOrdinal(h) = " + std::to_string(ApiOutputCudaOrdinal(h)));
    check(ApiDestroyPathTracer(h, error), "ApiDestroyPathTracer");
}

void checkTextures(cudaStream_t stream)
{
    for (int bits : {8, 16, 32})
        for (int channels : {1, 2, 4}) {
            const std::string name = std::to_string(channels) + " x " + std::to_string(bits);
            try {
                std::vector<unsigned char> small(4 * 4 * channels * bits / 8, 0x3c);
                std::vector<unsigned char> big(16 * 8 * channels * bits / 8, 0x3d);
                Texture t(0, stream, 4, 4, channels, bits, cudaAddressModeWrap, small.data());
                const cudaTextureObject_t first = t.sampler();
                t.update(4, 4, small.data());
                const bool kept = t.sampler() == first;
                t.update(16, 8, big.data());
                t.destroy();
                CUDA_CHECK(cudaStreamSynchronize(stream));
                check(kept && first != 0, "texture " + name + ": create, update, resize, destroy");
            } catch (const std::exception& e) {
                check(false, "texture " + name + ": " + e.what());
            }
        }
}

std::vector<float3> points(size_t n, float seed)
{
    std::vector<float3> v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = make_float3(seed + float(i), seed * 0.5f - float(i), float(i % 3) - seed);
    return v;
}

// Computes boxes on the device and builds. The kernels are compared with the
// host functions bit for bit by the kernel checks; the slot mapping is host
// code, checked on the simulated device.
void checkCustomKind(OptixDeviceContext context, cudaStream_t stream, geoPrimirivesType type)
{
    const std::string name = "custom primitives type " + std::to_string(int(type));
    try {
        const size_t n = 100;
        GeometryPrimitives g(0, stream, 1, type, 1, "dummy7_isec.cu::__intersection__dummy");
        const auto p0 = points(n, 1.5f), p2 = points(n, 2.25f), p3 = points(n, -3.0f),
                   p4 = points(n, 0.75f), p5 = points(n, 4.0f), p6 = points(n, -1.25f);
        std::vector<float> radii(n, 0.5f);
        std::vector<float2> radii2(n, make_float2(-0.25f, 0.75f));
        auto upload = [&](size_t slot, const void* data, size_t size) {
            g.createBuffer(slot, 0, size);
            g.uploadBuffer(slot, data, n);
        };
        if (type != geoDummy) {
            upload(geoBufVertices, p0.data(), 12);
            if (type == geoParticleSetTex || type >= geoParallelograms)
                upload(geoBufIndices, p2.data(), 12);
            if (type != geoParticleSet)
                upload(geoBufNormals, p3.data(), 12);
            if (type == geoParticleSet || type == geoParticleSetTex)
                upload(geoBufNormalIndices, radii.data(), 4);
            if (type == geoParallelepipeds)
                upload(geoBufNormalIndices, p4.data(), 12);
            if (type == geoBezier) {
                upload(geoBufNormalIndices, radii2.data(), 8);
                upload(geoBufTexCoords, p5.data(), 12);
                upload(geoBufTexCoordIndices, p6.data(), 12);
            }
        }
        if (!check(g.applyPreprocessing(), name + ": boxes launched"))
            return;
        CUDA_CHECK(cudaStreamSynchronize(stream));
        check(cudaGetLastError() == cudaSuccess && g.aabb().count() == (type == geoDummy ? 1u : n),
              name + ": boxes computed on the device");
        check(g.buildMeshAccel(context, false, true) && g.gasHandle() && !g.m_accel_dirty,
              name + ": structure built");
    } catch (const std::exception& e) {
        check(false, name + ": " + e.what());
    }
}

std::unique_ptr<GeometryTriangles> mesh(cudaStream_t stream)
{
    auto g = std::make_unique<GeometryTriangles>(0, stream, 2, geoPrimitives0, 1);
    const auto v = points(30, 0.5f);
    std::vector<uint3> f(10);
    for (unsigned i = 0; i < 10; ++i)
        f[i] = make_uint3(3 * i, 3 * i + 1, 3 * i + 2);
    g->createBuffer(geoBufVertices, 0, 12);
    g->createBuffer(geoBufIndices, 0, 12);
    g->uploadBuffer(geoBufVertices, v.data(), v.size());
    g->uploadBuffer(geoBufIndices, f.data(), f.size());
    return g;
}

void checkBuilds(OptixDeviceContext context, OptixDeviceContext second, cudaStream_t stream)
{
    try {
        auto triangles = mesh(stream);
        check(triangles->buildMeshAccel(context, true, false) && triangles->gasHandle(),
              "triangle mesh built, " + std::to_string(triangles->gasBufferSize()) + " bytes");
        auto copy = mesh(stream);
        check(copy->relocateMeshAccel(*triangles, second) && copy->gasHandle() &&
                  !copy->m_accel_dirty,
              "structure relocated to a second context on the same GPU");
    } catch (const std::exception& e) {
        check(false, std::string("triangles: ") + e.what());
    }
    for (geoPrimirivesType type : {geoBSplineLinear, geoBSplineQuadratic, geoBSplineCubic,
                                   geoBSplineLinear2, geoBSplineCatmullRom}) {
        const std::string name = "curves type " + std::to_string(int(type));
        try {
            GeometryBSplines g(0, stream, 3, type, 1);
            const auto v = points(8, 1.0f);
            const std::vector<float> widths(8, 0.1f);
            const std::vector<unsigned> segments = {0, 4};
            g.createBuffer(geoBufVertices, 0, 12);
            g.createBuffer(geoBufIndices, 0, 4);
            g.createBuffer(geoBufNormalIndices, 0, 4);
            g.uploadBuffer(geoBufVertices, v.data(), v.size());
            g.uploadBuffer(geoBufIndices, segments.data(), segments.size());
            g.uploadBuffer(geoBufNormalIndices, widths.data(), widths.size());
            check(g.buildMeshAccel(context, false, false) && g.gasHandle(), name + ": built");
        } catch (const std::exception& e) {
            check(false, name + ": " + e.what());
        }
    }
    for (geoPrimirivesType type : {geoParticleSet, geoParticleSetTex, geoBezier, geoParallelograms,
                                   geoParallelepipeds, geoDummy})
        checkCustomKind(context, stream, type);
}

void checkScene(const std::string& ptxDir)
{
    ApiSetupLibraryDir((ptxDir + "/..").c_str());
    cudaStream_t stream = nullptr;
    OptixDeviceContext contexts[2] = {};
    try {
        CUDA_CHECK(cudaSetDevice(0));
        CUDA_CHECK(cudaStreamCreate(&stream));
        for (OptixDeviceContext& c : contexts) {
            OptixDeviceContextOptions options = {};
            OPTIX_CHECK(optixDeviceContextCreate(nullptr, &options, &c));
        }
        checkTextures(stream);
        checkBuilds(contexts[0], contexts[1], stream);
        CUDA_CHECK(cudaStreamSynchronize(stream));
        check(cudaGetLastError() == cudaSuccess, "no CUDA error pending after the scene checks");
    } catch (const std::exception& e) {
        check(false, std::string("scene checks: ") + e.what());
    }
    for (OptixDeviceContext c : contexts)
        if (c)
            optixDeviceContextDestroy(c);
    if (stream)
        cudaStreamDestroy(stream);
}

} // namespace

int main(int argc, char** argv)
{
    std::string ptxDir = argc > 1 ? argv[1] : "cuda";
    checkOptixDirectly(ptxDir);
    checkProductInstance();
    checkScene(ptxDir);
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed ? 1 : 0;
}
