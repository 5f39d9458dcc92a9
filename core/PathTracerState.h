#pragma once
// Everything a renderer instance keeps once per chosen device. A state owns
// its device objects and releases them, on its own device, when destroyed.

#include "Params.h"
#include "optix7.h"
#include "programs/Modules.h"
#include "scene/Geometry.h"
#include "scene/Material.h"
#include "scene/Texture.h"

#include <cuda_runtime.h>

#include <map>
#include <memory>

struct PathTracerState {
    PathTracerState() = default;
    ~PathTracerState();
    PathTracerState(const PathTracerState&) = delete;
    PathTracerState& operator=(const PathTracerState&) = delete;

    // The texture object of texture `id` on this device; throws `notFound`
    // (the user's own message) when the device has no such texture.
    cudaTextureObject_t sampler(unsigned id, const char* notFound) const;

    int device_idx = -1; // CUDA ordinal
    OptixDeviceContext context = nullptr;
    Modules modules;

    // Scene objects of this device, by id. Entries are built in place and
    // never moved.
    std::map<unsigned, Texture> textures;
    std::map<unsigned, Material> materials;
    std::map<unsigned, GeometryPrimitives> primitives;
    std::map<unsigned, GeometryTriangles> triangles;
    std::map<unsigned, GeometryBSplines> curves;
    // Built-in custom primitive that keeps an empty scene valid.
    std::unique_ptr<GeometryPrimitives> dummyGeometry;
    // How many geometries of each kind exist; all zero is an empty scene.
    int primitivesCount = 0;
    int trianglesCount = 0;
    int curvesCount = 0;

    // Instance acceleration structure (the scene root).
    OptixRelocationInfo ias_info = {};
    OptixTraversableHandle ias_handle = 0;
    CUdeviceptr d_ias_output_buffer = 0;
    size_t ias_buffer_size = 0;

    // Programs and pipeline.
    OptixModule camera_module = nullptr;
    OptixModule miss_module = nullptr;
    OptixPipeline pipeline = nullptr;
    OptixProgramGroup raygen_prog_group = nullptr;
    OptixProgramGroup radiance_miss_group = nullptr;
    OptixProgramGroup occlusion_miss_group = nullptr;
    OptixShaderBindingTable sbt = {};
    CUdeviceptr d_raygen_record = 0;
    CUdeviceptr d_miss_records = 0;
    CUdeviceptr d_hitgroup_records = 0;

    // Samples this device renders per pass, and where they go (see sample buffers).
    int num_samples = 0;
    CUdeviceptr d_sample_indices = 0;
    CUdeviceptr d_sample_accum = 0;
    CUdeviceptr d_albedo_accum = 0;
    CUdeviceptr d_normal_accum = 0;
    CUdeviceptr d_sample_l2 = 0;
    // Set only when the matching buffer lives in mapped host memory.
    void* h_sample_indices = nullptr;
    void* h_sample_accum = nullptr;
    void* h_albedo_accum = nullptr;
    void* h_normal_accum = nullptr;
    void* h_sample_l2 = nullptr;

    // Textures used by the current camera.
    unsigned camera_texture0 = 0;
    unsigned camera_texture1 = 0;

    Params params = {};
    CUdeviceptr d_params = 0;
    cudaStream_t stream = nullptr;
};
