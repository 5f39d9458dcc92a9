#include "Readback.h"

void ReadbackRgba32::apply(const float4* src)
{
    cudaMemcpyAsync(m_buffer.map(), src, m_size, cudaMemcpyDeviceToDevice, m_buffer.stream());
}

std::unique_ptr<Readback> makeReadback(readbackMode mode, int device, cudaStream_t stream)
{
    switch (mode) {
    case READBACK_NONE:
        return std::make_unique<ReadbackDummy>();
    case READBACK_RGBA8:
        return std::make_unique<ReadbackRgba8>(device, stream);
    case READBACK_BGRA8:
        return std::make_unique<ReadbackBgra8>(device, stream);
    case READBACK_RGBA16:
        return std::make_unique<ReadbackRgba16>(device, stream);
    case READBACK_BGRA16:
        return std::make_unique<ReadbackBgra16>(device, stream);
    case READBACK_RGBA32:
        return std::make_unique<ReadbackRgba32>(device, stream);
    case READBACK_BGRA32:
        return std::make_unique<ReadbackBgra32>(device, stream);
    }
    return nullptr;
}
