#pragma once
// What tests add on top of the CPU device (the simulated device): live
// objects (for leak checks), failure injection, the journal of calls, the
// OptiX calls it recorded, and the few settings tests may change while the
// process runs.

#include "core/Params.h"
#include "core/optix7.h"
#include "cpu/OptixObjects.h"

#include <cuda_runtime_api.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace sim {

struct Counts {
    size_t deviceAllocations = 0; // cudaMalloc blocks not yet freed, all devices
    size_t deviceBytes = 0;       // of those blocks and of the live CUDA arrays
    size_t pinnedAllocations = 0; // cudaHostAlloc blocks not yet freed
    size_t arrays = 0;            // cudaMallocArray arrays (not in deviceAllocations)
    size_t textureObjects = 0;
    size_t streams = 0;
    size_t optixContexts = 0;
    size_t optixObjects = 0; // every other live OptiX object (not acceleration structures)
};

Counts counts();

// Failure injection: the call of `function` (a CUDA or OptiX function by its
// API name) after `after` more calls of it fails with `result`; an OptiX
// call that fills a log gets `log` as its text (an empty one writes nothing).
// One pending failure per name.
void failNext(const char* function, int result, unsigned after = 0, const std::string& log = "");
void clearInjections();

// Every simulated call since the start (or clearJournal()), one line each, in
// the format of the trace file (sim/README.md).
std::vector<std::string> journal();
void clearJournal();

// Bytes currently allocated on one device (blocks and arrays).
size_t deviceBytesInUse(int device);

// Memory limits, changeable at run time. A device starts with
// TREVIX7_SIM_DEVICE_MEMORY; a lower limit than what is in use refuses every
// further allocation. Pinned memory is unbounded until a limit is set
// (SIZE_MAX lifts it again); the limit counts live pinned bytes.
void setDeviceMemoryLimit(int device, size_t bytes);
void setPinnedMemoryLimit(size_t bytes);

// A live texture object with what it samples.
struct TextureInfo {
    int device; // of its array
    cudaTextureDesc texture;
    cudaChannelFormatDesc format; // of its array
    size_t width;
    size_t height;
    std::vector<unsigned char> image; // the array's current bytes, rows tightly packed
};
// False when `object` is not a live texture object.
bool textureInfo(unsigned long long object, TextureInfo& out);

// A context that was created: its device and log and cache settings.
struct ContextRecord {
    int device;
    unsigned logLevel;
    bool hasCallback;
    int cacheEnabled;
};

// A module that reached the simulated OptiX: from program text, or built in.
struct ModuleRecord {
    std::string text;             // empty for built-in modules
    unsigned builtinType;         // OptixPrimitiveType of a built-in module, else 0
    OptixModuleCompileOptions moduleOptions;
    OptixPipelineCompileOptions pipelineOptions;
    std::string launchParamsName; // pipelineLaunchParamsVariableName as a string
};

// Whether builds report a compacted size smaller than the structure (default);
// with false the emitted compacted size equals outputSizeInBytes.
void setCompactionSaves(bool saves);

// A successful optixAccelBuild.
struct BuildRecord {
    int device;
    OptixAccelBuildOptions options;
    // The first build input, its host-array pointers (vertex, width, normal,
    // box buffer arrays, flag arrays, micromap usage counts) nulled; what they
    // pointed at follows.
    OptixBuildInput input;
    CUdeviceptr vertexBuffer; // first vertex buffer (triangles, curves), else 0
    CUdeviceptr widthBuffer;  // first width buffer (curves), else 0
    CUdeviceptr aabbBuffer;   // first box buffer (custom primitives), else 0
    std::vector<unsigned> flags; // triangles, custom: numSbtRecords words; curves: the flag
    std::vector<OptixInstance> instances; // instance structures: the instances as built
    size_t tempSize;   // tempBufferSizeInBytes
    bool tempPinned;   // the temp buffer was mapped pinned host memory
    unsigned numEmittedProperties;
};
struct CompactionRecord {
    OptixTraversableHandle output;
    CUstream stream;
};
struct RelocationRecord {
    int device; // the target's
    std::vector<OptixTraversableHandle> instanceHandles; // instance structures: the new handles
};
// A program group that was created: its kind and its programs, one for
// ray generation and miss groups, closest hit, any hit and intersection for
// hit groups (null module and empty name where there is none).
struct GroupRecord {
    OptixProgramGroup handle;
    unsigned kind; // OptixProgramGroupKind
    OptixModule modules[3];
    std::string entries[3];
};
// The first word of a binding-table record header packed by the CPU device's
// OptiX; the second word is the group's handle.
constexpr unsigned long long kRecordMagic = cpu::kRecordMagic;

// A pipeline that was linked: its groups in order and its options.
struct PipelineRecord {
    int device;
    OptixPipeline handle;
    std::vector<OptixProgramGroup> groups;
    OptixPipelineLinkOptions link;
    unsigned usesPrimitiveTypeFlags;
    std::string launchParamsName;
};

// A successful optixLaunch: the launch parameters as they were copied, and
// the launch width.
struct LaunchRecord {
    int device;
    Params params;
    unsigned width;
};

// What reached the simulated OptiX library, in call order: every context
// created (destroyed ones included), and the successful module and group
// creations, pipeline links, builds, compactions, relocations and launches.
// A call of a denoiser function, by its name after "optixDenoiser" (Create,
// Destroy, Setup, ComputeIntensity, Invoke), with the denoiser's model and
// guides and the input size it was given; intensity calls also keep their
// output (params.hdrIntensity), invocations their parameters, guide layer and
// first layer.
struct DenoiserRecord {
    std::string call;
    OptixDenoiserModelKind kind;
    OptixDenoiserOptions options;
    unsigned width, height;
    OptixDenoiserParams params;
    OptixDenoiserGuideLayer guide;
    OptixDenoiserLayer layer;
    unsigned numLayers;
};
struct Records {
    std::vector<ContextRecord> contexts;
    std::vector<ModuleRecord> modules;
    std::vector<GroupRecord> groups;
    std::vector<PipelineRecord> pipelines;
    std::vector<BuildRecord> builds;
    std::vector<CompactionRecord> compactions;
    std::vector<RelocationRecord> relocations;
    std::vector<LaunchRecord> launches;
    std::vector<DenoiserRecord> denoisers;
};
Records records();
// Forgets all records but the contexts' (not the structures themselves).
void clearRecords();

// Runs `hook` once, on the launching thread and outside the simulator's lock,
// when the next optixLaunch of pass index `pass` starts, before it renders.
void beforePass(unsigned pass, std::function<void()> hook);

} // namespace sim
