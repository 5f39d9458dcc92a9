#pragma once
// Process-wide state of the simulated device, shared by the simulated CUDA
// runtime and the simulated OptiX library.

#include "sim_control.h"

#include <cuda_runtime_api.h>

#include <cstdio>
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
};

struct Allocation {
    int device; // -1 for pinned host memory
    size_t bytes;
    bool pinned;
};

struct State {
    std::vector<Device> devices;
    std::map<void*, Allocation> allocations;
    std::set<void*> streams;
    std::set<void*> optixContexts;
    std::set<void*> optixObjects;
    std::vector<ContextRecord> contextHistory;
    std::vector<ModuleRecord> moduleHistory;
    FILE* trace = nullptr;
};

// The state, created from TREVIX7_SIM_DEVICES / TREVIX7_SIM_DEVICE_MEMORY /
// TREVIX7_SIM_TRACE on first use. Calls hold the lock while they touch it.
State& state();
std::mutex& lock();

// Appends one line to the trace file, when tracing is on.
void trace(const char* api, const char* fmt, ...) __attribute__((format(printf, 2, 3)));

// The calling thread's current device.
int currentDevice();
void setCurrentDevice(int device);

} // namespace sim
