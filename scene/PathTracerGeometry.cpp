// Geometry of a renderer instance: one copy per device under a process-wide
// id; every operation runs device after device.

#include "core/PathTracer.h"

#include "core/CUDABuffer.h"

#include <tuple>

T7_CHECK_LABEL(PathTracer::kLabel);

unsigned PathTracer::_geometryCount = 0;

namespace {

template <typename Geometry> Geometry* findIn(std::map<unsigned, Geometry>& map, unsigned id)
{
    auto found = map.find(id);
    return found == map.end() ? nullptr : &found->second;
}

} // namespace

GeometryBase* PathTracer::findGeometry(PathTracerState& state, unsigned id, bool trianglesFirst)
{
    GeometryBase* triangles = findIn(state.triangles, id);
    if (trianglesFirst && triangles)
        return triangles;
    if (GeometryBase* g = findIn(state.primitives, id))
        return g;
    return triangles ? triangles : findIn(state.curves, id);
}

void PathTracer::noteGeometryChange(const GeometryBase& geometry, unsigned primitivesBefore)
{
    m_sbt_dirty |= geometry.m_sbt_dirty;
    // A geometry with primitives joins the pipeline and the instances; one
    // without leaves them.
    if ((primitivesBefore == 0) != (geometry.primitiveCount() == 0))
        m_hit_dirty = m_pipeline_dirty = m_sbt_dirty = m_ias_dirty = true;
}

template <typename Change> void PathTracer::changeGeometry(GeometryBase& geometry, Change&& change)
{
    const unsigned before = geometry.primitiveCount();
    try {
        change();
    } catch (...) {
        noteGeometryChange(geometry, before); // a failed upload may have emptied a slot
        throw;
    }
    noteGeometryChange(geometry, before);
}

// A new id, and on every device a geometry of that kind with empty slots.
template <typename Geometry, typename... Extra>
unsigned PathTracer::addGeometry(std::map<unsigned, Geometry> PathTracerState::*kind,
                                 geoPrimirivesType type, const SlotMap& slots, unsigned material,
                                 const Extra&... extra)
{
    const unsigned id = ++_geometryCount; // consumed even when set-up fails
    addOnEveryState(kind, id, [&](PathTracerState& state, std::map<unsigned, Geometry>& map) {
        if (!state.materials.count(material))
            throw sutil::Exception("Material not found.");
        Geometry& g = map.emplace(std::piecewise_construct, std::forward_as_tuple(id),
                                  std::forward_as_tuple(state.device_idx, state.stream, id, type,
                                                        material, extra...))
                          .first->second;
        for (const auto& slot : slots)
            g.createBuffer(slot.first, 0, slot.second);
    });
    m_accumFrames = 0;
    m_hit_dirty = m_pipeline_dirty = m_sbt_dirty = true;
    return id;
}

unsigned PathTracer::setupTrianglesGeometry(geoPrimirivesType type, const SlotMap& slots,
                                            unsigned material)
{
    return addGeometry(&PathTracerState::triangles, type, slots, material);
}

unsigned PathTracer::setupBSplinesGeometry(geoPrimirivesType type, const SlotMap& slots,
                                           unsigned material)
{
    return addGeometry(&PathTracerState::curves, type, slots, material);
}

unsigned PathTracer::setupPrimitivesGeometry(geoPrimirivesType type, const std::string& program,
                                             const SlotMap& slots, unsigned material)
{
    // A kind without boxes could never be built: refused before it takes an id.
    if (!GeometryPrimitives::hasBoxes(type))
        throw sutil::Exception(("Custom primitives of kind " + std::to_string(unsigned(type)) +
                                " have no bounding boxes: the kinds are 1, 4, 5, 7, 8 and 127.")
                                   .c_str());
    return addGeometry(&PathTracerState::primitives, type, slots, material, program);
}

bool PathTracer::uploadGeometryMeshFaces(unsigned id, const float3* v, size_t nv, const uint3* f,
                                         size_t nf)
{
    const bool found = forEachState([&](PathTracerState& state) {
        GeometryTriangles* g = findIn(state.triangles, id);
        if (!g)
            return false;
        changeGeometry(*g, [&] {
            if (nv || nf)
                g->m_accel_dirty = true;
            if (nv)
                g->uploadBufferAsync(geoBufVertices, v, nv);
            if (nf)
                g->uploadBufferAsync(geoBufIndices, f, nf);
        });
        return true;
    });
    if (found)
        m_accumFrames = 0;
    return found;
}

// Attribute slots of a mesh or the segments of curves: the record changes,
// the structure does not.
template <typename Geometry>
bool PathTracer::uploadAttributes(std::map<unsigned, Geometry> PathTracerState::*kind, unsigned id,
                                  std::initializer_list<SlotData> slots)
{
    return forEachState([&](PathTracerState& state) {
        Geometry* g = findIn(state.*kind, id);
        if (!g)
            return false;
        for (const SlotData& slot : slots)
            if (slot.count)
                g->uploadBufferAsync(slot.index, slot.data, slot.count);
        m_sbt_dirty = true;
        return true;
    });
}

bool PathTracer::uploadGeometryMeshNormals(unsigned id, const float3* n, size_t nn,
                                           const uint3* ni, size_t nni)
{
    return uploadAttributes(&PathTracerState::triangles, id,
                            {{geoBufNormals, n, nn}, {geoBufNormalIndices, ni, nni}});
}

bool PathTracer::uploadGeometryMeshTexCoords(unsigned id, const float2* t, size_t nt,
                                             const uint3* ti, size_t nti)
{
    return uploadAttributes(&PathTracerState::triangles, id,
                            {{geoBufTexCoords, t, nt}, {geoBufTexCoordIndices, ti, nti}});
}

bool PathTracer::uploadGeometryBSplineIdx(unsigned id, const unsigned* indices, size_t n)
{
    return uploadAttributes(&PathTracerState::curves, id, {{geoBufIndices, indices, n}});
}

bool PathTracer::uploadGeometryBuffers(unsigned id, size_t count,
                                       const std::map<size_t, void*>& data)
{
    for (const auto& entry : data) {
        const bool uploaded = forEachState([&](PathTracerState& state) {
            GeometryBase* g = findGeometry(state, id);
            if (!g)
                return false;
            bool uploaded = false;
            changeGeometry(*g, [&] {
                if (shouldMarcAccelDirty(g->type(), geoBufferIndicex(entry.first)) &&
                    g->buffers().count(entry.first))
                    g->m_accel_dirty = true;
                uploaded = g->uploadBufferAsync(entry.first, entry.second, count);
            });
            return uploaded;
        });
        if (!uploaded)
            return false;
    }
    m_accumFrames = 0;
    return true;
}

bool PathTracer::downloadGeometryBuffer(unsigned id, size_t slot, unsigned count, void* out) const
{
    auto found = m_states.front().primitives.find(id);
    if (found == m_states.front().primitives.end())
        return false;
    return found->second.downloadBuffer(slot, out, count);
}

bool PathTracer::freeGeometryBuffer(unsigned id, unsigned slot)
{
    const bool freed = forEachState([&](PathTracerState& state) {
        GeometryBase* g = findGeometry(state, id, true);
        if (!g)
            return false;
        bool freed = false;
        changeGeometry(*g, [&] { freed = g->freeBuffer(slot); });
        return freed;
    });
    if (freed)
        m_accumFrames = 0;
    return freed;
}

bool PathTracer::setupConstColor(unsigned id, const float3& color)
{
    const bool found = forEachState([&](PathTracerState& state) {
        GeometryBase* g = findGeometry(state, id);
        if (!g)
            return false;
        g->setConstColor(color);
        m_sbt_dirty |= g->m_sbt_dirty;
        return true;
    });
    if (found)
        m_accumFrames = 0;
    return found;
}

bool PathTracer::applyDisplacement(PathTracerState& state, GeometryPrimitives& geometry,
                                   unsigned texture)
{
    auto found = state.textures.find(texture);
    if (found == state.textures.end())
        return false;
    const Texture& t = found->second;
    geometry.setDisplacement(texture, t.sampler(), t.width(), t.height());
    m_sbt_dirty = true;
    return true;
}

bool PathTracer::setupDisplacementTexture(unsigned id, unsigned texture)
{
    const bool applied = forEachState([&](PathTracerState& state) {
        GeometryPrimitives* g = findIn(state.primitives, id);
        return g && applyDisplacement(state, *g, texture);
    });
    if (applied)
        m_accumFrames = 0;
    return applied;
}

bool PathTracer::setupGeometryMaterial(unsigned id, unsigned material)
{
    const bool found = forEachState([&](PathTracerState& state) {
        GeometryBase* g = findGeometry(state, id);
        if (!g)
            return false;
        g->setMaterial(material);
        if (g->m_sbt_dirty)
            m_hit_dirty = m_pipeline_dirty = m_sbt_dirty = true;
        return true;
    });
    if (found)
        m_accumFrames = 0;
    return found;
}

geoPrimirivesType PathTracer::getGeometryType(unsigned id) const
{
    // Ids are unique across the kinds, so the search order cannot change the answer.
    const GeometryBase* g = findGeometry(const_cast<PathTracerState&>(m_states.front()), id, true);
    return g ? g->type() : geoPrimirivesType(0);
}

bool PathTracer::deleteGeometry(unsigned id)
{
    forEachState([&](PathTracerState& state) {
        state.primitives.erase(id);
        state.triangles.erase(id);
        state.curves.erase(id);
    });
    m_accumFrames = 0;
    // The placeholder's hit groups may be needed now.
    m_hit_dirty = m_pipeline_dirty = m_sbt_dirty = m_ias_dirty = true;
    return true;
}
