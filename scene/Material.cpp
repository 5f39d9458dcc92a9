#include "Material.h"

#include "core/CUDABuffer.h"

#include <algorithm>

T7_CHECK_LABEL(Material::kLabel);

namespace {

template <typename A, typename B> size_t mmin(A a, B b)
{
    return a < b ? size_t(a) : size_t(b);
}

// A sampler list cut or zero-padded to `count` entries: the arrays are filled
// whole, and entries past a short list read as "no texture".
std::vector<cudaTextureObject_t> padded(const std::vector<cudaTextureObject_t>& list, size_t count)
{
    std::vector<cudaTextureObject_t> out(count, 0);
    std::copy(list.begin(), list.begin() + mmin(count, list.size()), out.begin());
    return out;
}

} // namespace

Material::Material(int device, cudaStream_t stream, const MaterialData& params,
                   const MaterialSamplers& samplers, const MaterialTextureIds& ids,
                   const HitProgram& radiance, const HitProgram& occlusion)
    : DeviceBound(kLabel, device, stream), m_params(params), m_samplers(samplers),
      m_textureIds(ids), m_radiance(radiance), m_occlusion(occlusion)
{
    m_params.color_tex = m_params.roughness_tex = nullptr;
    m_params.metalness_tex = m_params.normal_tex = nullptr;
    m_radiance.dirty = m_occlusion.dirty = true;
    try {
        reallocBuffers();
    } catch (...) {
        release(); // what was allocated before the failure
        throw;
    }
}

Material::~Material()
{
    release();
}

void Material::release() noexcept
{
    if (m_device_idx < 0)
        return; // a default material holds nothing
    destructorGuard("Material", [this] {
        makeCurrent();
        freeBuffers();
    });
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

void Material::createHitModules(Modules& modules, bool force)
{
    for (HitProgram* program : {&m_radiance, &m_occlusion})
        if (program->dirty || force) {
            program->module = modules.getModule(program->file, program->text);
            program->dirty = false;
        }
}

void Material::freeBuffers()
{
    CUDA_CHECK(cudaFree(reinterpret_cast<void*>(m_params.color_tex)));
    m_params.color_tex = nullptr;
    CUDA_CHECK(cudaFree(reinterpret_cast<void*>(m_params.roughness_tex)));
    m_params.roughness_tex = nullptr;
    CUDA_CHECK(cudaFree(reinterpret_cast<void*>(m_params.metalness_tex)));
    m_params.metalness_tex = nullptr;
    CUDA_CHECK(cudaFree(reinterpret_cast<void*>(m_params.normal_tex)));
    m_params.normal_tex = nullptr;
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
    // Exactly tex_count entries each, so the n_bytes copies stay inside the lists.
    const auto color_samplers = padded(m_samplers.color, m_params.tex_count);
    const auto roughness_samplers = padded(m_samplers.roughness, m_params.tex_count);
    const auto metalness_samplers = padded(m_samplers.metalness, m_params.tex_count);
    const auto normal_samplers = padded(m_samplers.normal, m_params.tex_count);
    cudaStream_t stream = m_stream;
    CUDA_CHECK(cudaMemcpyAsync( reinterpret_cast<void*>(m_params.color_tex), color_samplers.data(), n_bytes, cudaMemcpyHostToDevice, stream ));
    CUDA_CHECK(cudaMemcpyAsync( reinterpret_cast<void*>(m_params.roughness_tex), roughness_samplers.data(), n_bytes, cudaMemcpyHostToDevice, stream ));
    CUDA_CHECK(cudaMemcpyAsync( reinterpret_cast<void*>(m_params.metalness_tex), metalness_samplers.data(), n_bytes, cudaMemcpyHostToDevice, stream ));
    CUDA_CHECK(cudaMemcpyAsync( reinterpret_cast<void*>(m_params.normal_tex), normal_samplers.data(), n_bytes, cudaMemcpyHostToDevice, stream ));
}

void Material::updateTextureSamplers(const MaterialSamplers& samplers)
{
    makeCurrent();
    const auto& color_samplers = samplers.color;
    const auto& roughness_samplers = samplers.roughness;
    const auto& metalness_samplers = samplers.metalness;
    const auto& normal_samplers = samplers.normal;
    CUDA_CHECK(cudaMemcpyAsync( reinterpret_cast<void*>(m_params.color_tex), color_samplers.data(), mmin(m_params.tex_count, color_samplers.size()) * sizeof(cudaTextureObject_t), cudaMemcpyHostToDevice, m_stream ));
    CUDA_CHECK(cudaMemcpyAsync( reinterpret_cast<void*>(m_params.roughness_tex), roughness_samplers.data(), mmin(m_params.tex_count, roughness_samplers.size()) * sizeof(cudaTextureObject_t), cudaMemcpyHostToDevice, m_stream ));
    CUDA_CHECK(cudaMemcpyAsync( reinterpret_cast<void*>(m_params.metalness_tex), metalness_samplers.data(), mmin(m_params.tex_count, metalness_samplers.size()) * sizeof(cudaTextureObject_t), cudaMemcpyHostToDevice, m_stream ));
    CUDA_CHECK(cudaMemcpyAsync( reinterpret_cast<void*>(m_params.normal_tex), normal_samplers.data(), mmin(m_params.tex_count, normal_samplers.size()) * sizeof(cudaTextureObject_t), cudaMemcpyHostToDevice, m_stream ));
    m_samplers = samplers;
}
