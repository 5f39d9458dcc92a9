#pragma once
// A 2D image in a CUDA array with a texture object for the device programs.
// One copy exists per device; the copy owns its array and object.

#include "core/DeviceBound.h"

#include <cuda_runtime.h>

class Texture : public DeviceBound {
public:
    // Stores the description and creates the array and object from `data`
    // (rows tightly packed). Throws for unsupported formats before allocating;
    // a later failure releases what was made.
    Texture(int device, cudaStream_t stream, int width, int height, int channels, int bits,
            cudaTextureAddressMode mode, const void* data);
    ~Texture();
    Texture(const Texture&) = delete;
    Texture& operator=(const Texture&) = delete;

    void create(const void* data);
    // Same size: new contents, same texture object. New size: new array and
    // a new texture object, which every user of the texture must pick up.
    void update(int width, int height, const void* data);
    void destroy();

    cudaTextureObject_t sampler() const { return m_texture; }
    int width() const { return m_width; }
    int height() const { return m_height; }
    bool valid() const { return m_valid; }

    static constexpr const char* kLabel = "Texture.cpp";

private:
    void release() noexcept;

    int m_width;
    int m_height;
    int m_channels;
    int m_bits;
    int m_pitch; // bytes per row of the host image
    cudaTextureAddressMode m_addressMode;
    cudaArray_t m_image = nullptr;
    cudaTextureObject_t m_texture = 0;
    bool m_valid = false;
};
