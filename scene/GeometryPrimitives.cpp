// Custom primitives: the intersection program, the boxes that bound each
// primitive (computed on the device before every build) and their build.

#include "Geometry.h"

#include "core/CUDABuffer.h"
#include "kernels/preprocessing_kernels.h"

T7_CHECK_LABEL(GeometryBase::kLabel);

GeometryPrimitives::GeometryPrimitives(int device, cudaStream_t stream, unsigned id,
                                       geoPrimirivesType type, unsigned material,
                                       const std::string& program)
    : GeometryBase(device, stream, id, type, material),
      m_aabb(sizeof(OptixAabb), device, stream),
      m_intersection(loadHitProgram(program, "IS program name not valid."))
{
}

GeometryPrimitives::~GeometryPrimitives()
{
    releaseOrTerminate([this] { m_aabb.free(); });
}

bool GeometryPrimitives::applyPreprocessing()
{
    makeCurrent();
    size_t n = 0;
    if (m_buffers.empty()) {
        if (m_type != geoDummy)
            return false;
        n = 1;
    } else {
        n = m_buffers.begin()->second.count();
    }
    m_data.n_primitives = unsigned(n);
    fit(m_aabb, n);
    if (n == 0)
        return true;

    // Each kind reads its own slots; one that is missing or short cannot be
    // boxed (a kernel would read past it).
    bool complete = true;
    auto slot = [&](size_t index) -> void* {
        auto found = m_buffers.find(index);
        if (found == m_buffers.end() || found->second.count() < n || !found->second.ptr()) {
            complete = false;
            return nullptr;
        }
        return reinterpret_cast<void*>(found->second.ptr());
    };
    auto* aabb = reinterpret_cast<CudaAabb*>(m_aabb.ptr());
    const unsigned count = unsigned(n);

    switch (m_type) {
    case geoParticleSet: {
        auto* centres = static_cast<const float3*>(slot(geoBufVertices));
        auto* radii = static_cast<const float*>(slot(geoBufNormalIndices));
        if (complete)
            preprocessingParticleSet(count, m_stream, aabb, centres, radii);
        break;
    }
    case geoParticleSetTex: {
        auto* centres = static_cast<const float3*>(slot(geoBufVertices));
        auto* axisA = static_cast<float3*>(slot(geoBufIndices));
        auto* axisB = static_cast<float3*>(slot(geoBufNormals));
        auto* radii = static_cast<const float*>(slot(geoBufNormalIndices));
        if (complete)
            preprocessingParticleSetTex(count, m_stream, aabb, centres, axisA, axisB, radii);
        break;
    }
    case geoBezier: {
        auto* radii = static_cast<const float2*>(slot(geoBufNormalIndices));
        auto* p0 = static_cast<const float3*>(slot(geoBufVertices));
        auto* p1 = static_cast<const float3*>(slot(geoBufNormals));
        auto* p2 = static_cast<const float3*>(slot(geoBufTexCoords));
        auto* p3 = static_cast<const float3*>(slot(geoBufTexCoordIndices));
        if (complete)
            preprocessingBezier(count, m_stream, aabb, radii, p0, p1, p2, p3);
        break;
    }
    case geoParallelograms: {
        auto* corner = static_cast<const float3*>(slot(geoBufVertices));
        auto* a = static_cast<const float3*>(slot(geoBufIndices));
        auto* b = static_cast<const float3*>(slot(geoBufNormals));
        if (complete)
            preprocessingParallelograms(count, m_stream, aabb, corner, a, b);
        break;
    }
    case geoParallelepipeds: {
        auto* corner = static_cast<const float3*>(slot(geoBufVertices));
        auto* a = static_cast<const float3*>(slot(geoBufIndices));
        auto* b = static_cast<const float3*>(slot(geoBufNormals));
        auto* c = static_cast<const float3*>(slot(geoBufNormalIndices));
        if (complete)
            preprocessingParallelepipeds(count, m_stream, aabb, corner, a, b, c);
        break;
    }
    case geoDummy: {
        const OptixAabb aabb1 = {0.0f, 0.0f, 0.0f, 0.1f, 0.1f, 0.1f};
        CUDA_CHECK(cudaMemcpyAsync( reinterpret_cast<void*>(aabb), &aabb1, sizeof(OptixAabb), cudaMemcpyHostToDevice, m_stream));
        break;
    }
    default:
        return false; // no kernel for this kind
    }
    return complete;
}

bool GeometryPrimitives::relocateAabb(const GeometryPrimitives& src)
{
    if (src.m_type != m_type)
        throw sutil::Exception("relocateAabb(): primitive types not maching.");
    size_t n = 1; // the placeholder's one box
    if (m_type != geoDummy || !src.m_buffers.empty()) {
        auto vertices = src.m_buffers.find(geoBufVertices);
        if (vertices == src.m_buffers.end())
            throw sutil::Exception("relocateAabb(): source buffer not found, should never happen.");
        n = vertices->second.count();
    }
    m_data.n_primitives = unsigned(n);
    fit(m_aabb, n);
    if (n == 0)
        return true;
    m_aabb.copyFromAsync(src.m_aabb);
    return true;
}

void GeometryPrimitives::setDisplacement(unsigned texture, cudaTextureObject_t sampler, int width,
                                         int height)
{
    m_displacement_texture = texture;
    m_data.displacement_tex = sampler;
    m_data.displacement_size = make_float2(float(width), float(height));
    m_data.displacement_inv_size = make_float2(1.0f / float(width), 1.0f / float(height));
    m_sbt_dirty = true;
}

bool GeometryPrimitives::buildMeshAccel(OptixDeviceContext_t* const& context, bool relocationInfo,
                                        bool releaseInputs)
{
    makeCurrent();
    freeAccel();
    if (m_data.n_primitives == 0)
        return true;

    const uint32_t aabb_input_flags[1] = {OPTIX_GEOMETRY_FLAG_DISABLE_ANYHIT};
    const CUdeviceptr boxes = m_aabb.ptr();
    OptixBuildInput aabb_input = {};
    aabb_input.type = OPTIX_BUILD_INPUT_TYPE_CUSTOM_PRIMITIVES;
    OptixBuildInputCustomPrimitiveArray& custom = aabb_input.customPrimitiveArray;
    custom.aabbBuffers = &boxes;
    custom.numPrimitives = m_data.n_primitives;
    custom.strideInBytes = 0; // tightly packed OptixAabb
    custom.flags = aabb_input_flags;
    custom.numSbtRecords = 1;
    auto releaseBoxes = [](GeometryBase& g) { static_cast<GeometryPrimitives&>(g).m_aabb.free(); };
    return buildAccel(context, aabb_input, relocationInfo, "   trying non-campactible build...",
                      releaseInputs ? +releaseBoxes : nullptr);
}
