// The scene's structures on each device: one geometry structure per geometry,
// built on the primary device and relocated to the others where they are
// compatible, and one level of instances above them.

#include "core/PathTracer.h"

#include "core/CUDABuffer.h"
#include "core/DeviceMemory.h"

#include <cstring>
#include <string>

T7_CHECK_LABEL(PathTracer::kLabel);

void PathTracer::syncAllDevices()
{
    forEachState([](PathTracerState& state) {
        makeCurrent(state);
        CUDA_SYNC_CHECK();
    });
}

bool PathTracer::buildGeometry(GeometryBase& geometry, OptixDeviceContext context,
                               bool relocatable)
{
    const std::string name = "Geometry " + std::to_string(geometry.id()) + " (kind " +
                              std::to_string(unsigned(geometry.type())) + "): ";
    if (auto* primitives = dynamic_cast<GeometryPrimitives*>(&geometry))
        if (!primitives->applyPreprocessing())
            return compileFailed(name + "a slot its bounding boxes are computed from is missing "
                                        "or holds fewer elements than slot 0.");
    if (!geometry.buildMeshAccel(context, relocatable, true))
        return compileFailed(name + "its acceleration structure could not be allocated.");
    return true;
}

bool PathTracer::buildGAS(PathTracerState& state, bool relocatable)
{
    auto count = [](const auto& map) {
        int n = 0;
        for (const auto& entry : map)
            n += entry.second.primitiveCount() != 0;
        return n;
    };
    state.primitivesCount = count(state.primitives);
    state.trianglesCount = count(state.triangles);
    state.curvesCount = count(state.curves);

    bool built = true;
    auto build = [&](GeometryBase& g) {
        if (!g.m_accel_dirty)
            return;
        built = buildGeometry(g, state.context, relocatable) && built;
        m_ias_dirty = true;
    };
    for (auto& entry : state.primitives)
        build(entry.second);
    for (auto& entry : state.triangles)
        build(entry.second);
    for (auto& entry : state.curves)
        build(entry.second);
    if (state.primitivesCount + state.trianglesCount + state.curvesCount == 0)
        build(*state.dummyGeometry);
    return built;
}

bool PathTracer::relocateGAS(const PathTracerState& src, PathTracerState& dst, bool& relocated)
{
    makeCurrent(dst);
    CUDA_SYNC_CHECK();
    bool built = true;
    auto relocate = [&](GeometryBase& g, const GeometryBase* from) {
        if (!g.m_accel_dirty)
            return true;
        if (!from)
            return false;
        if (!g.relocateMeshAccel(*from, dst.context)) {
            built = buildGeometry(g, dst.context, false) && built;
            relocated = false;
        }
        m_ias_dirty = true; // dst's handles changed
        return true;
    };
    auto walk = [&](auto& map, const auto& sources) {
        for (auto& entry : map) {
            if (!entry.second.primitiveCount())
                continue;
            auto from = sources.find(entry.first);
            if (!relocate(entry.second, from == sources.end() ? nullptr : &from->second))
                return false;
        }
        return true;
    };
    if (!walk(dst.primitives, src.primitives) || !walk(dst.triangles, src.triangles) ||
        !walk(dst.curves, src.curves))
        return false;
    if (sceneGeometries(dst).front() == dst.dummyGeometry.get() &&
        !relocate(*dst.dummyGeometry, src.dummyGeometry.get()))
        return false;
    return built;
}

std::vector<OptixTraversableHandle> PathTracer::instanceHandles(PathTracerState& state)
{
    std::vector<OptixTraversableHandle> handles;
    for (const GeometryBase* g : sceneGeometries(state))
        handles.push_back(g->gasHandle());
    return handles;
}

void PathTracer::buildIAS(PathTracerState& state, bool relocatable)
{
    makeCurrent(state);
    CUDA_CHECK(cudaFree(reinterpret_cast<void*>(state.d_ias_output_buffer)));
    state.d_ias_output_buffer = 0;
    state.ias_buffer_size = 0;

    // One instance per geometry with primitives, or the placeholder's.
    const std::vector<GeometryBase*> geometries = sceneGeometries(state);
    std::vector<OptixInstance> optix_instances(geometries.size());
    for (size_t k = 0; k < optix_instances.size(); ++k) {
        const GeometryBase& g = *geometries[k];
        OptixInstance& instance = optix_instances[k];
        std::memcpy(instance.transform, g.transform(), sizeof(instance.transform));
        instance.instanceId = g.id(); // the placeholder's is 0
        instance.sbtOffset = unsigned(2 * k); // records 2k and 2k + 1
        instance.visibilityMask = 1;
        instance.flags = OPTIX_INSTANCE_FLAG_NONE;
        instance.traversableHandle = g.gasHandle();
    }
    const size_t instances_size_in_bytes = sizeof(OptixInstance) * optix_instances.size();
    DeviceBlock instances(state.device_idx);
    CUdeviceptr& d_instances = instances.ptr();
    CUDA_CHECK(cudaMalloc(reinterpret_cast<void**>(&d_instances), instances_size_in_bytes));
    CUDA_CHECK(cudaMemcpy( reinterpret_cast<void*>(d_instances), optix_instances.data(), instances_size_in_bytes, cudaMemcpyHostToDevice ));

    OptixBuildInput instance_input = {};
    instance_input.type = OPTIX_BUILD_INPUT_TYPE_INSTANCES;
    instance_input.instanceArray.instances = d_instances;
    instance_input.instanceArray.numInstances = unsigned(optix_instances.size());
    // Always built anew: no compaction, no update.
    OptixAccelBuildOptions accel_options = {};
    accel_options.buildFlags = OPTIX_BUILD_FLAG_NONE;
    accel_options.operation = OPTIX_BUILD_OPERATION_BUILD;
    OptixAccelBufferSizes ias_buffer_sizes;
    OPTIX_CHECK(optixAccelComputeMemoryUsage( state.context, &accel_options, &instance_input, 1, &ias_buffer_sizes ));
    DeviceBlock temp(state.device_idx);
    CUdeviceptr& d_temp_buffer = temp.ptr();
    CUDA_CHECK(cudaMalloc(reinterpret_cast<void**>(&d_temp_buffer), ias_buffer_sizes.tempSizeInBytes));
    CUDA_CHECK(cudaMalloc(reinterpret_cast<void**>(&state.d_ias_output_buffer), ias_buffer_sizes.outputSizeInBytes));
    state.ias_buffer_size = ias_buffer_sizes.outputSizeInBytes;
    OPTIX_CHECK(optixAccelBuild(state.context, state.stream, &accel_options, &instance_input, 1, d_temp_buffer, ias_buffer_sizes.tempSizeInBytes, state.d_ias_output_buffer, ias_buffer_sizes.outputSizeInBytes, &state.ias_handle, nullptr, 0));
    CUDA_SYNC_CHECK();
    // Each block is handed over only once its free succeeded: one that fails
    // stays owned, and is released when the block goes.
    CUDA_CHECK(cudaFree(reinterpret_cast<void*>(d_temp_buffer)));
    temp.release();
    CUDA_CHECK(cudaFree(reinterpret_cast<void*>(d_instances)));
    instances.release();
    // Only relocation needs the information, and only with several devices.
    if (relocatable)
        OPTIX_CHECK(optixAccelGetRelocationInfo(state.context, state.ias_handle, &state.ias_info));
}

bool PathTracer::relocateIAS(const PathTracerState& srcState, PathTracerState& dstState)
{
    syncAllDevices();
    makeCurrent(dstState);
    // Checked on the structure itself: when no geometry was copied in this
    // compilation, nothing has shown yet that the two devices are compatible.
    OptixRelocationInfo info = srcState.ias_info;
    int compatible = 0;
    OPTIX_CHECK(optixCheckRelocationCompatibility(dstState.context, &info, &compatible));
    if (!compatible)
        return false;
    CUDA_CHECK(cudaFree(reinterpret_cast<void*>(dstState.d_ias_output_buffer)));
    dstState.d_ias_output_buffer = 0;
    CUDA_CHECK(cudaMalloc(reinterpret_cast<void**>(&dstState.d_ias_output_buffer), srcState.ias_buffer_size));
    dstState.ias_buffer_size = srcState.ias_buffer_size;
    CUDA_CHECK(cudaMemcpyAsync( reinterpret_cast<void*>(dstState.d_ias_output_buffer), reinterpret_cast<void*>(srcState.d_ias_output_buffer), srcState.ias_buffer_size, cudaMemcpyDeviceToDevice, dstState.stream ));

    // The instances stay the primary's; only the handles become this device's.
    const std::vector<OptixTraversableHandle> instance_handles = instanceHandles(dstState);
    DeviceBlock handles(dstState.device_idx);
    CUdeviceptr& d_instance_trav_handles = handles.ptr();
    CUDA_CHECK(cudaMalloc( reinterpret_cast<void**>(&d_instance_trav_handles), sizeof(OptixTraversableHandle) * instance_handles.size() ));
    CUDA_CHECK(cudaMemcpyAsync( reinterpret_cast<void*>(d_instance_trav_handles), instance_handles.data(), sizeof(OptixTraversableHandle) * instance_handles.size(), cudaMemcpyHostToDevice, dstState.stream ));
    OptixRelocateInput relocInput = {};
    relocInput.type = OPTIX_BUILD_INPUT_TYPE_INSTANCES;
    relocInput.instanceArray.numInstances = unsigned(instance_handles.size());
    relocInput.instanceArray.traversableHandles = d_instance_trav_handles;
    OPTIX_CHECK(optixAccelRelocate( dstState.context, dstState.stream, &srcState.ias_info, &relocInput, 1, dstState.d_ias_output_buffer, dstState.ias_buffer_size, &dstState.ias_handle ));
    CUDA_SYNC_CHECK();
    CUDA_CHECK(cudaFree(reinterpret_cast<void*>(d_instance_trav_handles)));
    handles.release();
    return true;
}
