// Textures of a renderer instance: one copy per device under a process-wide id.

#include "core/PathTracer.h"

#include "core/CUDABuffer.h"

#include <tuple>

unsigned PathTracer::_textureCount = 0;

unsigned PathTracer::setupTexture(int width, int height, int channels, int bits, int addressMode,
                                  const void* data)
{
    const unsigned id = ++_textureCount;
    for (PathTracerState& state : m_states)
        state.textures.emplace(std::piecewise_construct, std::forward_as_tuple(id),
                               std::forward_as_tuple(state.device_idx, state.stream, width, height,
                                                     channels, bits,
                                                     cudaTextureAddressMode(addressMode), data));
    return id;
}

bool PathTracer::updateTexture(unsigned id, int width, int height, const void* data)
{
    for (PathTracerState& state : m_states) {
        auto found = state.textures.find(id);
        if (found == state.textures.end())
            return false;
        Texture& texture = found->second;
        const cudaTextureObject_t before = texture.sampler();
        texture.update(width, height, data);
        // A resize made a new texture object; its users hold the old one.
        if (texture.sampler() != before)
            updateStateTextureSamplers(state);
    }
    m_accumFrames = 0;
    return true;
}

bool PathTracer::setBackgroundTexture(unsigned id)
{
    for (PathTracerState& state : m_states) {
        cudaTextureObject_t sampler = 0;
        if (id) {
            auto found = state.textures.find(id);
            if (found == state.textures.end())
                return false;
            sampler = found->second.sampler();
        }
        state.params.bg_texture = sampler;
    }
    m_backgroundTexture = id;
    m_accumFrames = 0;
    return true;
}
