#pragma once
// A typed array in device memory: the storage behind every geometry slot.
// It never falls back to host memory and never frees itself: its owner calls
// free() (copyable on purpose, like a pointer).

#include "DeviceBound.h"

#include <cuda_runtime.h>

#include <cstddef>
#include <cstdint>

class CuBuffer : public DeviceBound {
public:
    CuBuffer() : DeviceBound(kLabel) {}
    CuBuffer(size_t elsize, int device, cudaStream_t stream)
        : DeviceBound(kLabel, device, stream), m_elsize(elsize)
    {
    }

    // Room for exactly `count` elements; the old contents are not kept.
    void alloc(size_t count);
    void free();
    // Copies m_count elements (synchronously, or on the buffer's stream).
    void upload(const void* data);
    void uploadAsync(const void* data);
    void download(void* data) const;
    // Device-to-device copy of a buffer with the same element size and count.
    void copyFromAsync(const CuBuffer& src) const;

    // The device address, as the shader-data record keeps it.
    uint64_t ptr() const { return reinterpret_cast<uint64_t>(m_ptr); }
    size_t count() const { return m_count; }
    size_t allocCount() const { return m_allocCount; }
    size_t elsize() const { return m_elsize; }
    // The owner shrinks a slot by lowering the count and keeping the memory.
    void setCount(size_t count) { m_count = count; }

    static constexpr const char* kLabel = "CUDABuffer.cpp";

private:
    size_t m_elsize = 1;
    size_t m_count = 0;
    size_t m_allocCount = 0;
    void* m_ptr = nullptr;
};
