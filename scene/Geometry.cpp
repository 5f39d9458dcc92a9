// Geometry objects and their buffer slots.

#include "Geometry.h"

#include "core/Assert.h"
#include "core/CUDABuffer.h"

#include <iostream>

T7_CHECK_LABEL(GeometryBase::kLabel);

bool shouldMarcAccelDirty(geoPrimirivesType type, geoBufferIndicex slot)
{
    if (slot == geoBufVertices)
        return true;
    switch (type) {
    case geoParticleSet:
    case geoParticleSetTex:
        return slot == geoBufNormalIndices;
    case geoBezier:
        return slot == geoBufNormals || slot == geoBufTexCoords || slot == geoBufTexCoordIndices;
    case geoParallelograms:
        return slot == geoBufIndices || slot == geoBufNormals;
    case geoParallelepipeds:
    case geoParallelepipeds2:
        return slot == geoBufIndices || slot == geoBufNormals || slot == geoBufNormalIndices;
    case geoPrimitives10:
        return slot == geoBufIndices;
    case geoBSplineLinear:
    case geoBSplineQuadratic:
    case geoBSplineCubic:
    case geoBSplineLinear2:
    case geoBSplineCatmullRom:
        return slot == geoBufIndices || slot == geoBufNormalIndices;
    default:
        return false;
    }
}

GeometryBase::GeometryBase(int device, cudaStream_t stream, unsigned id, geoPrimirivesType type,
                           unsigned material)
    : DeviceBound(kLabel, device, stream), m_accel_dirty(true), m_sbt_dirty(true), m_type(type),
      m_material_id(material)
{
    m_data.geometry_id = id;
    m_data.type = type;
}

void GeometryBase::releaseOrTerminate(const std::function<void()>& release) noexcept
{
    // A geometry that cannot be released ends the process, with the message.
    try {
        release();
    } catch (const std::exception& e) {
        std::cout << e.what() << std::endl;
        std::terminate();
    }
}

GeometryBase::~GeometryBase()
{
    if (m_device_idx < 0)
        return;
    releaseOrTerminate([this] {
        makeCurrent();
        freeAccel();
        destroyGroups();
        for (auto& slot : m_buffers)
            slot.second.free();
        m_buffers.clear();
    });
}

void GeometryBase::streamSync() const
{
    makeCurrent();
    CUDA_CHECK(cudaStreamSynchronize(m_stream));
}

void GeometryBase::freeAccel()
{
    if (m_gas_output_buffer) {
        CUDA_CHECK(cudaFree(reinterpret_cast<void*>(m_gas_output_buffer)));
        m_gas_output_buffer = 0;
        m_gas_buffer_size = 0;
    }
}

void GeometryBase::destroyGroups()
{
    if (m_radiance_hit_group) {
        OPTIX_CHECK(optixProgramGroupDestroy(m_radiance_hit_group));
        m_radiance_hit_group = nullptr;
    }
    if (m_occlusion_hit_group) {
        OPTIX_CHECK(optixProgramGroupDestroy(m_occlusion_hit_group));
        m_occlusion_hit_group = nullptr;
    }
}

void GeometryBase::fit(CuBuffer& buffer, size_t count)
{
    // Growing past the current count always reallocates, even where an
    // earlier, larger allocation was only shrunk.
    if (count > buffer.count())
        buffer.alloc(count);
    else
        buffer.setCount(count);
}

void GeometryBase::recordSlot(size_t buf_idx, const CuBuffer& buffer)
{
    if (buf_idx == geoBufVertices) {
        m_sbt_dirty = m_data.n_primitives != buffer.count();
        m_data.n_primitives = unsigned(buffer.count());
    }
    if (m_data.buffers[buf_idx] != buffer.ptr()) {
        m_data.buffers[buf_idx] = buffer.ptr();
        m_sbt_dirty = true;
    }
}

void GeometryBase::fitRecorded(size_t buf_idx, CuBuffer& buffer, size_t count)
{
    try {
        fit(buffer, count);
    } catch (...) {
        recordSlot(buf_idx, buffer); // a failed allocation left nothing
        throw;
    }
    recordSlot(buf_idx, buffer);
}

bool GeometryBase::createBuffer(size_t buf_idx, size_t count, size_t elsize)
{
    T7_ASSERT(buf_idx < nGeoBuffers);
    auto slot = m_buffers.find(buf_idx);
    if (slot == m_buffers.end())
        slot = m_buffers.emplace(buf_idx, CuBuffer(elsize, m_device_idx, m_stream)).first;
    else if (slot->second.elsize() != elsize)
        return false;
    fitRecorded(buf_idx, slot->second, count);
    m_sbt_dirty = true;
    return true;
}

bool GeometryBase::resizeBuffer(size_t buf_idx, size_t count)
{
    T7_ASSERT(buf_idx < nGeoBuffers);
    auto slot = m_buffers.find(buf_idx);
    if (slot == m_buffers.end())
        return false;
    fitRecorded(buf_idx, slot->second, count);
    return true;
}

bool GeometryBase::upload(size_t buf_idx, const void* data, size_t count, bool async)
{
    T7_ASSERT(buf_idx < nGeoBuffers);
    auto slot = m_buffers.find(buf_idx);
    if (slot == m_buffers.end())
        return false;
    if (count == 0)
        return true; // nothing to upload: the slot stays as it is
    CuBuffer& buffer = slot->second;
    // A slot whose allocation or copy failed holds nothing: the geometry then
    // leaves the scene (slot 0) rather than being traced over stale data.
    fitRecorded(buf_idx, buffer, count);
    try {
        if (async)
            buffer.uploadAsync(data);
        else
            buffer.upload(data);
    } catch (...) {
        buffer.setCount(0);
        recordSlot(buf_idx, buffer);
        throw;
    }
    return true;
}

bool GeometryBase::uploadBuffer(size_t buf_idx, const void* data, size_t count)
{
    return upload(buf_idx, data, count, false);
}

bool GeometryBase::uploadBufferAsync(size_t buf_idx, const void* data, size_t count)
{
    return upload(buf_idx, data, count, true);
}

bool GeometryBase::downloadBuffer(size_t buf_idx, void* data, size_t n_primitives) const
{
    T7_ASSERT(buf_idx < nGeoBuffers);
    auto search = m_buffers.find(buf_idx);
    if (search == m_buffers.end())
        return false;
    T7_ASSERT(n_primitives == search->second.count());
    streamSync();
    search->second.download(data);
    return true;
}

bool GeometryBase::freeBuffer(size_t buf_idx)
{
    T7_ASSERT(buf_idx < nGeoBuffers);
    auto slot = m_buffers.find(buf_idx);
    if (slot == m_buffers.end())
        return false;
    streamSync();
    slot->second.free();
    if (buf_idx == geoBufVertices) {
        m_sbt_dirty = m_data.n_primitives != 0;
        m_data.n_primitives = 0;
    }
    return true;
}

void GeometryBase::setConstColor(const float3& color)
{
    float3& c = m_data.const_color;
    if (c.x != color.x || c.y != color.y || c.z != color.z) {
        c = color;
        m_sbt_dirty = true;
    }
}

void GeometryBase::setMaterial(unsigned material)
{
    m_sbt_dirty = material != m_material_id;
    m_material_switched |= m_sbt_dirty;
    m_material_id = material;
}
