#include "Texture.h"

#include "core/CUDABuffer.h"

#include <climits>

T7_CHECK_LABEL(Texture::kLabel);

namespace {

// The channel layout of a supported format; throws for anything else.
cudaChannelFormatDesc channelFormat(int channels, int bits)
{
    if (channels != 1 && channels != 2 && channels != 4)
        throw sutil::Exception("Unsupported channels in the texture source.");
    cudaChannelFormatKind kind;
    switch (bits) {
    case 8:
    case 16:
        kind = cudaChannelFormatKindUnsigned;
        break;
    case 32:
        kind = cudaChannelFormatKindFloat;
        break;
    default:
        throw sutil::Exception("Unsupported bits/channel in the texture source.");
    }
    return cudaCreateChannelDesc(bits, channels >= 2 ? bits : 0, channels == 4 ? bits : 0,
                                 channels == 4 ? bits : 0, kind);
}

// Bytes per row of a tightly packed host image; throws for an unsupported
// format or size before anything is allocated.
int rowPitch(int width, int height, int channels, int bits)
{
    channelFormat(channels, bits);
    const long long pitch = (long long)width * channels * bits / 8;
    if (width <= 0 || height <= 0 || pitch > INT_MAX)
        throw sutil::Exception("Unsupported size in the texture source.");
    return int(pitch);
}

} // namespace

Texture::Texture(int device, cudaStream_t stream, int width, int height, int channels, int bits,
                 cudaTextureAddressMode mode, const void* data)
    : DeviceBound(kLabel, device, stream), m_width(width), m_height(height),
      m_channels(channels), m_bits(bits), m_pitch(rowPitch(width, height, channels, bits)),
      m_addressMode(mode)
{
    try {
        create(data);
    } catch (...) {
        release(); // an array made before the failure
        throw;
    }
}

Texture::~Texture()
{
    release();
}

void Texture::release() noexcept
{
    if (!m_image && !m_texture)
        return;
    destructorGuard("Texture", [this] {
        makeCurrent();
        destroy();
    });
}

void Texture::create(const void* data)
{
    const cudaChannelFormatDesc channel_desc = channelFormat(m_channels, m_bits);
    makeCurrent();

    cudaArray_t cuda_array = nullptr;
    CUDA_CHECK(cudaMallocArray(&cuda_array, &channel_desc, m_width, m_height));
    m_image = cuda_array;
    CUDA_CHECK(cudaMemcpy2DToArrayAsync( cuda_array, 0, 0, data, m_pitch, m_pitch, m_height, cudaMemcpyHostToDevice, m_stream ));

    cudaResourceDesc res_desc = {};
    res_desc.resType = cudaResourceTypeArray;
    res_desc.res.array.array = cuda_array;

    cudaTextureDesc tex_desc = {};
    tex_desc.addressMode[0] = m_addressMode;
    tex_desc.addressMode[1] = m_addressMode;
    tex_desc.filterMode = cudaFilterModeLinear;
    // 8- and 16-bit images read as 0..1, float images as stored.
    tex_desc.readMode = m_bits == 32 ? cudaReadModeElementType : cudaReadModeNormalizedFloat;
    tex_desc.sRGB = 0;
    tex_desc.borderColor[0] = 1.0f;
    tex_desc.normalizedCoords = 1;
    tex_desc.maxAnisotropy = 1;
    tex_desc.mipmapFilterMode = cudaFilterModePoint;
    tex_desc.mipmapLevelBias = 0.0f;
    tex_desc.minMipmapLevelClamp = 0.0f;
    tex_desc.maxMipmapLevelClamp = 99.0f;

    CUDA_CHECK(cudaCreateTextureObject(&m_texture, &res_desc, &tex_desc, nullptr));
    m_valid = true;
}

void Texture::update(int width, int height, const void* data)
{
    makeCurrent();
    if (width == m_width && height == m_height) {
        CUDA_CHECK(cudaMemcpy2DToArrayAsync( m_image, 0, 0, data, m_pitch, m_pitch, m_height, cudaMemcpyHostToDevice, m_stream ));
        return;
    }
    const int pitch = rowPitch(width, height, m_channels, m_bits);
    destroy();
    m_width = width;
    m_height = height;
    m_pitch = pitch;
    create(data);
}

void Texture::destroy()
{
    m_valid = false;
    if (m_texture) {
        CUDA_CHECK(cudaDestroyTextureObject(m_texture));
        m_texture = 0;
    }
    if (m_image) {
        CUDA_CHECK(cudaFreeArray(m_image));
        m_image = nullptr;
    }
}
