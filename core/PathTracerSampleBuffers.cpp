// The output size and each device's sample buffers: pixel indices, the sums
// of a batch, the running average, and the albedo and normal sums. Buffers
// that do not fit in device memory fall back to mapped host memory.

#include "PathTracer.h"

#include "CUDABuffer.h"
#include "DeviceMemory.h"
#include "kernels/WorkDistribution_kernel.h"
#include "output/ImageSize.h"

T7_CHECK_LABEL(PathTracer::kLabel);

namespace {

// What optixLaunch accepts as one launch dimension.
constexpr unsigned long long kMaxSamples = 1ull << 30;

unsigned long long ceilDiv(unsigned long long n, unsigned long long d) { return (n + d - 1) / d; }

// Places `bytes` in device memory, else in mapped host memory (printing the
// device failure); throws `hostFailure` when both fail. True when the buffer
// is in host memory, whose device address is then still to be taken.
bool allocSampleBuffer(const PathTracerState& state, size_t bytes, CUdeviceptr& device,
                       void*& host, const char* deviceFailure, const char* hostFailure)
{
    DeviceBlock onDevice(state.device_idx);
    MappedHostBlock onHost;
    const AllocationReport report{deviceFailure, "   requested buffer size: ",
                                  "   trying on the host..."};
    if (allocDeviceOrMapped(bytes, onDevice, onHost, report) != cudaSuccess) {
        cudaGetLastError();
        throw sutil::Exception(hostFailure);
    }
    device = onDevice.release();
    host = onHost.release();
    return host != nullptr;
}

} // namespace

// One allocation function per buffer; the calls are written out with the
// buffer's own names, as their messages quote them.
// clang-format off
#define T7_SAMPLE_BUFFER(function, name, element, deviceFailure, hostFailure)                 \
    void PathTracer::function(PathTracerState& state)                                          \
    {                                                                                          \
        if (allocSampleBuffer(state, size_t(state.num_samples) * sizeof(element),             \
                              state.d_##name, state.h_##name, deviceFailure, hostFailure))     \
            CUDA_CHECK(cudaHostGetDevicePointer( reinterpret_cast<void**>(&state.d_##name), reinterpret_cast<void*>(state.h_##name), 0 )); \
    }

T7_SAMPLE_BUFFER(allocIndicesBuffer, sample_indices, int2,
                 "Sample indices buffer allocation failed on device: ",
                 "Sample indices buffer allocation failed on host.")
T7_SAMPLE_BUFFER(allocAccumBuffer, sample_accum, float4,
                 "Sample accumulation buffer allocation failed on device: ",
                 "Sample accumulation buffer allocation failed on host.")
T7_SAMPLE_BUFFER(allocL2Buffer, sample_l2, float4,
                 "Sample L2 accumulation buffer allocation failed on device: ",
                 "Sample L2 accumulation buffer allocation failed on host.")
T7_SAMPLE_BUFFER(allocAlbedoBuffer, albedo_accum, float4,
                 "Albedo buffer allocation failed on device: ",
                 "Albedo buffer allocation failed on host.")
T7_SAMPLE_BUFFER(allocNormalBuffer, normal_accum, float4,
                 "Normal buffer allocation failed on device: ",
                 "Normal buffer allocation failed on host.")

#define T7_FREE_SAMPLE_BUFFER(name)                                                            \
    if (state.h_##name)                                                                        \
        CUDA_CHECK(cudaFreeHost(reinterpret_cast<void*>(state.h_##name)));                      \
    else                                                                                       \
        CUDA_CHECK(cudaFree(reinterpret_cast<void*>(state.d_##name)));                          \
    state.h_##name = nullptr;                                                                  \
    state.d_##name = 0;
// clang-format on

void PathTracer::freeIOBuffers(PathTracerState& state)
{
    T7_FREE_SAMPLE_BUFFER(sample_indices)
    T7_FREE_SAMPLE_BUFFER(sample_accum)
    T7_FREE_SAMPLE_BUFFER(sample_l2)
    T7_FREE_SAMPLE_BUFFER(albedo_accum)
    T7_FREE_SAMPLE_BUFFER(normal_accum)
}

void PathTracer::allocIOBuffers(PathTracerState& state, int deviceCount)
{
    makeCurrent(state);
    const unsigned width = m_width / m_scaleFactor;
    const unsigned height = m_height / m_scaleFactor;
    // The tiles of the pattern that fall to one device.
    const unsigned long long samples =
        ceilDiv(width, 8ull * unsigned(deviceCount)) * ceilDiv(height, 8) * 64;
    freeIOBuffers(state);
    m_sampleHistory = false; // the new running averages hold nothing yet
    state.num_samples = 0;
    state.params.sample_indices = nullptr;
    state.params.sample_accum = state.params.albedo_accum = state.params.normal_accum = nullptr;
    if (samples > kMaxSamples)
        throw sutil::Exception("Image too large: more samples than one launch can take.");
    state.num_samples = int(samples);

    try {
        allocIndicesBuffer(state);
        allocAccumBuffer(state);
        allocL2Buffer(state);
        if (keepAlbedo())
            allocAlbedoBuffer(state);
        if (keepNormals())
            allocNormalBuffer(state);
    } catch (...) {
        // Nothing half-made is left for a launch to use.
        state.num_samples = 0;
        try {
            freeIOBuffers(state);
        } catch (...) {
        }
        throw;
    }
    state.params.sample_indices = reinterpret_cast<int2*>(state.d_sample_indices);
    state.params.sample_accum = reinterpret_cast<float4*>(state.d_sample_accum);
    state.params.albedo_accum = reinterpret_cast<float4*>(state.d_albedo_accum);
    state.params.normal_accum = reinterpret_cast<float4*>(state.d_normal_accum);

    // The CUDA ordinal, not the position among the states: ordinals congruent
    // modulo the device count get the same tiles.
    fillSamplesCUDA(unsigned(state.num_samples), state.stream, state.device_idx, deviceCount,
                    width, height, reinterpret_cast<int2*>(state.d_sample_indices));
}

void PathTracer::applySize(unsigned width, unsigned height)
{
    m_accumFrames = 0; // whatever happens next, the image starts again
    m_width = width;
    m_height = height;
    m_readback->resize(width, height);
    const int w = int(width / m_scaleFactor);
    const int h = int(height / m_scaleFactor);
    m_image.resize(w, h);
    m_hitPosImage.resize(w, h);
    m_idImage.resize(w, h);
    m_albedoImage.resize(keepAlbedo() ? w : 0, keepAlbedo() ? h : 0);
    m_normalImage.resize(keepNormals() ? w : 0, keepNormals() ? h : 0);
    resizeDenoiserBuffers();
    forEachState([&](PathTracerState& state) { allocIOBuffers(state, int(m_states.size())); });
}

void PathTracer::resize(unsigned width, unsigned height)
{
    const std::string problem = imageSizeProblem(width, height, m_scaleFactor);
    if (!problem.empty())
        throw sutil::Exception(problem.c_str());
    const unsigned oldWidth = m_width;
    const unsigned oldHeight = m_height;
    try {
        applySize(width, height);
    } catch (...) {
        restoreSize(oldWidth, oldHeight);
        throw;
    }
}

void PathTracer::restoreSize(unsigned width, unsigned height) noexcept
{
    try {
        applySize(width, height);
    } catch (...) {
        // The first failure is the one reported; the buffers that could not
        // be made are left empty, and a launch then fails cleanly.
    }
}

void PathTracer::setSaveState(bool& flag, bool save)
{
    if (save == flag)
        return;
    const bool albedo = keepAlbedo(), normals = keepNormals();
    flag = save;
    // Images the denoiser keeps already need no new buffers, and the
    // accumulation goes on.
    if (keepAlbedo() != albedo || keepNormals() != normals)
        reapplySize([&] { flag = !save; });
}

bool PathTracer::outputsReady() const
{
    const size_t pixels = size_t(m_image.width()) * size_t(m_image.height());
    bool ready = pixels > 0 && size_t(m_hitPosImage.width()) * m_hitPosImage.height() == pixels &&
                 size_t(m_idImage.width()) * m_idImage.height() == pixels &&
                 (!keepAlbedo() || size_t(m_albedoImage.width()) * m_albedoImage.height() == pixels) &&
                 (!keepNormals() || size_t(m_normalImage.width()) * m_normalImage.height() == pixels) &&
                 (m_scaleFactor < 2 || m_upscaledImage.width() == int(m_width)) &&
                 (m_readback->mode() == READBACK_NONE || m_readback->width() == int(m_width));
    for (const PathTracerState& state : m_states)
        ready = ready && state.num_samples > 0;
    return ready;
}

void PathTracer::setSaveAlbedoState(bool save) { setSaveState(m_saveAlbedo, save); }

void PathTracer::setSaveNormalsState(bool save) { setSaveState(m_saveNormals, save); }
