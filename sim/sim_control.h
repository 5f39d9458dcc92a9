#pragma once
// What tests can ask the simulated device about: live objects (for leak checks)
// and the OptiX calls it recorded.

#include "core/optix7.h"

#include <cstddef>
#include <string>
#include <vector>

namespace sim {

struct Counts {
    size_t deviceAllocations = 0; // cudaMalloc blocks not yet freed, all devices
    size_t deviceBytes = 0;
    size_t pinnedAllocations = 0; // cudaHostAlloc / cudaMallocHost blocks not yet freed
    size_t streams = 0;
    size_t optixContexts = 0;
    size_t optixObjects = 0; // every other live OptiX object
};

Counts counts();

// Bytes currently allocated on one device.
size_t deviceBytesInUse(int device);

// Texts that reached the OptiX log callbacks of simulated contexts.
struct ContextRecord {
    int device;
    unsigned logLevel;
    bool hasCallback;
    int cacheEnabled;
};
// Every context created so far, in creation order (destroyed ones included).
std::vector<ContextRecord> contextHistory();

// A module that reached the simulated OptiX: from program text, or built in.
struct ModuleRecord {
    int device;
    std::string text;             // empty for built-in modules
    unsigned builtinType;         // OptixPrimitiveType of a built-in module, else 0
    OptixModuleCompileOptions moduleOptions;
    OptixPipelineCompileOptions pipelineOptions;
    std::string launchParamsName; // pipelineLaunchParamsVariableName as a string
};
// Every module created so far, in creation order.
std::vector<ModuleRecord> moduleHistory();

} // namespace sim
