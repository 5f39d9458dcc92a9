// The shader binding table of each device, laid out as the pipeline links its
// groups: the k-th geometry with primitives owns hit records 2k (radiance) and
// 2k + 1 (occlusion), and its instance has binding-table offset 2k.

#include "core/PathTracer.h"

#include "core/CUDABuffer.h"
#include "programs/BindingTable.h"

#include <cstring>
#include <vector>

T7_CHECK_LABEL(PathTracer::kLabel);

void PathTracer::createSBT(PathTracerState& state)
{
    makeCurrent(state);
    for (CUdeviceptr* block : {&state.d_raygen_record, &state.d_miss_records,
                               &state.d_hitgroup_records}) {
        CUDA_CHECK(cudaFree(reinterpret_cast<void*>(*block)));
        *block = 0;
    }

    const size_t raygen_record_size = sizeof(RayGenRecord);
    CUdeviceptr& d_raygen_record = state.d_raygen_record;
    CUDA_CHECK(cudaMalloc(reinterpret_cast<void**>(&d_raygen_record), raygen_record_size));
    RayGenRecord rg_sbt = {};
    OPTIX_CHECK(optixSbtRecordPackHeader(state.raygen_prog_group, &rg_sbt));
    CUDA_CHECK(cudaMemcpy( reinterpret_cast<void*>(d_raygen_record), &rg_sbt, raygen_record_size, cudaMemcpyHostToDevice ));

    const size_t miss_record_size = sizeof(MissRecord);
    CUdeviceptr& d_miss_records = state.d_miss_records;
    CUDA_CHECK(cudaMalloc(reinterpret_cast<void**>(&d_miss_records), miss_record_size * RAY_TYPE_COUNT));
    MissRecord ms_sbt[RAY_TYPE_COUNT] = {};
    OPTIX_CHECK(optixSbtRecordPackHeader(state.radiance_miss_group, &ms_sbt[0]));
    OPTIX_CHECK(optixSbtRecordPackHeader(state.occlusion_miss_group, &ms_sbt[1]));
    CUDA_CHECK(cudaMemcpy( reinterpret_cast<void*>(d_miss_records), ms_sbt, miss_record_size * RAY_TYPE_COUNT, cudaMemcpyHostToDevice ));

    std::vector<HitGroupRecord> hitgroup_records;
    // The placeholder's records keep a zero geometry record.
    for (const GeometryBase* g : sceneGeometries(state)) {
        const GeometryBase& geo = *g;
        HitGroupRecord rec = {};
        std::memset(static_cast<void*>(&rec), 0, sizeof rec); // the geometry record too
        OPTIX_CHECK(optixSbtRecordPackHeader(geo.radianceHitGroup(), &rec));
        if (g != state.dummyGeometry.get())
            rec.data.geometry = geo.data();
        // An unknown material id gets a default material, kept from now on.
        rec.data.material = state.materials[geo.material()].params();
        hitgroup_records.push_back(rec);
        OPTIX_CHECK(optixSbtRecordPackHeader(geo.occlusionHitGroup(), &rec));
        hitgroup_records.push_back(rec);
    }
    const size_t hitgroup_record_size = sizeof(HitGroupRecord);
    CUdeviceptr& d_hitgroup_records = state.d_hitgroup_records;
    CUDA_CHECK(cudaMalloc( reinterpret_cast<void**>(&d_hitgroup_records), hitgroup_record_size * hitgroup_records.size() ));
    CUDA_CHECK(cudaMemcpy( reinterpret_cast<void*>(d_hitgroup_records), hitgroup_records.data(), hitgroup_record_size * hitgroup_records.size(), cudaMemcpyHostToDevice ));

    state.sbt = {};
    state.sbt.raygenRecord = d_raygen_record;
    state.sbt.missRecordBase = d_miss_records;
    state.sbt.missRecordStrideInBytes = unsigned(miss_record_size);
    state.sbt.missRecordCount = RAY_TYPE_COUNT;
    state.sbt.hitgroupRecordBase = d_hitgroup_records;
    state.sbt.hitgroupRecordStrideInBytes = unsigned(hitgroup_record_size);
    state.sbt.hitgroupRecordCount = unsigned(hitgroup_records.size());
}

void PathTracer::compileSBT()
{
    if (!m_sbt_dirty)
        return;
    forEachState([&](PathTracerState& state) {
        createSBT(state);
        auto clear = [](auto& map) {
            for (auto& entry : map)
                entry.second.m_sbt_dirty = false;
        };
        clear(state.primitives);
        clear(state.triangles);
        clear(state.curves);
    });
    m_sbt_dirty = false;
}
