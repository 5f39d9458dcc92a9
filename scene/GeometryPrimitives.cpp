// Custom primitives: the intersection program, the boxes that bound each
// primitive (computed on the device before every build) and their build.

#include "Geometry.h"

#include "core/CUDABuffer.h"
#include "kernels/preprocessing_kernels.h"

T7_CHECK_LABEL(GeometryBase::kLabel);

namespace {

// Slot `index` as an array of n elements of T, or null (clearing `complete`)
// when it is missing or holds fewer bytes: a kernel would read past it.
template <typename T>
T* slotArray(const std::map<size_t, CuBuffer>& buffers, size_t index, size_t n, bool& complete)
{
    auto found = buffers.find(index);
    if (found == buffers.end() || !found->second.ptr() ||
        found->second.count() * found->second.elsize() < n * sizeof(T)) {
        complete = false;
        return nullptr;
    }
    return reinterpret_cast<T*>(found->second.ptr());
}

} // namespace

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

    // Each kind reads its own slots; see slotArray.
    bool complete = true;
    auto* aabb = reinterpret_cast<CudaAabb*>(m_aabb.ptr());
    const unsigned count = unsigned(n);

    switch (m_type) {
    case geoParticleSet: {
        auto* centres = slotArray<const float3>(m_buffers, geoBufVertices, n, complete);
        auto* radii = slotArray<const float>(m_buffers, geoBufNormalIndices, n, complete);
        if (complete)
            preprocessingParticleSet(count, m_stream, aabb, centres, radii);
        break;
    }
    case geoParticleSetTex: {
        auto* centres = slotArray<const float3>(m_buffers, geoBufVertices, n, complete);
        auto* axisA = slotArray<float3>(m_buffers, geoBufIndices, n, complete);
        auto* axisB = slotArray<float3>(m_buffers, geoBufNormals, n, complete);
        auto* radii = slotArray<const float>(m_buffers, geoBufNormalIndices, n, complete);
        if (complete)
            preprocessingParticleSetTex(count, m_stream, aabb, centres, axisA, axisB, radii);
        break;
    }
    case geoBezier: {
        auto* radii = slotArray<const float2>(m_buffers, geoBufNormalIndices, n, complete);
        auto* p0 = slotArray<const float3>(m_buffers, geoBufVertices, n, complete);
        auto* p1 = slotArray<const float3>(m_buffers, geoBufNormals, n, complete);
        auto* p2 = slotArray<const float3>(m_buffers, geoBufTexCoords, n, complete);
        auto* p3 = slotArray<const float3>(m_buffers, geoBufTexCoordIndices, n, complete);
        if (complete)
            preprocessingBezier(count, m_stream, aabb, radii, p0, p1, p2, p3);
        break;
    }
    case geoParallelograms: {
        auto* corner = slotArray<const float3>(m_buffers, geoBufVertices, n, complete);
        auto* a = slotArray<const float3>(m_buffers, geoBufIndices, n, complete);
        auto* b = slotArray<const float3>(m_buffers, geoBufNormals, n, complete);
        if (complete)
            preprocessingParallelograms(count, m_stream, aabb, corner, a, b);
        break;
    }
    case geoParallelepipeds: {
        auto* corner = slotArray<const float3>(m_buffers, geoBufVertices, n, complete);
        auto* a = slotArray<const float3>(m_buffers, geoBufIndices, n, complete);
        auto* b = slotArray<const float3>(m_buffers, geoBufNormals, n, complete);
        auto* c = slotArray<const float3>(m_buffers, geoBufNormalIndices, n, complete);
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

bool GeometryPrimitives::hasBoxes(geoPrimirivesType type)
{
    switch (type) {
    case geoParticleSet:
    case geoParticleSetTex:
    case geoBezier:
    case geoParallelograms:
    case geoParallelepipeds:
    case geoDummy:
        return true;
    default:
        return false;
    }
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
