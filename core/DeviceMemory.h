#pragma once
// Device and mapped host memory that releases itself, and the one allocation
// that places a buffer in device memory and falls back to mapped host memory.

#include "DeviceBound.h"
#include "optix7.h"

#include <cuda_runtime.h>

#include <cstddef>

// Device memory released, on its own device, when the block goes (unless it
// was handed over with release()).
class DeviceBlock : public DeviceBound {
public:
    explicit DeviceBlock(int device) : DeviceBound("DeviceMemory.cpp", device) {}
    ~DeviceBlock();
    DeviceBlock(const DeviceBlock&) = delete;
    DeviceBlock& operator=(const DeviceBlock&) = delete;

    // Allocates `bytes` on the block's device (which must be current);
    // the CUDA result is returned, not thrown.
    cudaError_t alloc(size_t bytes);
    // The address, for allocations written as plain CUDA calls.
    CUdeviceptr& ptr() { return m_ptr; }
    CUdeviceptr get() const { return m_ptr; }
    CUdeviceptr release();

private:
    CUdeviceptr m_ptr = 0;
};

// Pinned host memory mapped into the device address space, released when the
// block goes.
class MappedHostBlock {
public:
    MappedHostBlock() = default;
    ~MappedHostBlock();
    MappedHostBlock(const MappedHostBlock&) = delete;
    MappedHostBlock& operator=(const MappedHostBlock&) = delete;

    cudaError_t alloc(size_t bytes);
    void* get() const { return m_ptr; }
    void* release();

private:
    void* m_ptr = nullptr;
};

// The lines printed when an allocation fails:
//   <failed><CUDA error text>
//   <sizeLabel><size in MiB> MB
//   <next>                       (left out when null)
// then the pending CUDA error is cleared; its value is returned.
struct AllocationReport {
    const char* failed;
    const char* sizeLabel;
    const char* next;
};
cudaError_t reportAllocationFailure(const AllocationReport& report, cudaError_t error,
                                    size_t bytes);

// Device memory of `bytes` in `device`, else mapped host memory in `host`,
// reporting the device failure with `onDevice`. Returns cudaSuccess with one
// block holding the memory, or the host allocation's error (still pending)
// with both empty.
cudaError_t allocDeviceOrMapped(size_t bytes, DeviceBlock& device, MappedHostBlock& host,
                                const AllocationReport& onDevice);
