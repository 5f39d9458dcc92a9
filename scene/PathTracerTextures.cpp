// Textures of a renderer instance: one copy per device under a process-wide id.

#include "core/PathTracer.h"

#include "core/CUDABuffer.h"

#include <tuple>

T7_CHECK_LABEL(PathTracer::kLabel);

unsigned PathTracer::_textureCount = 0;

unsigned PathTracer::setupTexture(int width, int height, int channels, int bits, int addressMode,
                                  const void* data)
{
    const unsigned id = ++_textureCount;
    // Wrap, clamp, mirror or border; anything else is not an address mode.
    if (addressMode < cudaAddressModeWrap || addressMode > cudaAddressModeBorder)
        throw sutil::Exception("Unsupported address mode in the texture source.");
    addOnEveryState(&PathTracerState::textures, id,
                    [&](PathTracerState& state, std::map<unsigned, Texture>& map) {
                        map.emplace(std::piecewise_construct, std::forward_as_tuple(id),
                                    std::forward_as_tuple(state.device_idx, state.stream, width,
                                                          height, channels, bits,
                                                          cudaTextureAddressMode(addressMode),
                                                          data));
                    });
    return id;
}

bool PathTracer::updateTexture(unsigned id, int width, int height, const void* data)
{
    const bool found = forEachState([&](PathTracerState& state) {
        auto texture = state.textures.find(id);
        if (texture == state.textures.end())
            return false;
        // A resize makes a new texture object, which may even reuse the old
        // value; its users are refreshed either way.
        const bool resized = width != texture->second.width() || height != texture->second.height();
        try {
            texture->second.update(width, height, data);
        } catch (...) {
            // A resize that failed half-way destroyed the old object all the same.
            if (resized)
                updateStateTextureSamplers(state);
            throw;
        }
        if (resized)
            updateStateTextureSamplers(state);
        return true;
    });
    if (found)
        m_accumFrames = 0;
    return found;
}

bool PathTracer::setBackgroundTexture(unsigned id)
{
    const bool found = forEachState([&](PathTracerState& state) {
        cudaTextureObject_t sampler = 0;
        if (id) {
            auto texture = state.textures.find(id);
            if (texture == state.textures.end())
                return false;
            sampler = texture->second.sampler();
        }
        state.params.bg_texture = sampler;
        return true;
    });
    if (!found)
        return false;
    m_backgroundTexture = id;
    m_accumFrames = 0;
    return true;
}
