// Acceleration structures of the simulated OptiX library: plausible sizes,
// argument checks against the simulated allocations, and records of every
// build, compaction and relocation.
//
// Sizes for n primitives (the sum over the build inputs: index triplets for
// triangles; numPrimitives for curves and custom primitives; numInstances for
// instance structures):
//   output     256 + 64 n
//   temp       256 + 48 n with OPTIX_BUILD_FLAG_ALLOW_COMPACTION, else 128 + 32 n
//   compacted  128 + 32 n (rounded up to 8), or the output size when the
//              test switch says compaction saves nothing
// A structure is its output buffer: the handle is the buffer's address, and
// its first 16 bytes hold a header (magic, serial) by which later calls
// recognise it, so a freed or overwritten structure is no longer valid and a
// relocation finds out whether the structure was copied to its target.

#include "SimDevice.h"
#include "sim_optix.h"

#include "core/optix7.h"

#include <cstring>

using sim::lock;
using sim::state;

namespace {

constexpr unsigned long long kRelocationTag = 0x5452564c4f43494eull;

size_t outputBytes(size_t n) { return 256 + 64 * n; }
size_t tempBytes(size_t n, bool compaction) { return compaction ? 256 + 48 * n : 128 + 32 * n; }
size_t compactedBytes(size_t n) { return (128 + 32 * n + 7) / 8 * 8; }

bool aligned(CUdeviceptr p, unsigned long long alignment) { return p % alignment == 0; }

size_t primitives(const OptixBuildInput& in)
{
    switch (in.type) {
    case OPTIX_BUILD_INPUT_TYPE_TRIANGLES:
        return in.triangleArray.numIndexTriplets; // the library always indexes
    case OPTIX_BUILD_INPUT_TYPE_CURVES:
        return in.curveArray.numPrimitives;
    case OPTIX_BUILD_INPUT_TYPE_CUSTOM_PRIMITIVES:
        return in.customPrimitiveArray.numPrimitives;
    case OPTIX_BUILD_INPUT_TYPE_INSTANCES:
        return in.instanceArray.numInstances;
    default:
        return 0;
    }
}

// Options and the one build input the library passes, shared by the size
// query and the build; `n` gets the primitive count.
OptixResult checkInputs(const OptixAccelBuildOptions* options, const OptixBuildInput* inputs,
                        unsigned numInputs, size_t& n)
{
    n = inputs && numInputs == 1 ? primitives(inputs[0]) : 0;
    const bool supported = inputs && (inputs->type == OPTIX_BUILD_INPUT_TYPE_TRIANGLES ||
                                      inputs->type == OPTIX_BUILD_INPUT_TYPE_CURVES ||
                                      inputs->type == OPTIX_BUILD_INPUT_TYPE_CUSTOM_PRIMITIVES ||
                                      inputs->type == OPTIX_BUILD_INPUT_TYPE_INSTANCES);
    return options && supported && numInputs == 1 ? OPTIX_SUCCESS : OPTIX_ERROR_INVALID_VALUE;
}

OptixAccelBufferSizes sizesFor(size_t n, unsigned buildFlags)
{
    return {outputBytes(n), tempBytes(n, buildFlags & OPTIX_BUILD_FLAG_ALLOW_COMPACTION), 0};
}

// Whether [p, p + bytes) lies in one live block that `device` reaches: its
// own memory, or mapped pinned memory where `pinnedToo`.
bool reachable(CUdeviceptr p, size_t bytes, int device, bool pinnedToo, bool* pinned = nullptr)
{
    const sim::Allocation* a = p ? sim::blockHolding(reinterpret_cast<void*>(p), bytes) : nullptr;
    if (!a || (a->pinned ? !pinnedToo : a->device != device))
        return false;
    if (pinned)
        *pinned = a->pinned;
    return true;
}

bool overlap(CUdeviceptr a, size_t aBytes, CUdeviceptr b, size_t bBytes)
{
    return a < b + bBytes && b < a + aBytes;
}

bool usableStream(CUstream stream, int device)
{
    return !stream ||
           (state().streams.count(stream) && *reinterpret_cast<int*>(stream) == device);
}

// The serial of the live structure behind a handle, or 0.
unsigned long long serialOf(OptixTraversableHandle handle)
{
    if (!handle || !sim::blockHolding(reinterpret_cast<void*>(handle), 16))
        return 0;
    unsigned long long header[2];
    std::memcpy(header, reinterpret_cast<void*>(handle), sizeof(header));
    const auto& all = state().structures;
    if (header[0] != sim::kStructureMagic || header[1] == 0 || header[1] > all.size() ||
        all[header[1] - 1].address != handle)
        return 0;
    return header[1];
}

// A structure of `device`, or 0 (an instance may refer to none).
bool handleOn(OptixTraversableHandle handle, int device)
{
    const unsigned long long serial = serialOf(handle);
    return !handle || (serial && state().structures[serial - 1].device == device);
}

OptixTraversableHandle makeStructure(const sim::Structure& s)
{
    state().structures.push_back(s);
    unsigned long long header[2] = {sim::kStructureMagic, state().structures.size()};
    std::memcpy(reinterpret_cast<void*>(s.address), header, sizeof(header));
    return s.address;
}

size_t orNatural(unsigned stride, size_t natural) { return stride ? stride : natural; }

// The device buffers an input names. Inputs without primitives may leave them null.
bool checkBuffers(const OptixBuildInput& in, int device, std::vector<OptixInstance>& instances)
{
    size_t n = primitives(in);
    if (n == 0)
        return true;
    switch (in.type) {
    case OPTIX_BUILD_INPUT_TYPE_TRIANGLES: {
        // Float triples with 32-bit index triplets, the one format the library uses.
        const OptixBuildInputTriangleArray& t = in.triangleArray;
        return t.vertexFormat == OPTIX_VERTEX_FORMAT_FLOAT3 && t.vertexBuffers &&
               reachable(t.vertexBuffers[0], t.numVertices * orNatural(t.vertexStrideInBytes, 12),
                         device, true) &&
               t.indexFormat == OPTIX_INDICES_FORMAT_UNSIGNED_INT3 &&
               reachable(t.indexBuffer, n * orNatural(t.indexStrideInBytes, 12), device, true) &&
               t.flags && t.numSbtRecords >= 1;
    }
    case OPTIX_BUILD_INPUT_TYPE_CURVES: {
        const OptixBuildInputCurveArray& c = in.curveArray;
        return c.vertexBuffers && c.widthBuffers &&
               reachable(c.vertexBuffers[0], c.numVertices * orNatural(c.vertexStrideInBytes, 12),
                         device, true) &&
               reachable(c.widthBuffers[0], c.numVertices * orNatural(c.widthStrideInBytes, 4),
                         device, true) &&
               reachable(c.indexBuffer, n * orNatural(c.indexStrideInBytes, 4), device, true);
    }
    case OPTIX_BUILD_INPUT_TYPE_CUSTOM_PRIMITIVES: {
        const OptixBuildInputCustomPrimitiveArray& p = in.customPrimitiveArray;
        return p.aabbBuffers && aligned(p.aabbBuffers[0], OPTIX_AABB_BUFFER_BYTE_ALIGNMENT) &&
               reachable(p.aabbBuffers[0], n * orNatural(p.strideInBytes, sizeof(OptixAabb)),
                         device, true) &&
               p.flags && p.numSbtRecords >= 1;
    }
    case OPTIX_BUILD_INPUT_TYPE_INSTANCES: {
        // 80-byte instances, each referring to a structure of this device (or none).
        const OptixBuildInputInstanceArray& a = in.instanceArray;
        if (a.instanceStride || !aligned(a.instances, OPTIX_INSTANCE_BYTE_ALIGNMENT) ||
            !reachable(a.instances, n * sizeof(OptixInstance), device, true))
            return false;
        instances.resize(n);
        std::memcpy(instances.data(), reinterpret_cast<void*>(a.instances), n * sizeof(OptixInstance));
        for (const OptixInstance& instance : instances)
            if (!handleOn(instance.traversableHandle, device))
                return false;
        return true;
    }
    default:
        return false;
    }
}

// The first input as a test sees it: host arrays resolved, their pointers nulled.
void describe(const OptixBuildInput& in, sim::BuildRecord& r)
{
    r.input = in;
    switch (in.type) {
    case OPTIX_BUILD_INPUT_TYPE_TRIANGLES: {
        OptixBuildInputTriangleArray& t = r.input.triangleArray;
        r.vertexBuffer = t.vertexBuffers[0];
        r.flags.assign(t.flags, t.flags + t.numSbtRecords);
        t.vertexBuffers = nullptr;
        t.flags = nullptr;
        t.opacityMicromap.micromapUsageCounts = nullptr;
        break;
    }
    case OPTIX_BUILD_INPUT_TYPE_CURVES: {
        OptixBuildInputCurveArray& c = r.input.curveArray;
        r.vertexBuffer = c.vertexBuffers[0];
        r.widthBuffer = c.widthBuffers[0];
        r.flags = {c.flag};
        c.vertexBuffers = nullptr;
        c.widthBuffers = nullptr;
        c.normalBuffers = nullptr;
        break;
    }
    case OPTIX_BUILD_INPUT_TYPE_CUSTOM_PRIMITIVES: {
        OptixBuildInputCustomPrimitiveArray& p = r.input.customPrimitiveArray;
        r.aabbBuffer = p.aabbBuffers[0];
        r.flags.assign(p.flags, p.flags + p.numSbtRecords);
        p.aabbBuffers = nullptr;
        p.flags = nullptr;
        break;
    }
    default:
        break;
    }
}

OptixResult computeMemoryUsage(OptixDeviceContext context,
                               const OptixAccelBuildOptions* accelOptions,
                               const OptixBuildInput* buildInputs, unsigned int numBuildInputs,
                               OptixAccelBufferSizes* bufferSizes)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixAccelComputeMemoryUsage");
    size_t n = 0;
    OptixResult e = sim::contextDevice(context) < 0 || !bufferSizes
                        ? OPTIX_ERROR_INVALID_VALUE
                        : checkInputs(accelOptions, buildInputs, numBuildInputs, n);
    if (e == OPTIX_SUCCESS)
        *bufferSizes = sizesFor(n, accelOptions->buildFlags);
    sim::trace("optix", "optixAccelComputeMemoryUsage inputs=%u primitives=%zu flags=%u -> %d",
               numBuildInputs, n, accelOptions ? accelOptions->buildFlags : 0u, int(e));
    return e;
}

OptixResult accelBuild(OptixDeviceContext context, CUstream stream,
                       const OptixAccelBuildOptions* options, const OptixBuildInput* inputs,
                       unsigned int numInputs, CUdeviceptr temp, size_t tempSize,
                       CUdeviceptr output, size_t outputSize, OptixTraversableHandle* outputHandle,
                       const OptixAccelEmitDesc* emitted, unsigned int numEmitted)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixAccelBuild");
    size_t n = 0;
    sim::BuildRecord r{};
    const OptixResult e = [&] {
        int device = sim::contextDevice(context);
        if (device < 0 || !outputHandle || !usableStream(stream, device))
            return OPTIX_ERROR_INVALID_VALUE;
        if (const OptixResult invalid = checkInputs(options, inputs, numInputs, n))
            return invalid;
        OptixAccelBufferSizes sizes = sizesFor(n, options->buildFlags);
        bool tempPinned = false;
        // Scratch may be mapped host memory; the structure itself is device memory.
        if (!aligned(temp, OPTIX_ACCEL_BUFFER_BYTE_ALIGNMENT) || tempSize < sizes.tempSizeInBytes ||
            !reachable(temp, tempSize, device, true, &tempPinned) ||
            !aligned(output, OPTIX_ACCEL_BUFFER_BYTE_ALIGNMENT) ||
            outputSize < sizes.outputSizeInBytes || !reachable(output, outputSize, device, false) ||
            overlap(temp, tempSize, output, outputSize))
            return OPTIX_ERROR_INVALID_VALUE;
        for (unsigned i = 0; i < numEmitted; ++i) {
            CUdeviceptr p = emitted[i].result;
            if (emitted[i].type != OPTIX_PROPERTY_TYPE_COMPACTED_SIZE ||
                !(options->buildFlags & OPTIX_BUILD_FLAG_ALLOW_COMPACTION) || !aligned(p, 8) ||
                !reachable(p, 8, device, true) || overlap(p, 8, output, outputSize) ||
                overlap(p, 8, temp, tempSize))
                return OPTIX_ERROR_INVALID_VALUE;
        }
        if (!checkBuffers(inputs[0], device, r.instances))
            return OPTIX_ERROR_INVALID_VALUE;

        sim::Structure s{device,
                         output,
                         sizes.outputSizeInBytes,
                         state().compactionSaves ? compactedBytes(n) : sizes.outputSizeInBytes,
                         options->buildFlags,
                         unsigned(inputs[0].type),
                         unsigned(r.instances.size())};
        *outputHandle = makeStructure(s);
        for (unsigned i = 0; i < numEmitted; ++i) {
            unsigned long long compacted = s.compactedSize;
            std::memcpy(reinterpret_cast<void*>(emitted[i].result), &compacted, sizeof(compacted));
        }
        r.device = device;
        r.options = *options;
        describe(inputs[0], r);
        r.tempSize = tempSize;
        r.tempPinned = tempPinned;
        r.numEmittedProperties = numEmitted;
        return OPTIX_SUCCESS;
    }();
    if (e == OPTIX_SUCCESS)
        state().records.builds.push_back(r);
    sim::trace("optix", "optixAccelBuild device=%d type=0x%x primitives=%zu flags=%u temp=%s -> %d",
               sim::contextDevice(context), inputs ? unsigned(inputs->type) : 0u, n,
               options ? options->buildFlags : 0u, r.tempPinned ? "pinned" : "device", int(e));
    return e;
}

OptixResult accelCompact(OptixDeviceContext context, CUstream stream,
                         OptixTraversableHandle inputHandle, CUdeviceptr outputBuffer,
                         size_t outputBufferSizeInBytes, OptixTraversableHandle* outputHandle)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixAccelCompact");
    int device = sim::contextDevice(context);
    unsigned long long serial = serialOf(inputHandle);
    OptixResult e = OPTIX_ERROR_INVALID_VALUE;
    if (device >= 0 && outputHandle && usableStream(stream, device) && serial) {
        sim::Structure s = state().structures[serial - 1];
        if (s.device == device && (s.buildFlags & OPTIX_BUILD_FLAG_ALLOW_COMPACTION) &&
            aligned(outputBuffer, OPTIX_ACCEL_BUFFER_BYTE_ALIGNMENT) &&
            outputBufferSizeInBytes >= s.compactedSize &&
            reachable(outputBuffer, outputBufferSizeInBytes, device, false) &&
            !overlap(outputBuffer, outputBufferSizeInBytes, s.address, s.size)) {
            s.address = outputBuffer;
            s.size = s.compactedSize;
            *outputHandle = makeStructure(s);
            state().records.compactions.push_back({*outputHandle, stream});
            e = OPTIX_SUCCESS;
        }
    }
    sim::trace("optix", "optixAccelCompact device=%d bytes=%zu -> %d", device,
               outputBufferSizeInBytes, int(e));
    return e;
}

bool ours(const OptixRelocationInfo& info)
{
    return info.info[0] == kRelocationTag && info.info[2] &&
           info.info[2] <= state().structures.size();
}

bool compatible(const OptixRelocationInfo& info, int device)
{
    return ours(info) && info.info[1] == unsigned(state().devices[device].capability);
}

OptixResult accelGetRelocationInfo(OptixDeviceContext context, OptixTraversableHandle handle,
                                   OptixRelocationInfo* info)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixAccelGetRelocationInfo");
    int device = sim::contextDevice(context);
    unsigned long long serial = serialOf(handle);
    OptixResult e = OPTIX_ERROR_INVALID_VALUE;
    if (device >= 0 && info && serial && state().structures[serial - 1].device == device) {
        *info = {{kRelocationTag, unsigned(state().devices[device].capability), serial,
                  state().structures[serial - 1].size}};
        e = OPTIX_SUCCESS;
    }
    sim::trace("optix", "optixAccelGetRelocationInfo device=%d -> %d", device, int(e));
    return e;
}

OptixResult checkRelocationCompatibility(OptixDeviceContext context,
                                         const OptixRelocationInfo* info, int* isCompatible)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixCheckRelocationCompatibility");
    int device = sim::contextDevice(context);
    OptixResult e = OPTIX_ERROR_INVALID_VALUE;
    if (device >= 0 && info && isCompatible) {
        *isCompatible = compatible(*info, device) ? 1 : 0;
        e = OPTIX_SUCCESS;
    }
    sim::trace("optix", "optixCheckRelocationCompatibility device=%d compatible=%d -> %d", device,
               e == OPTIX_SUCCESS ? *isCompatible : 0, int(e));
    return e;
}

OptixResult accelRelocate(OptixDeviceContext context, CUstream stream,
                          const OptixRelocationInfo* info, const OptixRelocateInput* inputs,
                          size_t numInputs, CUdeviceptr target, size_t targetSize,
                          OptixTraversableHandle* targetHandle)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_OPTIX_INJECT("optixAccelRelocate");
    sim::RelocationRecord r{};
    const OptixResult e = [&] {
        int device = sim::contextDevice(context);
        if (device < 0 || !info || !targetHandle || !usableStream(stream, device) || !ours(*info))
            return OPTIX_ERROR_INVALID_VALUE;
        if (!compatible(*info, device))
            return OPTIX_ERROR_NOT_COMPATIBLE;
        sim::Structure s = state().structures[info->info[2] - 1];
        if (!aligned(target, OPTIX_ACCEL_BUFFER_BYTE_ALIGNMENT) || targetSize < s.size ||
            !reachable(target, targetSize, device, false))
            return OPTIX_ERROR_INVALID_VALUE;
        // The source structure must have been copied to the target first.
        unsigned long long header[2];
        std::memcpy(header, reinterpret_cast<void*>(target), sizeof(header));
        if (header[0] != sim::kStructureMagic || header[1] != info->info[2])
            return OPTIX_ERROR_INVALID_VALUE;
        // Geometry structures relocate without inputs; an instance structure
        // takes one with as many handles, each a structure of the target device.
        if (s.inputType != OPTIX_BUILD_INPUT_TYPE_INSTANCES) {
            if (numInputs || inputs)
                return OPTIX_ERROR_INVALID_VALUE;
        } else {
            if (numInputs != 1 || !inputs || inputs->type != OPTIX_BUILD_INPUT_TYPE_INSTANCES ||
                inputs->instanceArray.numInstances != s.numInstances)
                return OPTIX_ERROR_INVALID_VALUE;
            const CUdeviceptr handles = inputs->instanceArray.traversableHandles;
            if (!reachable(handles, s.numInstances * sizeof(OptixTraversableHandle), device, true))
                return OPTIX_ERROR_INVALID_VALUE;
            r.instanceHandles.resize(s.numInstances);
            std::memcpy(r.instanceHandles.data(), reinterpret_cast<void*>(handles),
                        s.numInstances * sizeof(OptixTraversableHandle));
            for (OptixTraversableHandle h : r.instanceHandles)
                if (!handleOn(h, device))
                    return OPTIX_ERROR_INVALID_VALUE;
        }
        r.device = device;
        s.device = device;
        s.address = target;
        *targetHandle = makeStructure(s);
        return OPTIX_SUCCESS;
    }();
    if (e == OPTIX_SUCCESS)
        state().records.relocations.push_back(r);
    sim::trace("optix", "optixAccelRelocate device=%d bytes=%zu inputs=%zu -> %d",
               sim::contextDevice(context), targetSize, numInputs, int(e));
    return e;
}

} // namespace

namespace sim {

void fillAccelEntries(OptixFunctionTable& table)
{
    table.optixAccelComputeMemoryUsage = computeMemoryUsage;
    table.optixAccelBuild = accelBuild;
    table.optixAccelGetRelocationInfo = accelGetRelocationInfo;
    table.optixCheckRelocationCompatibility = checkRelocationCompatibility;
    table.optixAccelRelocate = accelRelocate;
    table.optixAccelCompact = accelCompact;
}

void setCompactionSaves(bool saves) { locked([&](State& s) { s.compactionSaves = saves; }); }

} // namespace sim
