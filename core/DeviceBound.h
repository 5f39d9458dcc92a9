#pragma once
// The base of everything that lives on one device and works on one stream: it
// keeps the ordinal and the stream and makes its device current. Messages carry
// the label of the owning unit ("Geometry.cpp", "Texture.cpp", ...).

#include <cuda_runtime.h>

class DeviceBound {
public:
    explicit DeviceBound(const char* label, int device = -1, cudaStream_t stream = nullptr)
        : m_device_idx(device), m_stream(stream), m_label(label)
    {
    }

    // cudaSetDevice(m_device_idx), checked; the message gives the caller's line.
    void makeCurrent(int line = __builtin_LINE()) const;

    int deviceIndex() const { return m_device_idx; }
    cudaStream_t stream() const { return m_stream; }

protected:
    int m_device_idx;
    cudaStream_t m_stream;

private:
    const char* m_label;
};
