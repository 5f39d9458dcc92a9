#include "Denoiser.h"

#include "PostprocessingStages.h"
#include "core/CUDABuffer.h"
#include "core/DriverApi.h"
#include "kernels/postprocessing_kernels.h"

#include <vector>

namespace {

// Device addresses of the denoiser's own buffers are kept as CUdeviceptr.
cudaError_t cudaFree(CUdeviceptr p) { return ::cudaFree(reinterpret_cast<void*>(p)); }

} // namespace

Denoiser::Denoiser(OptixDeviceContext context, OptixDenoiserModelKind kind, cudaStream_t stream)
    : m_context(context), m_stream(stream),
      m_div(kind == OPTIX_DENOISER_MODEL_KIND_UPSCALE2X ? 2 : 1), m_model_kind(kind)
{
    type(); // only the three models
    CUDA_CHECK(cudaGetDevice(&m_device));
    const float intensity = 1.0f;
    // clang-format off
    CUDA_CHECK((cudaError)cuMemAlloc(&m_paramsDenoiser.hdrIntensity, sizeof(float)));
    try {
        CUDA_CHECK(cudaMemcpy(reinterpret_cast<void*>(m_paramsDenoiser.hdrIntensity), &intensity, sizeof(float), cudaMemcpyHostToDevice));
    } catch (...) {
        cuMemFree(m_paramsDenoiser.hdrIntensity);
        throw;
    }
    // clang-format on
}

Denoiser::~Denoiser()
{
    bool current = false;
    destructorGuard("Denoiser", [&] {
        CUDA_CHECK(cudaSetDevice(m_device));
        current = true;
    });
    if (!current)
        return;
    // clang-format off
    destructorGuard("Denoiser", [&] {
        if (m_buffer)
            CUDA_CHECK(cudaFree(reinterpret_cast<void*>(m_buffer)));
    });
    destructorGuard("Denoiser", [&] {
        if (m_paramsDenoiser.hdrIntensity)
            CUDA_CHECK((cudaError)cuMemFree(m_paramsDenoiser.hdrIntensity));
    });
    destructorGuard("Denoiser", [&] {
        if (m_d_scratchDenoiser)
            CUDA_CHECK((cudaError)cuMemFree(m_d_scratchDenoiser));
    });
    destructorGuard("Denoiser", [&] {
        if (m_d_stateDenoiser)
            CUDA_CHECK((cudaError)cuMemFree(m_d_stateDenoiser));
    });
    destructorGuard("Denoiser", [&] {
        if (m_denoiser)
            OPTIX_CHECK(optixDenoiserDestroy(m_denoiser));
    });
    // clang-format on
}

postprocAlgorithm Denoiser::type() const
{
    switch (m_model_kind) {
    case OPTIX_DENOISER_MODEL_KIND_LDR:
        return POSTPROC_DENOISER_LDR;
    case OPTIX_DENOISER_MODEL_KIND_HDR:
        return POSTPROC_DENOISER_HDR;
    case OPTIX_DENOISER_MODEL_KIND_UPSCALE2X:
        return POSTPROC_DENOISER_UP2;
    default:
        throw sutil::Exception("Denoiser model not supported.");
    }
}

void Denoiser::apply(float4* image, int width, int height, cudaStream_t stream,
                     const PostprocParams& params, const float4* source)
{
    switch (type()) {
    case POSTPROC_DENOISER_HDR:
        apply_hdr(image, width, height, stream, params);
        break;
    case POSTPROC_DENOISER_UP2:
        apply_up2(image, width, height, stream, params, source);
        break;
    default:
        apply_ldr(image, width, height, stream, params);
    }
}

void Denoiser::setupImage2D(OptixImage2D& image, unsigned long long data, int width,
                            int height) const
{
    image.data = data;
    image.width = unsigned(width);
    image.height = unsigned(height);
    image.rowStrideInBytes = unsigned(width) * sizeof(float4);
    image.pixelStrideInBytes = sizeof(float4);
    image.format = OPTIX_PIXEL_FORMAT_FLOAT4;
}

void Denoiser::prep(OptixDenoiserOptions& options, int width, int height, cudaStream_t stream,
                    const PostprocParams& params)
{
    // A normal guide is never used without the albedo guide.
    options.guideAlbedo = params.albedo ? 1 : 0;
    options.guideNormal = params.albedo && params.normal ? 1 : 0;
    const bool recreate = !m_denoiser || options.guideAlbedo != m_options.guideAlbedo ||
                          options.guideNormal != m_options.guideNormal;
    const bool resized = unsigned(width) != m_width || unsigned(height) != m_height;
    if (!recreate && !resized)
        return;
    CUdeviceptr* releasing = nullptr; // an address whose release may have failed
    try {
        // A denoiser whose destruction fails stays held, for the next
        // preparation or the destructor to release.
        if (recreate && m_denoiser) {
            OPTIX_CHECK(optixDenoiserDestroy(m_denoiser));
            m_denoiser = nullptr;
        }
        m_options = options;
        // clang-format off
        if (resized) {
            m_width = unsigned(width);
            m_height = unsigned(height);
            releasing = &m_buffer;
            CUDA_CHECK(cudaFree(m_buffer));
            m_buffer = 0;
            releasing = nullptr;
            CUDA_CHECK(cudaMalloc(reinterpret_cast<void**>(&m_buffer), sizeof(float4) * (m_width / m_div) * (m_height / m_div)));
        }
        if (recreate)
            OPTIX_CHECK(optixDenoiserCreate(m_context, m_model_kind, &m_options, &m_denoiser));
        m_sizesDenoiser = {};
        OPTIX_CHECK(optixDenoiserComputeMemoryResources(m_denoiser, m_width / m_div, m_height / m_div, &m_sizesDenoiser));
        releasing = &m_d_stateDenoiser;
        if (m_d_stateDenoiser)
            CUDA_CHECK((cudaError)cuMemFree(m_d_stateDenoiser));
        m_d_stateDenoiser = 0;
        releasing = nullptr;
        CUDA_CHECK((cudaError)cuMemAlloc(&m_d_stateDenoiser, m_sizesDenoiser.stateSizeInBytes));
        releasing = &m_d_scratchDenoiser;
        if (m_d_scratchDenoiser)
            CUDA_CHECK((cudaError)cuMemFree(m_d_scratchDenoiser));
        m_d_scratchDenoiser = 0;
        releasing = nullptr;
        CUDA_CHECK((cudaError)cuMemAlloc(&m_d_scratchDenoiser, m_sizesDenoiser.withoutOverlapScratchSizeInBytes));
        OPTIX_CHECK(optixDenoiserSetup(m_denoiser, stream, m_width / m_div, m_height / m_div, m_d_stateDenoiser, m_sizesDenoiser.stateSizeInBytes, m_d_scratchDenoiser, m_sizesDenoiser.withoutOverlapScratchSizeInBytes));
        // clang-format on
    } catch (...) {
        if (releasing)
            *releasing = 0; // never released twice
        m_width = m_height = 0; // the next frame prepares everything again
        throw;
    }
}

void Denoiser::invoke(float4* image, cudaStream_t stream, const PostprocParams& params)
{
    const int w = int(m_width / m_div), h = int(m_height / m_div);
    std::vector<OptixDenoiserLayer> layers(1);
    setupImage2D(layers[0].input, m_buffer, w, h);
    // Twice the input: an odd last row or column is filled in afterwards.
    setupImage2D(layers[0].output, reinterpret_cast<CUdeviceptr>(image), w * int(m_div),
                 h * int(m_div));
    layers[0].output.rowStrideInBytes = m_width * sizeof(float4);
    OptixDenoiserGuideLayer guideLayer = {};
    if (m_options.guideAlbedo)
        setupImage2D(guideLayer.albedo, reinterpret_cast<CUdeviceptr>(params.albedo), w, h);
    if (m_options.guideNormal)
        setupImage2D(guideLayer.normal, reinterpret_cast<CUdeviceptr>(params.normal), w, h);
    // clang-format off
    OPTIX_CHECK(optixDenoiserComputeIntensity(m_denoiser, stream, &layers[0].input, m_paramsDenoiser.hdrIntensity, m_d_scratchDenoiser, m_sizesDenoiser.withoutOverlapScratchSizeInBytes));
    m_paramsDenoiser.blendFactor = params.denoiserBlend;
    OPTIX_CHECK(optixDenoiserInvoke(m_denoiser, stream, &m_paramsDenoiser, m_d_stateDenoiser, m_sizesDenoiser.stateSizeInBytes, &guideLayer, layers.data(), static_cast<unsigned int>(layers.size()), 0, 0, m_d_scratchDenoiser, m_sizesDenoiser.withoutOverlapScratchSizeInBytes));
    // clang-format on
    if ((m_width | m_height) & 1u && m_div == 2)
        extendEdges(m_width * m_height, stream, image, m_width, m_height);
}

void Denoiser::apply_ldr(float4* image, int width, int height, cudaStream_t stream,
                         const PostprocParams& params)
{
    if (!active(params)) {
        applyGamma(image, unsigned(width) * unsigned(height), stream, params);
        return;
    }
    OptixDenoiserOptions options = {};
    prep(options, width, height, stream, params);
    postprocessingGammaDenoiser(m_width * m_height, stream, image,
                                reinterpret_cast<float4*>(m_buffer), 1.0f / params.gamma,
                                params.scale);
    invoke(image, stream, params);
}

// HDR and upscaling: gamma afterwards only where it changes anything.
static void gammaAfter(float4* image, int width, int height, cudaStream_t stream,
                       const PostprocParams& params)
{
    if (params.gamma != 1.0f || params.scale != 1.0f)
        applyGamma(image, unsigned(width) * unsigned(height), stream, params);
}

void Denoiser::apply_hdr(float4* image, int width, int height, cudaStream_t stream,
                         const PostprocParams& params)
{
    if (active(params)) {
        OptixDenoiserOptions options = {};
        prep(options, width, height, stream, params);
        filterFirefliesDenoiser(unsigned(width) * unsigned(height), stream, image,
                                reinterpret_cast<float4*>(m_buffer), unsigned(width),
                                unsigned(height));
        invoke(image, stream, params);
    }
    gammaAfter(image, width, height, stream, params);
}

void Denoiser::apply_up2(float4* image, int width, int height, cudaStream_t stream,
                         const PostprocParams& params, const float4* source)
{
    const unsigned w = unsigned(width), h = unsigned(height);
    if (active(params)) {
        OptixDenoiserOptions options = {};
        prep(options, width, height, stream, params);
        filterFirefliesDenoiser((w / 2) * (h / 2), stream, source,
                                reinterpret_cast<float4*>(m_buffer), w / 2, h / 2);
        invoke(image, stream, params);
    } else {
        upscale2x(w * h, stream, source, image, w, h);
    }
    gammaAfter(image, width, height, stream, params);
}
