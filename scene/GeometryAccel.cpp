// Geometry acceleration structures: one build input per geometry, always
// compacted when that saves memory. When device memory runs short the build
// scratch moves to mapped host memory, then the build drops compaction, and at
// last it gives up for this frame (the geometry stays dirty and is tried again).

#include "Geometry.h"

#include "core/CUDABuffer.h"
#include "core/DeviceMemory.h"

T7_CHECK_LABEL("Geometry.cpp");

namespace {

size_t roundUp8(size_t bytes) { return (bytes + 7) / 8 * 8; }

} // namespace

// The input keeps the triangle build's name: the three kinds share this path,
// and its messages quote the triangle build's calls.
bool GeometryBase::buildAccel(OptixDeviceContext context, const OptixBuildInput& triangle_input,
                              bool relocationInfo, const char* nonCompactible,
                              void (*inputsConsumed)(GeometryBase&))
{
    OptixAccelBuildOptions accel_options = {};
    accel_options.buildFlags = OPTIX_BUILD_FLAG_ALLOW_COMPACTION | OPTIX_BUILD_FLAG_PREFER_FAST_TRACE;
    accel_options.operation = OPTIX_BUILD_OPERATION_BUILD;

    OptixAccelBufferSizes gas_buffer_sizes;
    OPTIX_CHECK(optixAccelComputeMemoryUsage(context, &accel_options, &triangle_input, 1, &gas_buffer_sizes));

    // The structure, followed by one word for the emitted compacted size.
    const size_t compactedSizeOffset = roundUp8(gas_buffer_sizes.outputSizeInBytes);
    DeviceBlock output(m_device_idx);
    CUdeviceptr& d_buffer_temp_output_gas_and_compacted_size = output.ptr();
    cudaError_t error = output.alloc(compactedSizeOffset + 8);
    if (error != cudaSuccess)
        return reportAllocationFailure({"Acceleration structure allocation failed: ",
                                        "   requested output buffer size: ", "   aborting."},
                                       error, gas_buffer_sizes.outputSizeInBytes) != cudaSuccess;

    OptixAccelEmitDesc emitProperty = {};
    emitProperty.type = OPTIX_PROPERTY_TYPE_COMPACTED_SIZE;
    emitProperty.result = d_buffer_temp_output_gas_and_compacted_size + compactedSizeOffset;

    // What every successful path ends with.
    auto built = [&](CUdeviceptr structure, size_t bytes) {
        m_gas_output_buffer = structure;
        m_gas_buffer_size = bytes;
        if (relocationInfo)
            OPTIX_CHECK(optixAccelGetRelocationInfo(context, m_gas_handle, &m_gas_info));
        m_accel_dirty = false;
        return true;
    };

    DeviceBlock temp(m_device_idx);
    MappedHostBlock host;
    error = allocDeviceOrMapped(gas_buffer_sizes.tempSizeInBytes, temp, host,
                                {"Acceleration structure allocation failed on GPU: ",
                                 "   requested temp buffer size: ", "   trying allocate on host..."});
    CUdeviceptr d_temp_buffer_gas = temp.get();
    void* h_temp_buffer_gas = host.get();
    if (error == cudaSuccess && !h_temp_buffer_gas) {
        OPTIX_CHECK(optixAccelBuild(context, m_stream, &accel_options, &triangle_input, 1, d_temp_buffer_gas, gas_buffer_sizes.tempSizeInBytes, d_buffer_temp_output_gas_and_compacted_size, gas_buffer_sizes.outputSizeInBytes, &m_gas_handle, &emitProperty, 1 ));
        // Blocks are handed over only once their free succeeded.
        CUDA_CHECK(cudaFree(reinterpret_cast<void*>(d_temp_buffer_gas)));
        temp.release();
    } else if (error == cudaSuccess) {
        CUDA_CHECK(cudaHostGetDevicePointer( reinterpret_cast<void**>(&d_temp_buffer_gas), reinterpret_cast<void*>(h_temp_buffer_gas), 0 ));
        OPTIX_CHECK(optixAccelBuild(context, m_stream, &accel_options, &triangle_input, 1, d_temp_buffer_gas, gas_buffer_sizes.tempSizeInBytes, d_buffer_temp_output_gas_and_compacted_size, gas_buffer_sizes.outputSizeInBytes, &m_gas_handle, &emitProperty, 1 ));
        CUDA_CHECK(cudaFreeHost(h_temp_buffer_gas));
        host.release();
    } else {
        reportAllocationFailure({"Acceleration structure allocation failed on host: ",
                                 "   requested temp buffer size: ", nonCompactible},
                                error, gas_buffer_sizes.tempSizeInBytes);

        // Last resort: no compaction, which needs less scratch.
        accel_options.buildFlags = OPTIX_BUILD_FLAG_PREFER_FAST_TRACE;
        OPTIX_CHECK(optixAccelComputeMemoryUsage(context, &accel_options, &triangle_input, 1, &gas_buffer_sizes));
        error = host.alloc(gas_buffer_sizes.tempSizeInBytes);
        if (error != cudaSuccess)
            return reportAllocationFailure({"Acceleration structure allocation failed: ",
                                            "   requested temp buffer size: ", "   aborting."},
                                           error, gas_buffer_sizes.tempSizeInBytes) != cudaSuccess;
        // The output block was sized for the compacting build.
        if (gas_buffer_sizes.outputSizeInBytes > compactedSizeOffset + 8) {
            CUDA_CHECK(cudaFree(reinterpret_cast<void*>(d_buffer_temp_output_gas_and_compacted_size)));
            output.release();
            CUDA_CHECK(cudaMalloc(reinterpret_cast<void**>(&d_buffer_temp_output_gas_and_compacted_size), gas_buffer_sizes.outputSizeInBytes));
        }
        h_temp_buffer_gas = host.get();
        CUDA_CHECK(cudaHostGetDevicePointer( reinterpret_cast<void**>(&d_temp_buffer_gas), reinterpret_cast<void*>(h_temp_buffer_gas), 0 ));
        OPTIX_CHECK(optixAccelBuild(context, m_stream, &accel_options, &triangle_input, 1, d_temp_buffer_gas, gas_buffer_sizes.tempSizeInBytes, d_buffer_temp_output_gas_and_compacted_size, gas_buffer_sizes.outputSizeInBytes, &m_gas_handle, nullptr, 0 ));
        CUDA_CHECK(cudaFreeHost(h_temp_buffer_gas));
        host.release();
        return built(output.release(), gas_buffer_sizes.outputSizeInBytes);
    }

    if (inputsConsumed)
        inputsConsumed(*this);

    size_t compacted_gas_size = 0;
    CUDA_CHECK(cudaMemcpy(&compacted_gas_size, (void*)emitProperty.result, sizeof(size_t), cudaMemcpyDeviceToHost));
    if (compacted_gas_size >= gas_buffer_sizes.outputSizeInBytes)
        return built(output.release(), gas_buffer_sizes.outputSizeInBytes);
    DeviceBlock compacted(m_device_idx);
    error = compacted.alloc(compacted_gas_size);
    if (error != cudaSuccess) {
        reportAllocationFailure({"Acceleration structure allocation failed: ",
                                 "   requested compacted buffer size: ",
                                 "   using non-compacted structure..."},
                                error, compacted_gas_size);
        return built(output.release(), gas_buffer_sizes.outputSizeInBytes);
    }
    m_gas_output_buffer = compacted.release();
    // On the default stream: it waits for the build on m_stream.
    OPTIX_CHECK(optixAccelCompact(context, 0, m_gas_handle, m_gas_output_buffer, compacted_gas_size, &m_gas_handle));
    CUDA_CHECK(cudaFree(reinterpret_cast<void*>(d_buffer_temp_output_gas_and_compacted_size)));
    output.release();
    return built(m_gas_output_buffer, compacted_gas_size);
}

bool GeometryTriangles::buildMeshAccel(OptixDeviceContext_t* const& context, bool relocationInfo,
                                       bool /*releaseInputs*/)
{
    makeCurrent();
    freeAccel();
    if (m_data.n_primitives == 0)
        return true;

    const uint32_t triangle_input_flags[1] = {OPTIX_GEOMETRY_FLAG_DISABLE_ANYHIT};
    auto indices = m_buffers.find(geoBufIndices);
    OptixBuildInput triangle_input = {};
    triangle_input.type = OPTIX_BUILD_INPUT_TYPE_TRIANGLES;
    OptixBuildInputTriangleArray& triangles = triangle_input.triangleArray;
    const CUdeviceptr vertices = m_data.buffers[geoBufVertices];
    triangles.vertexFormat = OPTIX_VERTEX_FORMAT_FLOAT3;
    triangles.vertexStrideInBytes = sizeof(float3);
    triangles.numVertices = m_data.n_primitives;
    triangles.vertexBuffers = &vertices;
    triangles.indexFormat = OPTIX_INDICES_FORMAT_UNSIGNED_INT3;
    triangles.indexStrideInBytes = sizeof(uint3);
    triangles.numIndexTriplets =
        indices != m_buffers.end() ? unsigned(indices->second.count()) : 0;
    triangles.indexBuffer = indices != m_buffers.end() ? indices->second.ptr() : 0;
    triangles.flags = triangle_input_flags;
    triangles.numSbtRecords = 1;
    return buildAccel(context, triangle_input, relocationInfo, "   trying non-compactible build...",
                      nullptr);
}

bool GeometryBSplines::buildMeshAccel(OptixDeviceContext_t* const& context, bool relocationInfo,
                                      bool /*releaseInputs*/)
{
    makeCurrent();
    freeAccel();
    if (m_data.n_primitives == 0)
        return true;

    OptixPrimitiveType curveType;
    switch (m_type) {
    case geoBSplineQuadratic:
        curveType = OPTIX_PRIMITIVE_TYPE_ROUND_QUADRATIC_BSPLINE;
        break;
    case geoBSplineCubic:
        curveType = OPTIX_PRIMITIVE_TYPE_ROUND_CUBIC_BSPLINE;
        break;
    case geoBSplineCatmullRom:
        curveType = OPTIX_PRIMITIVE_TYPE_ROUND_CATMULLROM;
        break;
    default: // geoBSplineLinear, geoBSplineLinear2
        curveType = OPTIX_PRIMITIVE_TYPE_ROUND_LINEAR;
        break;
    }

    auto indices = m_buffers.find(geoBufIndices);
    const size_t segments = indices != m_buffers.end() ? indices->second.count() : 0;
    // Without segments no vertex is read.
    const CUdeviceptr vertices = segments ? m_data.buffers[geoBufVertices] : 0;
    const CUdeviceptr widths = m_data.buffers[geoBufNormalIndices];

    OptixBuildInput curve_input = {};
    curve_input.type = OPTIX_BUILD_INPUT_TYPE_CURVES;
    OptixBuildInputCurveArray& curves = curve_input.curveArray;
    curves.curveType = curveType;
    curves.numPrimitives = unsigned(segments);
    curves.vertexBuffers = &vertices;
    curves.numVertices = m_data.n_primitives;
    curves.vertexStrideInBytes = sizeof(float3);
    curves.widthBuffers = &widths;
    curves.widthStrideInBytes = sizeof(float);
    curves.normalBuffers = nullptr;
    curves.normalStrideInBytes = 0;
    curves.indexBuffer = segments ? indices->second.ptr() : 0;
    curves.indexStrideInBytes = sizeof(unsigned);
    curves.flag = OPTIX_GEOMETRY_FLAG_DISABLE_ANYHIT;
    curves.primitiveIndexOffset = 0;
    return buildAccel(context, curve_input, relocationInfo, "   trying non-campactible build...",
                      nullptr);
}

bool GeometryBase::relocateMeshAccel(const GeometryBase& srcGeom,
                                     OptixDeviceContext_t* const& dstContext)
{
    makeCurrent();
    OptixRelocationInfo gi = srcGeom.m_gas_info;
    int compatible = 0;
    OPTIX_CHECK(optixCheckRelocationCompatibility(dstContext, &gi, &compatible));
    if (!compatible)
        return false; // the caller builds on this device instead

    freeAccel();
    // A copy has its source's primitives (the placeholder counts its box only
    // where the box was computed).
    m_data.n_primitives = srcGeom.m_data.n_primitives;
    if (m_data.n_primitives == 0)
        return true;
    const size_t bytes = roundUp8(srcGeom.m_gas_buffer_size);
    cudaError_t error = cudaMalloc(reinterpret_cast<void**>(&m_gas_output_buffer), bytes);
    if (error != cudaSuccess) {
        m_gas_output_buffer = 0;
        reportAllocationFailure({"Acceleration structure allocation failed: ",
                                 "   requested GAS buffer size: ", nullptr},
                                error, bytes);
        return false;
    }
    m_gas_buffer_size = srcGeom.m_gas_buffer_size;
    CUDA_CHECK(cudaMemcpyAsync(reinterpret_cast<void*>(m_gas_output_buffer), reinterpret_cast<const void*>(srcGeom.m_gas_output_buffer), m_gas_buffer_size, cudaMemcpyDeviceToDevice, m_stream));
    OPTIX_CHECK(optixAccelRelocate( dstContext, m_stream, &gi, 0, 0, m_gas_output_buffer, m_gas_buffer_size, &m_gas_handle ));
    m_accel_dirty = false;
    return true;
}
