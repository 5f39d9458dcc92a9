#include "PathTracerState.h"

#include "CUDABuffer.h"
#include "PathTracer.h"

T7_CHECK_LABEL(PathTracer::kLabel);

cudaTextureObject_t PathTracerState::sampler(unsigned id, const char* notFound) const
{
    auto texture = textures.find(id);
    if (texture == textures.end())
        throw sutil::Exception(notFound);
    return texture->second.sampler();
}

PathTracerState::~PathTracerState()
{
    if (device_idx < 0)
        return;
    // Everything is released on this state's own device; a failure is
    // reported and the rest is still released.
    bool current = false;
    destructorGuard("PathTracerState", [&] {
        PathTracer::makeCurrent(*this);
        current = true;
    });
    if (!current)
        return;
    // The pipeline, then the program groups (the geometries' go with them),
    // then the modules they were made from.
    destructorGuard("PathTracerState", [&] {
        if (pipeline)
            OPTIX_CHECK(optixPipelineDestroy(pipeline));
    });
    for (OptixProgramGroup group : {raygen_prog_group, radiance_miss_group, occlusion_miss_group})
        destructorGuard("PathTracerState", [&] {
            if (group)
                OPTIX_CHECK(optixProgramGroupDestroy(group));
        });
    dummyGeometry.reset();
    primitives.clear();
    triangles.clear();
    curves.clear();
    materials.clear();
    textures.clear();
    destructorGuard("PathTracerState", [&] { modules.destroy(); });
    destructorGuard("PathTracerState", [&] { PathTracer::freeIOBuffers(*this); });
    for (CUdeviceptr block : {d_params, d_raygen_record, d_miss_records, d_hitgroup_records,
                              d_ias_output_buffer, reinterpret_cast<CUdeviceptr>(params.lights)})
        destructorGuard("PathTracerState", [&] {
            CUDA_CHECK(cudaFree(reinterpret_cast<void*>(block)));
        });
    destructorGuard("PathTracerState", [&] {
        if (stream)
            CUDA_CHECK(cudaStreamDestroy(stream));
    });
    destructorGuard("PathTracerState", [&] {
        if (context)
            OPTIX_CHECK(optixDeviceContextDestroy(context));
    });
}
