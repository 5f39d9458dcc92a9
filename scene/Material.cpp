#include "Material.h"

#include "core/CUDABuffer.h"

#include <algorithm>
#include <iostream>

Material::Material(int device, cudaStream_t stream, const MaterialData& params,
                   const MaterialSamplers& samplers, const MaterialTextureIds& ids,
                   const HitProgram& radiance, const HitProgram& occlusion)
    : m_params(params), m_samplers(samplers), m_textureIds(ids), m_radiance(radiance),
      m_occlusion(occlusion), m_device(device), m_stream(stream)
{
    m_params.color_tex = m_params.roughness_tex = nullptr;
    m_params.metalness_tex = m_params.normal_tex = nullptr;
    m_radiance.dirty = m_occlusion.dirty = true;
    reallocBuffers();
}

Material::~Material()
{
    try {
        makeCurrent();
        freeBuffers();
    } catch (const std::exception& e) {
        std::cout << e.what() << std::endl;
    }
}

void Material::makeCurrent() const
{
    CUDA_CHECK(cudaSetDevice(m_device));
}

void Material::updateParams(const MaterialData& params, const MaterialSamplers& samplers,
                            const MaterialTextureIds& ids)
{
    // The device arrays stay the material's own; only the values are replaced.
    MaterialData next = params;
    next.color_tex = m_params.color_tex;
    next.roughness_tex = m_params.roughness_tex;
    next.metalness_tex = m_params.metalness_tex;
    next.normal_tex = m_params.normal_tex;
    next.tex_count = m_params.tex_count;
    m_params = next;
    m_samplers = samplers;
    m_textureIds = ids;
    if (params.tex_count != m_params.tex_count) {
        m_params.tex_count = params.tex_count;
        reallocBuffers();
    }
    updateTextureSamplers(samplers);
}

void Material::freeBuffers()
{
    for (cudaTextureObject_t** array : {&m_params.color_tex, &m_params.roughness_tex,
                                        &m_params.metalness_tex, &m_params.normal_tex}) {
        if (*array)
            CUDA_CHECK(cudaFree(reinterpret_cast<void*>(*array)));
        *array = nullptr;
    }
}

void Material::reallocBuffers()
{
    makeCurrent();
    freeBuffers();
    const size_t n_bytes = size_t(m_params.tex_count) * sizeof(cudaTextureObject_t);
    CUDA_CHECK(cudaMalloc( reinterpret_cast<void**>(&m_params.color_tex), n_bytes ));
    CUDA_CHECK(cudaMalloc( reinterpret_cast<void**>(&m_params.roughness_tex), n_bytes ));
    CUDA_CHECK(cudaMalloc( reinterpret_cast<void**>(&m_params.metalness_tex), n_bytes ));
    CUDA_CHECK(cudaMalloc( reinterpret_cast<void**>(&m_params.normal_tex), n_bytes ));
    // Entries past a short list read as "no texture".
    if (n_bytes) {
        CUDA_CHECK(cudaMemsetAsync(m_params.color_tex, 0, n_bytes, m_stream));
        CUDA_CHECK(cudaMemsetAsync(m_params.roughness_tex, 0, n_bytes, m_stream));
        CUDA_CHECK(cudaMemsetAsync(m_params.metalness_tex, 0, n_bytes, m_stream));
        CUDA_CHECK(cudaMemsetAsync(m_params.normal_tex, 0, n_bytes, m_stream));
    }
    updateTextureSamplers(m_samplers);
}

void Material::updateTextureSamplers(const MaterialSamplers& samplers)
{
    makeCurrent();
    auto count = [&](const std::vector<cudaTextureObject_t>& list) {
        return std::min<size_t>(m_params.tex_count, list.size());
    };
    const auto& color_samplers = samplers.color;
    const auto& roughness_samplers = samplers.roughness;
    const auto& metalness_samplers = samplers.metalness;
    const auto& normal_samplers = samplers.normal;
    CUDA_CHECK(cudaMemcpyAsync( reinterpret_cast<void*>(m_params.color_tex), color_samplers.data(), count(color_samplers) * sizeof(cudaTextureObject_t), cudaMemcpyHostToDevice, m_stream ));
    CUDA_CHECK(cudaMemcpyAsync( reinterpret_cast<void*>(m_params.roughness_tex), roughness_samplers.data(), count(roughness_samplers) * sizeof(cudaTextureObject_t), cudaMemcpyHostToDevice, m_stream ));
    CUDA_CHECK(cudaMemcpyAsync( reinterpret_cast<void*>(m_params.metalness_tex), metalness_samplers.data(), count(metalness_samplers) * sizeof(cudaTextureObject_t), cudaMemcpyHostToDevice, m_stream ));
    CUDA_CHECK(cudaMemcpyAsync( reinterpret_cast<void*>(m_params.normal_tex), normal_samplers.data(), count(normal_samplers) * sizeof(cudaTextureObject_t), cudaMemcpyHostToDevice, m_stream ));
    m_samplers = samplers;
}
