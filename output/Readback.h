#pragma once
// The last step of a frame: converting the float4 image into the host's pixel
// format, in pinned host memory that kernels write directly. One stage a
// format; a stage's buffer lives on the primary device and its kernels run on
// that device's stream.

#include "CUDAOutputBuffer.h"
#include "api/trevix7.h"
#include "kernels/readback_kernels.h"

#include <cuda_runtime.h>

#include <memory>

class Readback {
public:
    virtual ~Readback() = default;
    // The mode the stage reports; a BGRA32 stage reports READBACK_BGRA16.
    virtual readbackMode mode() const = 0;
    // The pixel format the stage really produces.
    virtual readbackMode format() const = 0;
    virtual void* devicePointer() = 0;
    virtual void* hostPointer() = 0;
    virtual void resize(unsigned width, unsigned height) = 0;
    // Converts one frame; the host block holds it when this returns.
    virtual void apply(const float4* src) = 0;
    virtual int width() const = 0;
    virtual int height() const = 0;
    // Bytes of one converted frame (0 until the first resize).
    unsigned size() const { return m_size; }

protected:
    unsigned m_size = 0;
};

// Mode 0: no conversion and no image.
class ReadbackDummy final : public Readback {
public:
    readbackMode mode() const override { return READBACK_NONE; }
    readbackMode format() const override { return READBACK_NONE; }
    void* devicePointer() override { return nullptr; }
    void* hostPointer() override { return nullptr; }
    void resize(unsigned, unsigned) override {}
    void apply(const float4*) override {}
    int width() const override { return 0; }
    int height() const override { return 0; }
};

// A stage with a zero-copy buffer of `Pixel`.
template <typename Pixel, readbackMode kFormat> class FormatReadback : public Readback {
public:
    FormatReadback(int device, cudaStream_t stream) : m_buffer(kOutputZeroCopy, device, stream) {}
    readbackMode mode() const override { return kFormat; }
    readbackMode format() const override { return kFormat; }
    void* devicePointer() override { return m_buffer.map(); }
    void* hostPointer() override { return m_buffer.getHostPointer(); }
    // The byte count always describes the buffer: 0 while a failed resize
    // leaves it empty.
    void resize(unsigned width, unsigned height) override
    {
        m_size = 0;
        m_buffer.resize(int(width), int(height));
        m_size = unsigned(size_t(width) * size_t(height) * sizeof(Pixel));
    }
    int width() const override { return m_buffer.width(); }
    int height() const override { return m_buffer.height(); }

protected:
    unsigned pixels() const { return unsigned(size_t(m_buffer.width()) * size_t(m_buffer.height())); }
    CUDAOutputBuffer<Pixel> m_buffer;
};

// A stage whose kernel converts every pixel, then waits for the stream.
template <typename Pixel, readbackMode kFormat,
          void (*kConvert)(unsigned, cudaStream_t, const float4*, Pixel*)>
class ConvertingReadback : public FormatReadback<Pixel, kFormat> {
public:
    using FormatReadback<Pixel, kFormat>::FormatReadback;
    void apply(const float4* src) override
    {
        kConvert(this->pixels(), this->m_buffer.stream(), src, this->m_buffer.map());
        this->m_buffer.unmap();
    }
};

class ReadbackRgba8 final : public ConvertingReadback<uchar4, READBACK_RGBA8, readbackRgba8> {
    using ConvertingReadback::ConvertingReadback;
};
class ReadbackBgra8 final : public ConvertingReadback<uchar4, READBACK_BGRA8, readbackBgra8> {
    using ConvertingReadback::ConvertingReadback;
};
class ReadbackRgba16 final
    : public ConvertingReadback<ushort4, READBACK_RGBA16, readbackRgba16> {
    using ConvertingReadback::ConvertingReadback;
};
class ReadbackBgra16 final
    : public ConvertingReadback<ushort4, READBACK_BGRA16, readbackBgra16> {
    using ConvertingReadback::ConvertingReadback;
};

// A plain copy on the stream, not waited for and not checked.
class ReadbackRgba32 final : public FormatReadback<float4, READBACK_RGBA32> {
public:
    using FormatReadback::FormatReadback;
    void apply(const float4* src) override;
};

// Reports mode 4 (READBACK_BGRA16), not 6: asking for mode 6 therefore builds
// a new stage every time, and asking for mode 4 right after reuses this one.
class ReadbackBgra32 final
    : public ConvertingReadback<float4, READBACK_BGRA32, readbackBgra32> {
public:
    using ConvertingReadback::ConvertingReadback;
    readbackMode mode() const override { return READBACK_BGRA16; }
};

// The stage of a mode (0 to 6) bound to a device and its stream, or null for
// any other value.
std::unique_ptr<Readback> makeReadback(readbackMode mode, int device, cudaStream_t stream);
