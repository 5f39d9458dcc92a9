#pragma once
// The state of the CPU device, shared by its CUDA runtime, its kernels and
// its OptiX library: the devices, every allocation, stream, array and
// texture object, and the OptiX objects. Device memory is host memory, so a
// device pointer is a host pointer.
//
// A test layer (sim/) may install hooks: an interception of every call by
// its API name (failure injection), a note of every call (the journal) and
// the device set. Without hooks there is one device with the machine's
// memory.

#include <cuda_runtime_api.h>

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace cpu {

struct Device {
    std::string name;
    int capability; // major * 100 + minor * 10
    size_t memoryLimit;
    size_t bytesInUse = 0;
    bool contextCreated = false;

    // Whether `bytes` more still fit under the limit (which tests may lower
    // below what is already in use).
    bool fits(size_t bytes) const
    {
        return bytesInUse <= memoryLimit && bytes <= memoryLimit - bytesInUse;
    }
};

struct Allocation {
    int device; // -1 for pinned host memory
    size_t bytes;
    bool pinned;
};

// A CUDA array: its image lives outside the allocation map (texture objects
// share it, so a fetch never reads a freed image); its bytes count against
// its device's memory.
struct Array {
    int device;
    cudaChannelFormatDesc desc;
    size_t width;
    size_t height;   // 0 for a one-dimensional array
    size_t rowBytes; // width * bytes per element
    std::shared_ptr<std::vector<unsigned char>> image;
};

// A texture object. Handles count up from kFirstTextureObject and are never
// reused; a fetch finds its object by index, without a lock.
constexpr unsigned long long kFirstTextureObject = 0x7e0001;
struct TextureObject {
    bool live;
    int device;
    cudaResourceDesc resource;
    cudaTextureDesc texture;
    cudaChannelFormatDesc format;
    size_t width, height, rowBytes;
    std::shared_ptr<const std::vector<unsigned char>> image;
};

struct Hooks {
    // The result a call of `function` must fail with before it does anything
    // (an OptiX call with a log gets `log` written), or 0.
    int (*intercept)(const char* function, char* log, size_t* logSize) = nullptr;
    // One line about a call that was made.
    void (*note)(const std::string& line) = nullptr;
    // The device set, instead of the one CPU device.
    void (*configure)(std::vector<Device>& devices) = nullptr;
};
Hooks& hooks();

struct State {
    std::vector<Device> devices;
    std::map<void*, Allocation> allocations;
    size_t pinnedLimit = SIZE_MAX;
    size_t pinnedBytes = 0;
    std::set<Array*> arrays;
    std::deque<TextureObject> textureObjects; // by handle - kFirstTextureObject
    size_t liveTextureObjects = 0;
    std::set<void*> streams;
    std::set<void*> optixContexts;
    std::set<void*> optixObjects; // modules, groups, pipelines, denoisers
    bool compactionSaves = true;  // compacted sizes below the structure's
};

// Created on first use (then the hooks' device set applies); never destroyed,
// since a host may release objects from its static destructors. Calls hold
// the lock while they touch it; a launch's programs never do.
State& state();
std::mutex& lock();

// What the hooks make of a call; cheap when there are none.
int intercepted(const char* function, char* log = nullptr, size_t* logSize = nullptr);
void note(const char* api, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
bool noting();

// Writes `text` as OptiX writes logs: truncated to the buffer, always
// terminated, with the size it needed (terminator included) reported back.
void writeLog(const std::string& text, char* log, size_t* logSize);

// Records a failed CUDA call as the thread's last error, as the runtime does;
// gives back `e`.
cudaError_t cudaResult(cudaError_t e);
cudaError_t& lastError();

// The live block that holds all of [p, p + bytes) (at least one byte), or null.
const Allocation* blockHolding(const void* p, size_t bytes);
// True unless [p, p + bytes) starts inside a block and runs past its end;
// memory outside every block is ordinary host memory.
bool insideBlocks(const void* p, size_t bytes);

// The calling thread's current device.
int currentDevice();
void setCurrentDevice(int device);

} // namespace cpu

// A CUDA function's own interception, by its name, after taking the lock.
#define CPU_CUDA_INTERCEPT()                                                                \
    if (const int intercepted_ = cpu::intercepted(__func__))                                \
    return cpu::cudaResult(cudaError_t(intercepted_))

// The same for an OptiX function, by its API name.
#define CPU_OPTIX_INTERCEPT(name)                                                           \
    if (const int intercepted_ = cpu::intercepted(name))                                    \
    return OptixResult(intercepted_)
