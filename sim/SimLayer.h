#pragma once
// What the test layer keeps beside the CPU device's state: pending failures,
// the journal, the records of OptiX calls and the pass hooks. Guarded by the
// CPU device's lock.

#include "sim_control.h"

#include "cpu/CpuDevice.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace sim {

// A failure waiting for the next calls of one function.
struct Injection {
    int result;
    unsigned after; // calls that still succeed first
    std::string log;
};

// A denoiser as its calls described it.
struct DenoiserState {
    OptixDenoiserModelKind kind;
    OptixDenoiserOptions options;
    unsigned width = 0, height = 0; // the input size of the last setup
};

struct Layer {
    std::map<std::string, Injection> injections;
    std::vector<std::string> journal;
    Records records;
    std::map<const void*, size_t> contextRecords; // index into records.contexts
    std::map<const void*, DenoiserState> denoisers;
    std::map<unsigned, std::function<void()>> passHooks; // by pass index
};

// The layer's state; the caller holds cpu::lock().
Layer& layer();

// Runs `f(layer())` under the lock.
template <typename F> auto locked(F&& f)
{
    std::lock_guard<std::mutex> guard(cpu::lock());
    return f(layer());
}

// Fills the recording entries of the CPU device's OptiX table (SimOptix.cpp).
OptixResult queryFunctionTable(int abiId, void* functionTable, size_t sizeOfTable);

} // namespace sim
