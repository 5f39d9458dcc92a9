// The simulated device's own acceleration structures, arrays and texture
// objects, driven directly through its function table and runtime (devices
// 860, 860, 750): what the library's builds and textures lean on.

#include "sim_control.h"
#include "sim_optix.h"

#include <cuda_runtime_api.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

OptixFunctionTable table()
{
    OptixFunctionTable t{};
    EXPECT_EQ(sim::queryFunctionTable(OPTIX_ABI_VERSION, 0, nullptr, nullptr, &t, sizeof(t)),
              OPTIX_SUCCESS);
    return t;
}

struct Device {
    OptixFunctionTable api = table();
    int ordinal;
    OptixDeviceContext context = nullptr;
    std::vector<void*> blocks;

    explicit Device(int d) : ordinal(d)
    {
        EXPECT_EQ(cudaSetDevice(d), cudaSuccess);
        EXPECT_EQ(cudaFree(nullptr), cudaSuccess);
        EXPECT_EQ(api.optixDeviceContextCreate(nullptr, nullptr, &context), OPTIX_SUCCESS);
    }
    ~Device()
    {
        EXPECT_EQ(cudaSetDevice(ordinal), cudaSuccess);
        for (void* b : blocks)
            EXPECT_EQ(cudaFree(b), cudaSuccess);
        EXPECT_EQ(api.optixDeviceContextDestroy(context), OPTIX_SUCCESS);
    }
    CUdeviceptr alloc(size_t bytes)
    {
        EXPECT_EQ(cudaSetDevice(ordinal), cudaSuccess);
        void* p = nullptr;
        EXPECT_EQ(cudaMalloc(&p, bytes), cudaSuccess);
        blocks.push_back(p);
        return CUdeviceptr(p);
    }
};

// Ten indexed triangles over twelve vertices.
struct Triangles {
    CUdeviceptr vertices;
    unsigned flags = OPTIX_GEOMETRY_FLAG_DISABLE_ANYHIT;
    OptixBuildInput input{};
    explicit Triangles(Device& d) : vertices(d.alloc(12 * 12))
    {
        input.type = OPTIX_BUILD_INPUT_TYPE_TRIANGLES;
        auto& t = input.triangleArray;
        t.vertexBuffers = &vertices;
        t.numVertices = 12;
        t.vertexFormat = OPTIX_VERTEX_FORMAT_FLOAT3;
        t.indexBuffer = d.alloc(10 * 12);
        t.numIndexTriplets = 10;
        t.indexFormat = OPTIX_INDICES_FORMAT_UNSIGNED_INT3;
        t.flags = &flags;
        t.numSbtRecords = 1;
    }
};

const OptixAccelBuildOptions kCompacting{
    OPTIX_BUILD_FLAG_ALLOW_COMPACTION | OPTIX_BUILD_FLAG_PREFER_FAST_TRACE,
    OPTIX_BUILD_OPERATION_BUILD, {}};

TEST(SimAccel, SizesFollowThePrimitiveCountAndTheCompactionFlag)
{
    Device d(0);
    Triangles tri(d);
    OptixAccelBufferSizes s{};
    ASSERT_EQ(d.api.optixAccelComputeMemoryUsage(d.context, &kCompacting, &tri.input, 1, &s),
              OPTIX_SUCCESS);
    EXPECT_EQ(s.outputSizeInBytes, 256u + 64 * 10);
    EXPECT_EQ(s.tempSizeInBytes, 256u + 48 * 10);
    EXPECT_EQ(s.tempUpdateSizeInBytes, 0u);
    OptixAccelBuildOptions plain = kCompacting;
    plain.buildFlags = OPTIX_BUILD_FLAG_PREFER_FAST_TRACE;
    ASSERT_EQ(d.api.optixAccelComputeMemoryUsage(d.context, &plain, &tri.input, 1, &s),
              OPTIX_SUCCESS);
    EXPECT_EQ(s.tempSizeInBytes, 128u + 32 * 10);
    tri.input.triangleArray.indexFormat = OPTIX_INDICES_FORMAT_NONE; // 12 vertices: 4 triangles
    ASSERT_EQ(d.api.optixAccelComputeMemoryUsage(d.context, &plain, &tri.input, 1, &s),
              OPTIX_SUCCESS);
    EXPECT_EQ(s.outputSizeInBytes, 256u + 64 * 4);
    OptixBuildInput sphere{};
    sphere.type = OPTIX_BUILD_INPUT_TYPE_SPHERES;
    EXPECT_EQ(d.api.optixAccelComputeMemoryUsage(d.context, &plain, &sphere, 1, &s),
              OPTIX_ERROR_INVALID_VALUE);
}

TEST(SimAccel, BuildCompactRelocate)
{
    sim::clearHistories();
    Device d0(0);
    Triangles tri(d0);
    OptixAccelBufferSizes s{};
    ASSERT_EQ(d0.api.optixAccelComputeMemoryUsage(d0.context, &kCompacting, &tri.input, 1, &s),
              OPTIX_SUCCESS);
    CUdeviceptr temp = d0.alloc(s.tempSizeInBytes);
    CUdeviceptr output = d0.alloc(s.outputSizeInBytes + 8);
    OptixAccelEmitDesc emit{output + s.outputSizeInBytes, OPTIX_PROPERTY_TYPE_COMPACTED_SIZE};
    OptixTraversableHandle handle = 0;
    auto build = [&](CUdeviceptr t, CUdeviceptr o, const OptixAccelEmitDesc* e) {
        return d0.api.optixAccelBuild(d0.context, nullptr, &kCompacting, &tri.input, 1, t,
                                      s.tempSizeInBytes, o, s.outputSizeInBytes, &handle, e, 1);
    };
    // Misuse first: unaligned output, emitted size inside the structure.
    EXPECT_EQ(build(temp, output + 8, &emit), OPTIX_ERROR_INVALID_VALUE);
    OptixAccelEmitDesc inside{output, OPTIX_PROPERTY_TYPE_COMPACTED_SIZE};
    EXPECT_EQ(build(temp, output, &inside), OPTIX_ERROR_INVALID_VALUE);
    tri.input.triangleArray.flags = nullptr;
    EXPECT_EQ(build(temp, output, &emit), OPTIX_ERROR_INVALID_VALUE);
    tri.input.triangleArray.flags = &tri.flags;
    EXPECT_TRUE(sim::buildHistory().empty());

    ASSERT_EQ(build(temp, output, &emit), OPTIX_SUCCESS);
    EXPECT_EQ(handle, output);
    unsigned long long compacted = 0;
    ASSERT_EQ(cudaMemcpy(&compacted, reinterpret_cast<void*>(emit.result), 8,
                         cudaMemcpyDeviceToHost),
              cudaSuccess);
    EXPECT_EQ(compacted, 128u + 32 * 10);
    std::vector<sim::BuildRecord> builds = sim::buildHistory();
    ASSERT_EQ(builds.size(), 1u);
    EXPECT_EQ(builds[0].vertexBuffer, tri.vertices);
    EXPECT_EQ(builds[0].input.triangleArray.vertexBuffers, nullptr);
    EXPECT_EQ(builds[0].flags, std::vector<unsigned>{OPTIX_GEOMETRY_FLAG_DISABLE_ANYHIT});
    EXPECT_FALSE(builds[0].tempPinned);
    EXPECT_EQ(builds[0].numEmittedProperties, 1u);

    CUdeviceptr small = d0.alloc(compacted);
    OptixTraversableHandle compactHandle = 0;
    ASSERT_EQ(d0.api.optixAccelCompact(d0.context, nullptr, handle, small, compacted,
                                       &compactHandle),
              OPTIX_SUCCESS);
    ASSERT_EQ(sim::compactionHistory().size(), 1u);
    EXPECT_EQ(sim::compactionHistory()[0].input, handle);
    OptixRelocationInfo info{};
    ASSERT_EQ(d0.api.optixAccelGetRelocationInfo(d0.context, compactHandle, &info), OPTIX_SUCCESS);

    {
        Device d1(1); // same capability
        int compatible = 0;
        ASSERT_EQ(d1.api.optixCheckRelocationCompatibility(d1.context, &info, &compatible),
                  OPTIX_SUCCESS);
        EXPECT_EQ(compatible, 1);
        CUdeviceptr target = d1.alloc(compacted);
        OptixTraversableHandle moved = 0;
        // Not copied yet: nothing to relocate.
        EXPECT_EQ(d1.api.optixAccelRelocate(d1.context, nullptr, &info, nullptr, 0, target,
                                            compacted, &moved),
                  OPTIX_ERROR_INVALID_VALUE);
        ASSERT_EQ(cudaMemcpy(reinterpret_cast<void*>(target), reinterpret_cast<void*>(small),
                             compacted, cudaMemcpyDeviceToDevice),
                  cudaSuccess);
        ASSERT_EQ(d1.api.optixAccelRelocate(d1.context, nullptr, &info, nullptr, 0, target,
                                            compacted, &moved),
                  OPTIX_SUCCESS);
        EXPECT_EQ(moved, target);
        ASSERT_EQ(sim::relocationHistory().size(), 1u);
        EXPECT_EQ(sim::relocationHistory()[0].device, 1);
        EXPECT_EQ(sim::relocationHistory()[0].source, compactHandle);

        // An instance structure over it moves with the target device's handles.
        OptixInstance instance{};
        instance.traversableHandle = moved; // device 1's: refused on device 0
        CUdeviceptr instances = d0.alloc(sizeof(instance));
        auto upload = [](CUdeviceptr dst, const void* src, size_t bytes) {
            ASSERT_EQ(cudaMemcpy(reinterpret_cast<void*>(dst), src, bytes, cudaMemcpyDefault),
                      cudaSuccess);
        };
        upload(instances, &instance, sizeof(instance));
        OptixBuildInput ii{};
        ii.type = OPTIX_BUILD_INPUT_TYPE_INSTANCES;
        ii.instanceArray.instances = instances;
        ii.instanceArray.numInstances = 1;
        const OptixAccelBuildOptions none{0, OPTIX_BUILD_OPERATION_BUILD, {}};
        OptixAccelBufferSizes is{};
        ASSERT_EQ(d0.api.optixAccelComputeMemoryUsage(d0.context, &none, &ii, 1, &is),
                  OPTIX_SUCCESS);
        CUdeviceptr iasTemp = d0.alloc(is.tempSizeInBytes), ias = d0.alloc(is.outputSizeInBytes);
        OptixTraversableHandle iasHandle = 0;
        auto buildIas = [&] {
            return d0.api.optixAccelBuild(d0.context, nullptr, &none, &ii, 1, iasTemp,
                                          is.tempSizeInBytes, ias, is.outputSizeInBytes,
                                          &iasHandle, nullptr, 0);
        };
        EXPECT_EQ(buildIas(), OPTIX_ERROR_INVALID_VALUE);
        instance.traversableHandle = compactHandle;
        upload(instances, &instance, sizeof(instance));
        ASSERT_EQ(buildIas(), OPTIX_SUCCESS);
        EXPECT_EQ(sim::buildHistory().back().instanceHandles,
                  std::vector<OptixTraversableHandle>{compactHandle});
        OptixRelocationInfo iasInfo{};
        ASSERT_EQ(d0.api.optixAccelGetRelocationInfo(d0.context, iasHandle, &iasInfo),
                  OPTIX_SUCCESS);
        CUdeviceptr iasTarget = d1.alloc(is.outputSizeInBytes), handles = d1.alloc(8);
        upload(iasTarget, reinterpret_cast<void*>(ias), is.outputSizeInBytes);
        upload(handles, &moved, 8);
        OptixRelocateInput ri{};
        ri.type = OPTIX_BUILD_INPUT_TYPE_INSTANCES;
        ri.instanceArray.numInstances = 1;
        ri.instanceArray.traversableHandles = handles;
        OptixTraversableHandle iasMoved = 0;
        ASSERT_EQ(d1.api.optixAccelRelocate(d1.context, nullptr, &iasInfo, &ri, 1, iasTarget,
                                            is.outputSizeInBytes, &iasMoved),
                  OPTIX_SUCCESS);
        EXPECT_EQ(sim::relocationHistory().back().instanceHandles,
                  std::vector<OptixTraversableHandle>{moved});
    }
    {
        Device d2(2); // sm_75
        int compatible = 1;
        ASSERT_EQ(d2.api.optixCheckRelocationCompatibility(d2.context, &info, &compatible),
                  OPTIX_SUCCESS);
        EXPECT_EQ(compatible, 0);
        CUdeviceptr target = d2.alloc(compacted);
        OptixTraversableHandle moved = 0;
        EXPECT_EQ(d2.api.optixAccelRelocate(d2.context, nullptr, &info, nullptr, 0, target,
                                            compacted, &moved),
                  OPTIX_ERROR_NOT_COMPATIBLE);
    }
    ASSERT_EQ(cudaSetDevice(0), cudaSuccess);
    // A freed structure is no longer one.
    ASSERT_EQ(cudaFree(reinterpret_cast<void*>(small)), cudaSuccess);
    d0.blocks.erase(std::find(d0.blocks.begin(), d0.blocks.end(), reinterpret_cast<void*>(small)));
    EXPECT_EQ(d0.api.optixAccelGetRelocationInfo(d0.context, compactHandle, &info),
              OPTIX_ERROR_INVALID_VALUE);
}

TEST(SimAccel, PinnedScratchAndItsLimit)
{
    sim::clearHistories();
    Device d0(0);
    Triangles tri(d0);
    OptixAccelBufferSizes s{};
    ASSERT_EQ(d0.api.optixAccelComputeMemoryUsage(d0.context, &kCompacting, &tri.input, 1, &s),
              OPTIX_SUCCESS);
    sim::setPinnedMemoryLimit(s.tempSizeInBytes - 1);
    void* host = nullptr;
    EXPECT_EQ(cudaHostAlloc(&host, s.tempSizeInBytes, cudaHostAllocMapped),
              cudaErrorMemoryAllocation);
    EXPECT_EQ(cudaGetLastError(), cudaErrorMemoryAllocation);
    sim::setPinnedMemoryLimit(SIZE_MAX);
    ASSERT_EQ(cudaHostAlloc(&host, s.tempSizeInBytes, cudaHostAllocMapped), cudaSuccess);
    CUdeviceptr output = d0.alloc(s.outputSizeInBytes);
    OptixTraversableHandle handle = 0;
    EXPECT_EQ(d0.api.optixAccelBuild(d0.context, nullptr, &kCompacting, &tri.input, 1,
                                     CUdeviceptr(host), s.tempSizeInBytes, output,
                                     s.outputSizeInBytes, &handle, nullptr, 0),
              OPTIX_SUCCESS);
    ASSERT_EQ(sim::buildHistory().size(), 1u);
    EXPECT_TRUE(sim::buildHistory()[0].tempPinned);
    EXPECT_EQ(cudaFreeHost(host), cudaSuccess);

    const size_t limit = sim::memoryLimit(0);
    sim::setDeviceMemoryLimit(0, sim::deviceBytesInUse(0) + 100);
    void* p = nullptr;
    EXPECT_EQ(cudaMalloc(&p, 101), cudaErrorMemoryAllocation);
    cudaGetLastError();
    sim::setDeviceMemoryLimit(0, limit);
}

TEST(SimTextures, ArraysCopiesAndObjects)
{
    ASSERT_EQ(cudaSetDevice(0), cudaSuccess);
    const size_t bytesBefore = sim::deviceBytesInUse(0);
    cudaChannelFormatDesc desc = cudaCreateChannelDesc(16, 16, 0, 0, cudaChannelFormatKindUnsigned);
    cudaArray_t array = nullptr;
    ASSERT_EQ(cudaMallocArray(&array, &desc, 3, 2), cudaSuccess);
    EXPECT_EQ(sim::deviceBytesInUse(0), bytesBefore + 3 * 2 * 4);
    EXPECT_EQ(sim::counts().arrays, 1u);

    // Rows of 12 bytes from a source with a 16-byte pitch.
    std::vector<unsigned char> src(32);
    for (size_t i = 0; i < src.size(); ++i)
        src[i] = static_cast<unsigned char>(i);
    EXPECT_EQ(cudaMemcpy2DToArrayAsync(array, 0, 0, src.data(), 16, 12, 2,
                                       cudaMemcpyHostToDevice, nullptr),
              cudaSuccess);
    EXPECT_EQ(cudaMemcpy2DToArrayAsync(array, 4, 0, src.data(), 16, 12, 2,
                                       cudaMemcpyHostToDevice, nullptr),
              cudaErrorInvalidValue); // runs past the row

    cudaResourceDesc res{};
    res.resType = cudaResourceTypeArray;
    res.res.array.array = array;
    cudaTextureDesc tex{};
    tex.filterMode = cudaFilterModeLinear;
    cudaTextureObject_t object = 0;
    ASSERT_EQ(cudaCreateTextureObject(&object, &res, &tex, nullptr), cudaSuccess);
    EXPECT_GE(object, sim::kFirstTextureObject);
    sim::TextureInfo info{};
    ASSERT_TRUE(sim::textureInfo(object, info));
    EXPECT_EQ(info.width, 3u);
    EXPECT_EQ(info.format.y, 16);
    EXPECT_EQ(info.texture.filterMode, cudaFilterModeLinear);
    std::vector<unsigned char> expected(src.begin(), src.begin() + 12);
    expected.insert(expected.end(), src.begin() + 16, src.begin() + 28);
    EXPECT_EQ(info.image, expected);

    ASSERT_EQ(cudaSetDevice(1), cudaSuccess); // released on their own device only
    EXPECT_EQ(cudaDestroyTextureObject(object), cudaErrorInvalidResourceHandle);
    EXPECT_EQ(cudaFreeArray(array), cudaErrorInvalidResourceHandle);
    ASSERT_EQ(cudaSetDevice(0), cudaSuccess);
    EXPECT_EQ(cudaDestroyTextureObject(object), cudaSuccess);
    EXPECT_EQ(cudaDestroyTextureObject(object), cudaErrorInvalidValue);
    EXPECT_EQ(cudaFreeArray(array), cudaSuccess);
    EXPECT_EQ(cudaFreeArray(nullptr), cudaSuccess);
    cudaGetLastError();
    sim::Counts c = sim::counts();
    EXPECT_EQ(c.arrays, 0u);
    EXPECT_EQ(c.textureObjects, 0u);
    EXPECT_EQ(sim::deviceBytesInUse(0), bytesBefore);
}

} // namespace
