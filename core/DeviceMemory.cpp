#include "DeviceMemory.h"

#include "CUDABuffer.h"

#include <iostream>

T7_CHECK_LABEL("DeviceMemory.cpp");

void DeviceBound::makeCurrent(int line) const
{
    const cudaError_t error = cudaSetDevice(m_device_idx);
    if (error != cudaSuccess)
        throwCudaCallFailed("cudaSetDevice(m_device_idx)", error, m_label, line);
}

DeviceBlock::~DeviceBlock()
{
    if (!m_ptr)
        return;
    destructorGuard("DeviceBlock", [&] {
        makeCurrent();
        CUDA_CHECK(cudaFree(reinterpret_cast<void*>(m_ptr)));
    });
}

cudaError_t DeviceBlock::alloc(size_t bytes)
{
    const cudaError_t error = cudaMalloc(reinterpret_cast<void**>(&m_ptr), bytes);
    if (error != cudaSuccess)
        m_ptr = 0;
    return error;
}

CUdeviceptr DeviceBlock::release()
{
    const CUdeviceptr p = m_ptr;
    m_ptr = 0;
    return p;
}

MappedHostBlock::~MappedHostBlock()
{
    if (m_ptr)
        destructorGuard("MappedHostBlock", [&] { CUDA_CHECK(cudaFreeHost(m_ptr)); });
}

cudaError_t MappedHostBlock::alloc(size_t bytes)
{
    const cudaError_t error = cudaHostAlloc(&m_ptr, bytes, cudaHostAllocMapped);
    if (error != cudaSuccess)
        m_ptr = nullptr;
    return error;
}

void* MappedHostBlock::release()
{
    void* p = m_ptr;
    m_ptr = nullptr;
    return p;
}

cudaError_t reportAllocationFailure(const AllocationReport& report, cudaError_t error,
                                    size_t bytes)
{
    std::cout << report.failed << cudaGetErrorString(error) << std::endl
              << report.sizeLabel << (bytes >> 20) << " MB" << std::endl;
    if (report.next)
        std::cout << report.next << std::endl;
    return cudaGetLastError();
}

cudaError_t allocDeviceOrMapped(size_t bytes, DeviceBlock& device, MappedHostBlock& host,
                                const AllocationReport& onDevice)
{
    cudaError_t error = device.alloc(bytes);
    if (error == cudaSuccess)
        return error;
    reportAllocationFailure(onDevice, error, bytes);
    return host.alloc(bytes);
}
