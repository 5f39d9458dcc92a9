#pragma once
// Process-wide state of the simulated device, shared by the simulated CUDA
// runtime and the simulated OptiX library.

#include "sim_control.h"

#include <cuda_runtime_api.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace sim {

struct Device {
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

// A CUDA array: its image lives in host memory outside the allocation map,
// its bytes count against its device's memory.
struct Array {
    int device;
    cudaChannelFormatDesc desc;
    size_t width;
    size_t height;   // 0 for a one-dimensional array
    size_t rowBytes; // width * bytes per element
    std::vector<unsigned char> image;
};

struct TextureObject {
    int device;
    cudaResourceDesc resource;
    cudaTextureDesc texture;
};

// An acceleration structure made by a build, a compaction or a relocation.
// Its first 16 bytes in the output buffer hold kStructureMagic and its serial,
// the index into State::structures plus one.
constexpr unsigned long long kStructureMagic = 0x5452565853545255ull;
struct Structure {
    int device;
    CUdeviceptr address; // also its traversable handle
    size_t size;
    size_t compactedSize;
    unsigned buildFlags;
    unsigned inputType;    // OptixBuildInputType
    unsigned numInstances; // instance structures only
};

// A failure waiting for the next calls of one function.
struct Injection {
    int result;
    unsigned after; // calls that still succeed first
    std::string log;
};

struct State {
    std::vector<Device> devices;
    std::map<std::string, Injection> injections;
    std::vector<std::string> journal;
    std::map<void*, Allocation> allocations;
    size_t pinnedLimit = SIZE_MAX;
    size_t pinnedBytes = 0;
    std::set<Array*> arrays;
    std::map<unsigned long long, TextureObject> textureObjects;
    unsigned long long lastTextureObject = kFirstTextureObject - 1;
    std::set<void*> streams;
    std::set<void*> optixContexts;
    std::set<void*> optixObjects;
    Records records;
    std::vector<Structure> structures; // every structure ever made, by serial
    bool compactionSaves = true;
    std::map<unsigned, std::function<void()>> passHooks; // by pass index
    std::map<const void*, std::string> moduleEntries;     // PTX text of modules declaring entries
};

// The state, created from TREVIX7_SIM_DEVICES / TREVIX7_SIM_DEVICE_MEMORY on
// first use. Calls hold the lock while they touch it.
State& state();
std::mutex& lock();

// Runs `f(state())` under the lock: the test controls' one way in.
template <typename F> auto locked(F&& f)
{
    std::lock_guard<std::mutex> guard(lock());
    return f(state());
}

// Appends one line to the journal.
void trace(const char* api, const char* fmt, ...) __attribute__((format(printf, 2, 3)));

// The result injected for this call of `function`, or 0 (success). An
// injected failure is journalled as "<function> -> <result> (injected)". For
// OptiX calls with a log, the injected text is written as OptiX writes logs.
int injected(const char* function, char* log = nullptr, size_t* logSize = nullptr);
// In a simulated CUDA function, after taking the lock: return its injected failure.
#define SIM_CUDA_INJECT()                                                                   \
    if (const int injected_ = sim::injected(__func__))                                      \
    return sim::cudaResult(cudaError_t(injected_))

// The same for a simulated OptiX function, by its API name.
#define SIM_OPTIX_INJECT(name)                                                              \
    if (const int injected_ = sim::injected(name))                                          \
    return OptixResult(injected_)

// Writes `text` as OptiX does: truncated to the buffer, always terminated,
// with the size it needed (terminator included) reported back.
void writeLog(const std::string& text, char* log, size_t* logSize);

// Records a failed CUDA call as the thread's last error, as the runtime does;
// gives back `e`.
cudaError_t cudaResult(cudaError_t e);

// The live block that holds all of [p, p + bytes) (at least one byte), or null.
const Allocation* blockHolding(const void* p, size_t bytes);

// True unless [p, p + bytes) starts inside a block and runs past its end;
// memory outside every block is ordinary host memory.
bool insideBlocks(const void* p, size_t bytes);

// The calling thread's current device.
int currentDevice();
void setCurrentDevice(int device);

} // namespace sim
