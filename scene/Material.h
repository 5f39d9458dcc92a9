#pragma once
// A material on one device: its parameter record, its two hit programs and
// four device arrays of texture objects (base colour, roughness, metalness,
// normal) that the record points to.

#include "HitProgram.h"
#include "MaterialData.h"

#include "core/DeviceBound.h"
#include "programs/Modules.h"

#include <string>
#include <vector>

// The four texture lists of a material, as texture ids or as the texture
// objects of one device.
template <typename T> struct MaterialTextureLists {
    std::vector<T> color;
    std::vector<T> roughness;
    std::vector<T> metalness;
    std::vector<T> normal;
};
using MaterialTextureIds = MaterialTextureLists<unsigned>;
using MaterialSamplers = MaterialTextureLists<cudaTextureObject_t>;

class Material : public DeviceBound {
public:
    // The default parameters, no textures and no programs, on no device.
    Material() : DeviceBound(kLabel) {}
    // Stores everything and allocates and fills the texture arrays; a failure
    // releases what was allocated before it.
    Material(int device, cudaStream_t stream, const MaterialData& params,
             const MaterialSamplers& samplers, const MaterialTextureIds& ids,
             const HitProgram& radiance, const HitProgram& occlusion);
    ~Material();
    Material(const Material&) = delete;
    Material& operator=(const Material&) = delete;

    // New parameters and texture lists; the arrays are reallocated only when
    // tex_count changes, then the samplers are copied in.
    void updateParams(const MaterialData& params, const MaterialSamplers& samplers,
                      const MaterialTextureIds& ids);
    // The modules of the two programs, made when a program is dirty or `force`
    // is set; the dirty flags are cleared.
    void createHitModules(Modules& modules, bool force);
    // Frees and allocates the four arrays for tex_count entries each.
    void reallocBuffers();
    // Copies min(tex_count, list size) samplers into each existing array.
    void updateTextureSamplers(const MaterialSamplers& samplers);

    const MaterialData& params() const { return m_params; }
    const MaterialTextureIds& textureIds() const { return m_textureIds; }
    HitProgram& radiance() { return m_radiance; }
    HitProgram& occlusion() { return m_occlusion; }
    const HitProgram& radiance() const { return m_radiance; }
    const HitProgram& occlusion() const { return m_occlusion; }

    static constexpr const char* kLabel = "Material.cpp";

private:
    void freeBuffers();
    void release() noexcept;


    MaterialData m_params;
    MaterialSamplers m_samplers;
    MaterialTextureIds m_textureIds;
    HitProgram m_radiance;
    HitProgram m_occlusion;
};
