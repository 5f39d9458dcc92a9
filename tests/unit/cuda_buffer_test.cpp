// Device buffers on the simulated runtime: capacity rules, the negative device
// ordinal, copies and the exact failure texts.

#include "core/CuBuffer.h"
#include "sim_control.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

class DeviceBuffers : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(cudaSetDevice(0), cudaSuccess);
        m_before = sim::counts().deviceAllocations;
        m_bytes = sim::deviceBytesInUse(0);
    }
    void TearDown() override { EXPECT_EQ(sim::counts().deviceAllocations, m_before); }
    size_t m_before = 0;
    size_t m_bytes = 0;
};

std::string failure(const std::function<void()>& call)
{
    try {
        call();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "no exception";
}

TEST_F(DeviceBuffers, AllocHoldsExactlyTheRequestedCountAndDropsOldContents)
{
    CuBuffer b(12, 0, nullptr);
    EXPECT_EQ(b.ptr(), 0u);
    b.alloc(5);
    EXPECT_EQ(b.count(), 5u);
    EXPECT_EQ(b.allocCount(), 5u);
    EXPECT_EQ(sim::deviceBytesInUse(0) - m_bytes, 60u);
    std::vector<float> in(21, 2.5f), out(21, 0.0f);
    b.upload(in.data());
    b.alloc(7); // no doubling, no rounding, no carry-over
    EXPECT_EQ(sim::deviceBytesInUse(0) - m_bytes, 84u);
    b.download(out.data());
    EXPECT_EQ(out[0], 0.0f);

    b.alloc(0);
    EXPECT_EQ(b.ptr(), 0u);
    EXPECT_EQ(b.count(), 0u);
    EXPECT_EQ(b.allocCount(), 0u);
    EXPECT_EQ(sim::deviceBytesInUse(0), m_bytes);
    b.free();
    b.free(); // harmless twice
}

TEST_F(DeviceBuffers, RoundTripsAndDeviceCopies)
{
    CuBuffer a(4, 0, nullptr), b(4, 0, nullptr);
    a.alloc(3);
    b.alloc(3);
    const unsigned in[3] = {7, 8, 9};
    unsigned out[3] = {};
    a.uploadAsync(in);
    b.copyFromAsync(a);
    b.download(out);
    EXPECT_EQ(out[2], 9u);
    a.free();
    b.free();
}

TEST_F(DeviceBuffers, CopiesNeedEqualCountsWhateverTheCapacity)
{
    CuBuffer big(4, 0, nullptr), small(4, 0, nullptr);
    big.alloc(10);
    small.alloc(3);
    big.setCount(4); // shrunk by its owner, capacity still 10
    EXPECT_EQ(failure([&] { big.copyFromAsync(small); }),
              "Buffer element size or cout not matching.");
    CuBuffer wide(8, 0, nullptr);
    wide.alloc(3);
    EXPECT_EQ(failure([&] { wide.copyFromAsync(small); }),
              "Buffer element size or cout not matching.");
    big.free();
    small.free();
    wide.free();
}

TEST_F(DeviceBuffers, NegativeOrdinalNeitherSelectsNorFrees)
{
    CuBuffer loose; // element size 1, no device
    EXPECT_EQ(loose.elsize(), 1u);
    loose.alloc(16); // on the current device
    void* first = reinterpret_cast<void*>(loose.ptr());
    loose.alloc(32); // the old block is not freed
    EXPECT_EQ(sim::counts().deviceAllocations, m_before + 2);
    loose.free(); // does nothing without a device
    EXPECT_EQ(sim::counts().deviceAllocations, m_before + 2);

    const std::string error = failure([&] { loose.upload("x"); });
    EXPECT_EQ(error.rfind("CUDA call (cudaSetDevice(m_device_idx) ) failed with error: "
                          "'invalid device ordinal' (CUDABuffer.cpp:",
                          0),
              0u)
        << error;
    EXPECT_EQ(cudaFree(first), cudaSuccess);
    EXPECT_EQ(cudaFree(reinterpret_cast<void*>(loose.ptr())), cudaSuccess);
}

TEST_F(DeviceBuffers, FailedAllocationKeepsTheNewCountAndNoPointer)
{
    const size_t limit = sim::memoryLimit(0);
    sim::setDeviceMemoryLimit(0, sim::deviceBytesInUse(0) + 100);
    CuBuffer b(8, 0, nullptr);
    b.alloc(4);
    const std::string error = failure([&] { b.alloc(20); });
    sim::setDeviceMemoryLimit(0, limit);
    EXPECT_EQ(error.rfind("CUDA call (cudaMalloc(&m_ptr, m_allocCount * m_elsize) ) failed with "
                          "error: 'out of memory' (CUDABuffer.cpp:",
                          0),
              0u)
        << error;
    EXPECT_EQ(b.ptr(), 0u);
    EXPECT_EQ(b.count(), 20u);
    EXPECT_EQ(b.allocCount(), 20u);
    b.alloc(1); // repairs it
    EXPECT_NE(b.ptr(), 0u);
    b.free();
}

} // namespace
