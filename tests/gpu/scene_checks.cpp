// Scene content on a real GPU: textures of every format, a material with
// texture lists, acceleration builds of every geometry kind, the device boxes
// of custom primitives against the host functions, and relocation between two
// contexts on one GPU.

#include "GpuCheck.h"

#include "core/CUDABuffer.h"
#include "kernels/preprocessing_element.h"
#include "programs/ProgramFiles.h"
#include "scene/Geometry.h"
#include "scene/Material.h"
#include "scene/Texture.h"

#include <cuda_runtime.h>

#include <cstring>
#include <memory>
#include <vector>

T7_CHECK_LABEL("scene_checks.cpp");

namespace {

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

void checkMaterial(cudaStream_t stream)
{
    try {
        std::vector<unsigned char> pixels(8 * 8 * 4, 0x80);
        Texture a(0, stream, 8, 8, 4, 8, cudaAddressModeClamp, pixels.data());
        Texture b(0, stream, 8, 8, 4, 8, cudaAddressModeClamp, pixels.data());
        MaterialData params;
        params.tex_count = 2;
        const MaterialSamplers samplers{{a.sampler(), b.sampler()}, {b.sampler()}, {}, {a.sampler()}};
        Material m(0, stream, params, samplers, {}, HitProgram{}, HitProgram{});
        std::vector<cudaTextureObject_t> color(2);
        CUDA_CHECK(cudaStreamSynchronize(stream));
        CUDA_CHECK(cudaMemcpy(color.data(), m.params().color_tex, 16, cudaMemcpyDeviceToHost));
        check(color[0] == a.sampler() && color[1] == b.sampler(), "material texture arrays filled");
        params.tex_count = 3;
        m.updateParams(params, {{b.sampler(), a.sampler(), b.sampler()}, {}, {}, {}}, {});
        std::vector<cudaTextureObject_t> three(3);
        CUDA_CHECK(cudaStreamSynchronize(stream));
        CUDA_CHECK(cudaMemcpy(three.data(), m.params().color_tex, 24, cudaMemcpyDeviceToHost));
        check(three[2] == b.sampler(), "material update with a new texture count");
    } catch (const std::exception& e) {
        check(false, std::string("material: ") + e.what());
    }
}

std::vector<float3> points(size_t n, float seed)
{
    std::vector<float3> v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = make_float3(seed + float(i), seed * 0.5f - float(i), float(i % 3) - seed);
    return v;
}

bool sameBox(const OptixAabb& a, const CudaAabb& b)
{
    return a.minX == b.minX && a.minY == b.minY && a.minZ == b.minZ && a.maxX == b.maxX &&
           a.maxY == b.maxY && a.maxZ == b.maxZ;
}

// Computes boxes on the device, compares them with the host functions, builds.
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
        if (!check(g.applyPreprocessing(), name + ": boxes computed"))
            return;
        const size_t count = g.aabb().count();
        std::vector<OptixAabb> device(count);
        CUDA_CHECK(cudaStreamSynchronize(stream));
        CUDA_CHECK(cudaMemcpy(device.data(), reinterpret_cast<void*>(g.aabb().ptr()),
                              count * sizeof(OptixAabb), cudaMemcpyDeviceToHost));
        bool same = true;
        for (size_t i = 0; i < count; ++i) {
            CudaAabb host;
            switch (type) {
            case geoParticleSet:
            case geoParticleSetTex: host = sphereBox(p0[i], radii[i]); break;
            case geoBezier: host = bezierBox(p0[i], p3[i], p5[i], p6[i], radii2[i]); break;
            case geoParallelograms: host = parallelogramBox(p0[i], p2[i], p3[i]); break;
            case geoParallelepipeds: host = parallelepipedBox(p0[i], p2[i], p3[i], p4[i]); break;
            default: host = {0, 0, 0, 0.1f, 0.1f, 0.1f}; break;
            }
            same = same && sameBox(device[i], host);
        }
        check(same, name + ": device boxes equal the host functions (" + std::to_string(count) + ")");
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

} // namespace

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
        checkMaterial(stream);
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
