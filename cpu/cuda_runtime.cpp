// The subset of the CUDA runtime that the library calls, over host memory.
// Device pointers are host pointers; every block is accounted per device.

#include "CpuDevice.h"
#include "Structures.h"

#include <cuda_runtime_api.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

using cpu::cudaResult;
using cpu::insideBlocks;
using cpu::lock;
using cpu::state;

namespace {

cudaError_t noDeviceError()
{
    return state().devices.empty() ? cudaErrorNoDevice : cudaSuccess;
}

// Device memory comes in 256-byte aligned blocks, like the real allocator's;
// null when the host has not that much memory.
void* alignedBlock(size_t bytes)
{
    return bytes > SIZE_MAX - 255 ? nullptr : std::aligned_alloc(256, (bytes + 255) / 256 * 256);
}

cudaError_t allocate(void** ptr, size_t bytes, bool pinned)
{
    if (!ptr)
        return cudaResult(cudaErrorInvalidValue);
    *ptr = nullptr;
    if (cudaError_t e = noDeviceError())
        return cudaResult(e);
    int device = cpu::currentDevice();
    cpu::Device& d = state().devices[device];
    d.contextCreated = true;
    // As the real runtime does, an empty device allocation succeeds with a
    // null pointer and holds nothing.
    if (!pinned && bytes == 0)
        return cudaSuccess;
    if (pinned ? bytes > state().pinnedLimit - std::min(state().pinnedLimit, state().pinnedBytes)
               : !d.fits(bytes))
        return cudaResult(cudaErrorMemoryAllocation);
    void* block = alignedBlock(bytes);
    if (!block)
        return cudaResult(cudaErrorMemoryAllocation);
    std::memset(block, 0, bytes);
    (pinned ? state().pinnedBytes : d.bytesInUse) += bytes;
    state().allocations[block] = {pinned ? -1 : device, bytes, pinned};
    *ptr = block;
    return cudaSuccess;
}

cudaError_t release(void* ptr, bool pinned)
{
    if (!ptr)
        return cudaSuccess;
    auto it = state().allocations.find(ptr);
    if (it == state().allocations.end() || it->second.pinned != pinned)
        return cudaResult(cudaErrorInvalidValue);
    // Stricter than the real runtime: memory is released on its own device.
    if (!pinned && it->second.device != cpu::currentDevice())
        return cudaResult(cudaErrorInvalidDevicePointer);
    (pinned ? state().pinnedBytes : state().devices[it->second.device].bytesInUse) -=
        it->second.bytes;
    cpu::forgetStructuresIn(ptr, it->second.bytes); // no structure lives on in freed memory
    std::free(ptr);
    state().allocations.erase(it);
    return cudaSuccess;
}

cudaError_t copy(void* dst, const void* src, size_t bytes)
{
    if (bytes == 0)
        return cudaSuccess;
    if (!dst || !src)
        return cudaResult(cudaErrorInvalidValue);
    if (!insideBlocks(dst, bytes) || !insideBlocks(src, bytes))
        return cudaResult(cudaErrorInvalidValue);
    std::memmove(dst, src, bytes);
    return cudaSuccess;
}

} // namespace

extern "C" {

const char* cudaGetErrorString(cudaError_t error)
{
    struct Entry {
        int code;
        const char* text;
    };
    static const Entry table[] = {
#include "cuda_errors.inc"
    };
    for (const Entry& e : table)
        if (e.code == int(error))
            return e.text;
    return "unrecognized error code";
}

cudaError_t cudaGetLastError(void)
{
    cudaError_t e = cpu::lastError();
    cpu::lastError() = cudaSuccess;
    return e;
}

cudaError_t cudaGetDeviceCount(int* count)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    *count = int(state().devices.size());
    cudaError_t e = noDeviceError();
    cpu::note("cuda", "cudaGetDeviceCount count=%d -> %d", *count, int(e));
    return cudaResult(e);
}

cudaError_t cudaGetDeviceProperties(cudaDeviceProp* prop, int device)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    // The library asks about the ordinals below the device count only.
    const cpu::Device& d = state().devices[device];
    std::memset(prop, 0, sizeof(*prop));
    std::snprintf(prop->name, sizeof(prop->name), "%s", d.name.c_str());
    prop->major = d.capability / 100;
    prop->minor = d.capability / 10 % 10;
    prop->totalGlobalMem = d.memoryLimit;
    prop->canMapHostMemory = 1;
    return cudaSuccess;
}

cudaError_t cudaSetDevice(int device)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    cudaError_t e = noDeviceError();
    if (e == cudaSuccess && (device < 0 || size_t(device) >= state().devices.size()))
        e = cudaErrorInvalidDevice;
    if (e == cudaSuccess)
        cpu::setCurrentDevice(device);
    cpu::note("cuda", "cudaSetDevice device=%d -> %d", device, int(e));
    return cudaResult(e);
}

cudaError_t cudaMalloc(void** devPtr, size_t size)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    cudaError_t e = allocate(devPtr, size, false);
    cpu::note("cuda", "cudaMalloc device=%d bytes=%zu -> %d", cpu::currentDevice(), size, int(e));
    return e;
}

cudaError_t cudaGetDevice(int* device)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    *device = cpu::currentDevice();
    return cudaResult(noDeviceError());
}

cudaError_t cudaFree(void* devPtr)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    cudaError_t e = noDeviceError();
    if (e == cudaSuccess) {
        state().devices[cpu::currentDevice()].contextCreated = true;
        e = release(devPtr, false);
    }
    cpu::note("cuda", "cudaFree device=%d ptr=%s -> %d", cpu::currentDevice(),
               devPtr ? "block" : "null", int(e));
    return cudaResult(e);
}

cudaError_t cudaHostAlloc(void** pHost, size_t size, unsigned int flags)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    cudaError_t e = allocate(pHost, size, true);
    cpu::note("cuda", "cudaHostAlloc bytes=%zu flags=%u -> %d", size, flags, int(e));
    return e;
}

cudaError_t cudaFreeHost(void* ptr)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    cudaError_t e = release(ptr, true);
    cpu::note("cuda", "cudaFreeHost -> %d", int(e));
    return e;
}

cudaError_t cudaHostGetDevicePointer(void** pDevice, void* pHost, unsigned int flags)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    auto it = state().allocations.find(pHost);
    if (!pDevice || flags != 0 || it == state().allocations.end() || !it->second.pinned)
        return cudaResult(cudaErrorInvalidValue);
    *pDevice = pHost;
    return cudaSuccess;
}

cudaError_t cudaMemcpy(void* dst, const void* src, size_t count, cudaMemcpyKind kind)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    cudaError_t e = copy(dst, src, count);
    cpu::note("cuda", "cudaMemcpy bytes=%zu kind=%d -> %d", count, int(kind), int(e));
    return e;
}

cudaError_t cudaMemcpyAsync(void* dst, const void* src, size_t count, cudaMemcpyKind kind,
                            cudaStream_t stream)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    cudaError_t e = stream && !state().streams.count(stream) ? cudaErrorInvalidResourceHandle
                                                             : copy(dst, src, count);
    cpu::note("cuda", "cudaMemcpyAsync bytes=%zu kind=%d -> %d", count, int(kind), int(e));
    return cudaResult(e);
}

cudaError_t cudaStreamCreate(cudaStream_t* pStream)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    if (cudaError_t e = noDeviceError())
        return cudaResult(e);
    // A stream is a heap cell holding its device ordinal.
    auto* s = new int(cpu::currentDevice());
    *pStream = reinterpret_cast<cudaStream_t>(s);
    state().streams.insert(s);
    cpu::note("cuda", "cudaStreamCreate device=%d -> 0", *s);
    return cudaSuccess;
}

cudaError_t cudaStreamDestroy(cudaStream_t stream)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    if (!state().streams.count(stream) || *reinterpret_cast<int*>(stream) != cpu::currentDevice())
        return cudaResult(cudaErrorInvalidResourceHandle);
    state().streams.erase(stream);
    delete reinterpret_cast<int*>(stream);
    cpu::note("cuda", "cudaStreamDestroy -> 0");
    return cudaSuccess;
}

// Work runs synchronously, so waiting only validates the handle.
cudaError_t cudaStreamSynchronize(cudaStream_t stream)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    if (stream && !state().streams.count(stream))
        return cudaResult(cudaErrorInvalidResourceHandle);
    return cudaSuccess;
}

cudaError_t cudaDeviceSynchronize(void) { return cudaResult(noDeviceError()); }

} // extern "C"

// The driver's memory functions, handed out by the entry-point query. Like the
// driver, they leave the runtime's last error alone; a zero size is refused.
namespace {

CUresult cpuCuMemAlloc(CUdeviceptr* dptr, size_t bytes)
{
    std::lock_guard<std::mutex> guard(lock());
    const cudaError_t last = cpu::lastError();
    cudaError_t e = cudaError_t(cpu::intercepted("cuMemAlloc"));
    if (e == cudaSuccess) {
        void* p = nullptr;
        e = !dptr || bytes == 0 ? cudaErrorInvalidValue : allocate(&p, bytes, false);
        if (e == cudaSuccess)
            *dptr = reinterpret_cast<CUdeviceptr>(p);
    }
    cpu::lastError() = last;
    cpu::note("cuda", "cuMemAlloc device=%d bytes=%zu -> %d", cpu::currentDevice(), bytes, int(e));
    return CUresult(e);
}

CUresult cpuCuMemFree(CUdeviceptr dptr)
{
    std::lock_guard<std::mutex> guard(lock());
    const cudaError_t last = cpu::lastError();
    cudaError_t e = cudaError_t(cpu::intercepted("cuMemFree"));
    if (e == cudaSuccess)
        e = dptr ? release(reinterpret_cast<void*>(dptr), false) : cudaErrorInvalidValue;
    cpu::lastError() = last;
    cpu::note("cuda", "cuMemFree device=%d -> %d", cpu::currentDevice(), int(e));
    return CUresult(e);
}

} // namespace

extern "C" cudaError_t cudaGetDriverEntryPointByVersion(const char* symbol, void** funcPtr,
                                                        unsigned int, unsigned long long,
                                                        cudaDriverEntryPointQueryResult* status)
{
    const std::string name = symbol;
    *funcPtr = name == "cuMemAlloc" ? reinterpret_cast<void*>(&cpuCuMemAlloc)
               : name == "cuMemFree" ? reinterpret_cast<void*>(&cpuCuMemFree)
                                     : nullptr;
    *status = *funcPtr ? cudaDriverEntryPointSuccess : cudaDriverEntryPointSymbolNotFound;
    return cudaSuccess;
}
