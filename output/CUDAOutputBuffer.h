#pragma once
// An image handed to the host, owned by one device. Kinds 0 and 3 keep the
// pixels in device memory and copy them into a host staging array on request;
// kind 2 keeps them in pinned, portable host memory mapped into the device's
// address space, so kernels write straight into what the host reads (every
// image the renderer makes is of kind 2). Kind 1 is reserved and allocates
// nothing.

#include "ImageSize.h"
#include "core/CUDABuffer.h"
#include "core/DeviceBound.h"

#include <cuda_runtime.h>

#include <vector>

enum CUDAOutputBufferType : int {
    kOutputDevice = 0,
    kOutputReserved = 1,
    kOutputZeroCopy = 2,
    kOutputDeviceStaged = 3,
};

template <typename PIXEL_FORMAT> class CUDAOutputBuffer : public DeviceBound {
public:
    // The unit its messages name, wherever the template is used.
    static constexpr const char* kCheckLabel = "CUDAOutputBuffer.h";

    explicit CUDAOutputBuffer(CUDAOutputBufferType type = kOutputZeroCopy, int device = -1,
                              cudaStream_t stream = nullptr)
        : DeviceBound(kCheckLabel, device, stream), m_type(type)
    {
    }
    ~CUDAOutputBuffer();
    CUDAOutputBuffer(const CUDAOutputBuffer&) = delete;
    CUDAOutputBuffer& operator=(const CUDAOutputBuffer&) = delete;

    // The device that owns the memory and the stream its producers run on;
    // set before the first resize.
    void setDevice(int device, cudaStream_t stream)
    {
        m_device_idx = device;
        m_stream = stream;
    }

    // Reallocates for a new size (contents are lost); the same size does
    // nothing. An empty image holds no memory. After a failure the buffer is
    // empty (0 x 0).
    void resize(int width, int height);
    PIXEL_FORMAT* map() { return m_device_pixels; }
    // Waits for the stream, so the host sees what was written on it.
    void unmap();
    // Kind 2: the mapped block itself. Kinds 0 and 3: a fresh staging copy.
    PIXEL_FORMAT* getHostPointer();

    int width() const { return m_width; }
    int height() const { return m_height; }
    CUDAOutputBufferType type() const { return m_type; }

private:
    bool onDevice() const { return m_type == kOutputDevice || m_type == kOutputDeviceStaged; }
    void release();

    CUDAOutputBufferType m_type;
    int m_width = 0;
    int m_height = 0;
    PIXEL_FORMAT* m_device_pixels = nullptr;     // kind 2: the device alias of the host block
    PIXEL_FORMAT* m_host_zcopy_pixels = nullptr; // kind 2 only
    std::vector<PIXEL_FORMAT> m_host_pixels;     // kinds 0 and 3: staging copy
};

template <typename PIXEL_FORMAT> CUDAOutputBuffer<PIXEL_FORMAT>::~CUDAOutputBuffer()
{
    if (!m_device_pixels && !m_host_zcopy_pixels)
        return;
    destructorGuard("CUDAOutputBuffer", [&] { release(); }, std::cerr);
}

template <typename PIXEL_FORMAT> void CUDAOutputBuffer<PIXEL_FORMAT>::release()
{
    makeCurrent();
    if (onDevice()) {
        CUDA_CHECK(cudaFree(reinterpret_cast<void*>(m_device_pixels)));
        m_device_pixels = nullptr;
    } else if (m_type == kOutputZeroCopy) {
        CUDA_CHECK(cudaFreeHost(reinterpret_cast<void*>(m_host_zcopy_pixels)));
        m_host_zcopy_pixels = nullptr;
        m_device_pixels = nullptr;
    }
}

template <typename PIXEL_FORMAT>
void CUDAOutputBuffer<PIXEL_FORMAT>::resize(int width, int height)
{
    if (width == m_width && height == m_height)
        return;
    // The renderer checks sizes first; this keeps the int products below exact.
    if (width < 0 || height < 0 || size_t(width) * size_t(height) > kMaxImagePixels)
        throw sutil::Exception(imageSizeProblem(unsigned(width), unsigned(height), 1).c_str());
    m_width = width;
    m_height = height;
    try {
        release();
        if (m_width > 0 && m_height > 0) {
            // clang-format off
            if (onDevice()) {
                CUDA_CHECK(cudaMalloc(reinterpret_cast<void**>(&m_device_pixels), m_width * m_height * sizeof(PIXEL_FORMAT)));
            } else if (m_type == kOutputZeroCopy) {
                CUDA_CHECK(cudaHostAlloc(reinterpret_cast<void**>(&m_host_zcopy_pixels), m_width * m_height * sizeof(PIXEL_FORMAT), cudaHostAllocPortable | cudaHostAllocMapped));
                CUDA_CHECK(cudaHostGetDevicePointer(reinterpret_cast<void**>(&m_device_pixels), reinterpret_cast<void*>(m_host_zcopy_pixels), 0));
            }
            // clang-format on
        }
    } catch (...) {
        m_width = m_height = 0;
        try {
            release(); // the first failure is the one reported
        } catch (...) {
        }
        throw;
    }
    if (!m_host_pixels.empty())
        m_host_pixels.resize(size_t(m_width) * size_t(m_height));
}

template <typename PIXEL_FORMAT> void CUDAOutputBuffer<PIXEL_FORMAT>::unmap()
{
    makeCurrent();
    CUDA_CHECK(cudaStreamSynchronize(m_stream));
}

template <typename PIXEL_FORMAT> PIXEL_FORMAT* CUDAOutputBuffer<PIXEL_FORMAT>::getHostPointer()
{
    if (!onDevice())
        return m_host_zcopy_pixels;
    m_host_pixels.resize(size_t(m_width) * size_t(m_height));
    makeCurrent();
    // clang-format off
    CUDA_CHECK(cudaMemcpy(m_host_pixels.data(), map(), m_width * m_height * sizeof(PIXEL_FORMAT), cudaMemcpyDeviceToHost));
    // clang-format on
    unmap();
    return m_host_pixels.data();
}
