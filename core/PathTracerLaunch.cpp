// The frame launch: a batch of passes on every device at once, each device
// over its own sample list, then the gather of every device's samples into
// the primary device's image, the post-processing stages and the readback.

#include "PathTracer.h"

#include "CUDABuffer.h"
#include "kernels/WorkDistribution_kernel.h"

#include <algorithm>

T7_CHECK_LABEL(PathTracer::kLabel);

unsigned PathTracer::launch(unsigned count, unsigned maxFrames)
{
    if (maxFrames <= m_accumFrames)
        return 2;
    m_launchRunning = true;
    try {
        return launchBatch(count, maxFrames);
    } catch (...) {
        // Only a failed compilation leaves the running flag set.
        m_launchRunning = false;
        m_breakRequested = false;
        throw;
    }
}

unsigned PathTracer::launchBatch(unsigned count, unsigned maxFrames)
{
    if (!compileScene())
        return 0x901;
    if (!outputsReady())
        throw sutil::Exception("The images could not be allocated at the last resize: resize the "
                               "image to render again.");
    if (m_breakRequested || count == 0) {
        m_launchRunning = false;
        m_breakRequested = false;
        return 0;
    }
    if (m_lights_dirty) {
        forEachState([&](PathTracerState& state) { updateLights(state); });
        m_lights_dirty = false;
    }

    unsigned passes = 0;
    for (unsigned i = 0; i < count; ++i) {
        forEachState([&](PathTracerState& state) {
            makeCurrent(state);
            state.params.subframe_index = i;
            state.params.last_pass = i + 1 == count ? 1 : 0;
            state.params.total_frames = m_totalFrames;
            state.params.accum_frames = m_accumFrames;
            state.params.hit_pos = m_hitPosImage.map();
            state.params.geom_id = m_idImage.map();
            // clang-format off
            CUDA_CHECK(cudaMemcpyAsync(reinterpret_cast<void*>(state.d_params), &state.params, sizeof(Params), cudaMemcpyHostToDevice, state.stream ));
            // clang-format on
        });
        forEachState([&](PathTracerState& state) {
            makeCurrent(state);
            // clang-format off
            OPTIX_CHECK(optixLaunch( state.pipeline, state.stream, reinterpret_cast<CUdeviceptr>(state.d_params), sizeof(Params), &state.sbt, state.num_samples, 1, 1 ));
            // clang-format on
        });
        if (i + 1 < count)
            syncAllDevices();
        ++m_accumFrames;
        ++m_totalFrames;
        ++passes;
        // A break ends the batch after one more pass, which then carries the
        // last-pass flag; it never lengthens the batch.
        if (m_breakRequested)
            count = std::min(count, i + 2);
    }

    const float blend = cameraBlend();
    const unsigned frames = blend == 1.0f ? m_accumFrames : m_totalFrames;
    // The guide images, kept for the denoiser too (null when not kept).
    m_postprocParams.albedo = keepAlbedo() ? m_albedoImage.map() : nullptr;
    m_postprocParams.normal = keepNormals() ? m_normalImage.map() : nullptr;
    forEachState([&](PathTracerState& state) {
        makeCurrent(state);
        gatherResults(state, m_image.map(), m_postprocParams.albedo, m_postprocParams.normal, blend,
                      m_sampleHistory ? frames : passes, passes);
    });
    m_sampleHistory = true;

    syncAllDevices();
    makeCurrent(m_states.front());
    m_postprocParams.frames = frames;
    // The first stage (the denoiser, when there is one) also sees the image
    // as gathered at render size.
    CUDAOutputBuffer<float4>& output = outputImage();
    const float4* source = m_image.map();
    for (const auto& stage : m_postprocessing) {
        stage->apply(output.map(), output.width(), output.height(), m_image.stream(),
                     m_postprocParams, source);
        source = nullptr;
    }
    CUDA_SYNC_CHECK();
    m_readback->apply(outputImage().map());
    m_launchRunning = false;
    m_breakRequested = false;
    return maxFrames <= m_accumFrames ? 1 : 0;
}

void PathTracer::gatherResults(PathTracerState& state, float4* image, float4* albedoImage,
                               float4* normalImage, float blend, unsigned frames, unsigned count)
{
    const GatherArgs args{reinterpret_cast<const int2*>(state.d_sample_indices),
                          reinterpret_cast<const float4*>(state.d_sample_accum),
                          reinterpret_cast<float4*>(state.d_sample_l2),
                          reinterpret_cast<const float4*>(state.d_albedo_accum),
                          reinterpret_cast<const float4*>(state.d_normal_accum),
                          image,
                          albedoImage,
                          normalImage,
                          state.params.width,
                          state.params.height};
    const float scale = 1.0f / float(count);
    const unsigned n = unsigned(state.num_samples);
    if (frames == count) {
        gatherResults0(n, state.stream, args, scale);
        return;
    }
    // With blend 1 the weight makes the image the exact mean of all passes.
    const float weight = blend == 1.0f ? float(count) / float(frames) : blend;
    gatherResultsN(n, state.stream, args, scale, weight);
}

int PathTracer::breakLaunch()
{
    if (m_launchRunning) {
        m_breakRequested = true;
        return 1;
    }
    return m_breakRequested ? 1 : 0;
}
