// The hit groups of a geometry: its material's closest-hit programs with the
// intersection of its kind, one group per ray type.

#include "Geometry.h"

#include "core/CUDABuffer.h"

T7_CHECK_LABEL(GeometryBase::kLabel);

bool GeometryBase::createHitModules(Modules& modules, Material& material, bool force)
{
    if (!material.radiance().dirty && !material.occlusion().dirty && m_radiance_hit_group &&
        m_occlusion_hit_group && !force && !intersectionDirty() && !m_material_switched)
        return true;
    makeCurrent();
    destroyGroups();
    material.createHitModules(modules, force);
    const Intersection is = intersection(modules, force);

    OptixProgramGroupOptions program_group_options = {};
    OptixProgramGroupDesc hitgroup_prog_group_desc = {};
    hitgroup_prog_group_desc.kind = OPTIX_PROGRAM_GROUP_KIND_HITGROUP;
    hitgroup_prog_group_desc.hitgroup.moduleIS = is.module;
    hitgroup_prog_group_desc.hitgroup.entryFunctionNameIS = is.entry;
    char log[kOptixLogSize];
    size_t sizeof_log = 0;

    hitgroup_prog_group_desc.hitgroup.moduleCH = material.radiance().module;
    hitgroup_prog_group_desc.hitgroup.entryFunctionNameCH = material.radiance().function.c_str();
    OPTIX_CHECK_LOG(optixProgramGroupCreate( modules.Context(), &hitgroup_prog_group_desc, 1, &program_group_options, log, &sizeof_log, &m_radiance_hit_group ));
    // Occlusion rays run a closest-hit program too, not an any-hit program.
    hitgroup_prog_group_desc.hitgroup.moduleCH = material.occlusion().module;
    hitgroup_prog_group_desc.hitgroup.entryFunctionNameCH = material.occlusion().function.c_str();
    OPTIX_CHECK_LOG(optixProgramGroupCreate( modules.Context(), &hitgroup_prog_group_desc, 1, &program_group_options, log, &sizeof_log, &m_occlusion_hit_group ));
    m_material_switched = false;
    return true;
}

GeometryBase::Intersection GeometryBSplines::intersection(Modules& modules, bool)
{
    switch (m_type) {
    case geoBSplineLinear:
    case geoBSplineLinear2:
        return {modules.getBSplineLinIsModule(), nullptr};
    case geoBSplineQuadratic:
        return {modules.getBSplineQuadIsModule(), nullptr};
    case geoBSplineCubic:
        return {modules.getBSplineCubeIsModule(), nullptr};
    case geoBSplineCatmullRom:
        return {modules.getSplineCRomIsModule(), nullptr};
    default:
        return {nullptr, nullptr};
    }
}

GeometryBase::Intersection GeometryPrimitives::intersection(Modules& modules, bool force)
{
    if (m_intersection.dirty || force) {
        m_intersection.module = modules.getModule(m_intersection.file, m_intersection.text);
        m_intersection.dirty = false;
    }
    return {m_intersection.module, m_intersection.function.c_str()};
}
