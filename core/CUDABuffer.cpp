#include "CuBuffer.h"

#include "CUDABuffer.h"

T7_CHECK_LABEL(CuBuffer::kLabel);

void CuBuffer::alloc(size_t count)
{
    if (m_device_idx >= 0) {
        makeCurrent();
        if (m_ptr) {
            m_count = m_allocCount = 0;
            CUDA_CHECK(cudaFree(m_ptr));
            m_ptr = nullptr;
        }
    }
    m_count = m_allocCount = count;
    if (!count)
        return;
    try {
        CUDA_CHECK(cudaMalloc(&m_ptr, m_allocCount * m_elsize));
    } catch (...) {
        // Nothing was allocated: the buffer holds nothing, not count elements.
        m_count = m_allocCount = 0;
        m_ptr = nullptr;
        throw;
    }
}

void CuBuffer::free()
{
    if (m_device_idx < 0)
        return;
    makeCurrent();
    if (m_ptr) {
        m_count = m_allocCount = 0;
        CUDA_CHECK(cudaFree(m_ptr));
        m_ptr = nullptr;
    }
}

void CuBuffer::upload(const void* data)
{
    makeCurrent();
    CUDA_CHECK(cudaMemcpy(m_ptr, data, m_count * m_elsize, cudaMemcpyHostToDevice));
}

void CuBuffer::uploadAsync(const void* data)
{
    makeCurrent();
    CUDA_CHECK(cudaMemcpyAsync(m_ptr, data, m_count * m_elsize, cudaMemcpyHostToDevice, m_stream));
}

void CuBuffer::download(void* data) const
{
    makeCurrent();
    CUDA_CHECK(cudaMemcpy(data, m_ptr, m_count * m_elsize, cudaMemcpyDeviceToHost));
}

void CuBuffer::copyFromAsync(const CuBuffer& src) const
{
    makeCurrent();
    if (m_count != src.m_count || m_elsize != src.m_elsize)
        throw sutil::Exception("Buffer element size or cout not matching.");
    CUDA_CHECK(cudaMemcpyAsync(m_ptr, src.m_ptr, m_count * m_elsize, cudaMemcpyDeviceToDevice, m_stream));
}
