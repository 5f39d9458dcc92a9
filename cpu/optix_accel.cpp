// Acceleration structures of the CPU device's OptiX: Embree builds of
// triangles, round curves, custom primitives (whose intersection programs
// Embree calls back) and one level of instances; compaction and relocation
// place the same structure at the copy of its buffer.
//
// Sizes for n primitives (of the one build input: index triplets for
// triangles; numPrimitives for curves and custom primitives; numInstances for
// instance structures), plausible for OptiX and enough for the header:
//   output     256 + 64 n
//   temp       256 + 48 n with OPTIX_BUILD_FLAG_ALLOW_COMPACTION, else 128 + 32 n
//   compacted  128 + 32 n (rounded up to 8), or the output size when
//              compaction is told to save nothing

#include "CpuDevice.h"
#include "OptixObjects.h"
#include "Structures.h"

#include <cmath>
#include <cstring>
#include <new>

using cpu::lock;
using cpu::state;

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
    const cpu::Allocation* a = p ? cpu::blockHolding(reinterpret_cast<void*>(p), bytes) : nullptr;
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

size_t orNatural(unsigned stride, size_t natural) { return stride ? stride : natural; }

template <typename T> T at(CUdeviceptr base, size_t stride, size_t i)
{
    T v;
    std::memcpy(&v, reinterpret_cast<const char*>(base) + i * stride, sizeof v);
    return v;
}

// Control points of a curve segment, with their radii, as the kind takes
// them; 0 for a type that is not a round curve of ABI 68.
unsigned curvePoints(OptixPrimitiveType type)
{
    switch (type) {
    case OPTIX_PRIMITIVE_TYPE_ROUND_LINEAR:
        return 2;
    case OPTIX_PRIMITIVE_TYPE_ROUND_QUADRATIC_BSPLINE:
        return 3;
    case OPTIX_PRIMITIVE_TYPE_ROUND_CUBIC_BSPLINE:
    case OPTIX_PRIMITIVE_TYPE_ROUND_CATMULLROM:
        return 4;
    default:
        return 0;
    }
}

// The buffers an input names, and that its indices stay inside them. Inputs
// without primitives may leave them null. Instance inputs give their instances.
bool checkBuffers(const OptixBuildInput& in, int device, std::vector<OptixInstance>& instances)
{
    const size_t n = primitives(in);
    if (in.type == OPTIX_BUILD_INPUT_TYPE_CURVES && !curvePoints(in.curveArray.curveType))
        return false;
    if (n == 0)
        return true;
    switch (in.type) {
    case OPTIX_BUILD_INPUT_TYPE_TRIANGLES: {
        // Float triples with 32-bit index triplets, the one format the library uses.
        const OptixBuildInputTriangleArray& t = in.triangleArray;
        const size_t vstride = orNatural(t.vertexStrideInBytes, 12), istride = orNatural(t.indexStrideInBytes, 12);
        if (!(t.vertexFormat == OPTIX_VERTEX_FORMAT_FLOAT3 && t.vertexBuffers &&
              reachable(t.vertexBuffers[0], t.numVertices * vstride, device, true) &&
              t.indexFormat == OPTIX_INDICES_FORMAT_UNSIGNED_INT3 &&
              reachable(t.indexBuffer, n * istride, device, true) && t.flags && t.numSbtRecords >= 1))
            return false;
        for (size_t i = 0; i < n; ++i) {
            const uint3 f = at<uint3>(t.indexBuffer, istride, i);
            if (f.x >= t.numVertices || f.y >= t.numVertices || f.z >= t.numVertices)
                return false;
        }
        return true;
    }
    case OPTIX_BUILD_INPUT_TYPE_CURVES: {
        const OptixBuildInputCurveArray& c = in.curveArray;
        const size_t istride = orNatural(c.indexStrideInBytes, 4);
        if (!(c.vertexBuffers && c.widthBuffers &&
              reachable(c.vertexBuffers[0], c.numVertices * orNatural(c.vertexStrideInBytes, 12), device, true) &&
              reachable(c.widthBuffers[0], c.numVertices * orNatural(c.widthStrideInBytes, 4), device, true) &&
              reachable(c.indexBuffer, n * istride, device, true)))
            return false;
        const unsigned points = curvePoints(c.curveType);
        for (size_t i = 0; i < n; ++i)
            if (size_t(at<unsigned>(c.indexBuffer, istride, i)) + points > c.numVertices)
                return false;
        return true;
    }
    case OPTIX_BUILD_INPUT_TYPE_CUSTOM_PRIMITIVES: {
        const OptixBuildInputCustomPrimitiveArray& p = in.customPrimitiveArray;
        return p.aabbBuffers && aligned(p.aabbBuffers[0], OPTIX_AABB_BUFFER_BYTE_ALIGNMENT) &&
               reachable(p.aabbBuffers[0], n * orNatural(p.strideInBytes, sizeof(OptixAabb)),
                         device, true) &&
               p.flags && p.numSbtRecords >= 1;
    }
    case OPTIX_BUILD_INPUT_TYPE_INSTANCES: {
        // 80-byte instances, each referring to a geometry structure of this
        // device, or none: one level of instances.
        const OptixBuildInputInstanceArray& a = in.instanceArray;
        if (a.instanceStride || !aligned(a.instances, OPTIX_INSTANCE_BYTE_ALIGNMENT) ||
            !reachable(a.instances, n * sizeof(OptixInstance), device, true))
            return false;
        instances.resize(n);
        std::memcpy(instances.data(), reinterpret_cast<void*>(a.instances), n * sizeof(OptixInstance));
        for (const OptixInstance& instance : instances) {
            const cpu::Structure* s = cpu::structureAt(instance.traversableHandle, int(device));
            if (instance.traversableHandle && (!s || s->kind == cpu::Structure::Instances))
                return false;
        }
        return true;
    }
    default:
        return false;
    }
}

// --- Embree scenes from the inputs ---

RTCScene newScene(bool geometryLevel)
{
    RTCScene scene = rtcNewScene(cpu::embree());
    // Occlusion rays record their hit through the context's filter.
    rtcSetSceneFlags(scene, geometryLevel ? RTC_SCENE_FLAG_CONTEXT_FILTER_FUNCTION |
                                                RTC_SCENE_FLAG_ROBUST
                                          : RTC_SCENE_FLAG_NONE);
    rtcSetSceneBuildQuality(scene, RTC_BUILD_QUALITY_HIGH);
    return scene;
}

void attach(RTCScene scene, RTCGeometry geometry, unsigned id)
{
    rtcCommitGeometry(geometry);
    rtcAttachGeometryByID(scene, geometry, id);
    rtcReleaseGeometry(geometry);
}

void buildTriangles(cpu::Structure& s, const OptixBuildInputTriangleArray& t)
{
    const size_t vstride = orNatural(t.vertexStrideInBytes, 12), istride = orNatural(t.indexStrideInBytes, 12);
    s.vertices.resize(size_t(t.numVertices) * 3 + 1); // Embree reads a float past the last vertex
    for (size_t i = 0; i < t.numVertices; ++i)
        std::memcpy(&s.vertices[3 * i], reinterpret_cast<const char*>(t.vertexBuffers[0]) + i * vstride, 12);
    s.indices.resize(size_t(s.primitives) * 3);
    for (size_t i = 0; i < s.primitives; ++i)
        std::memcpy(&s.indices[3 * i], reinterpret_cast<const char*>(t.indexBuffer) + i * istride, 12);
    RTCGeometry g = rtcNewGeometry(cpu::embree(), RTC_GEOMETRY_TYPE_TRIANGLE);
    rtcSetSharedGeometryBuffer(g, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, s.vertices.data(), 0, 12, t.numVertices);
    rtcSetSharedGeometryBuffer(g, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, s.indices.data(), 0, 12, s.primitives);
    attach(s.scene, g, 0);
}

// Round curves: linear, cubic B-spline and Catmull-Rom as Embree has them; a
// quadratic B-spline segment becomes the cubic Bezier segment it equals
// (the same curve and radius at every parameter).
void buildCurves(cpu::Structure& s, const OptixBuildInputCurveArray& c)
{
    s.curveType = c.curveType;
    const size_t vstride = orNatural(c.vertexStrideInBytes, 12), wstride = orNatural(c.widthStrideInBytes, 4);
    const size_t istride = orNatural(c.indexStrideInBytes, 4);
    auto point = [&](size_t i) {
        const float3 p = at<float3>(c.vertexBuffers[0], vstride, i);
        return std::array<float, 4>{p.x, p.y, p.z, at<float>(c.widthBuffers[0], wstride, i)};
    };
    RTCGeometryType type = RTC_GEOMETRY_TYPE_ROUND_LINEAR_CURVE;
    if (c.curveType == OPTIX_PRIMITIVE_TYPE_ROUND_QUADRATIC_BSPLINE) {
        type = RTC_GEOMETRY_TYPE_ROUND_BEZIER_CURVE;
        s.vertices.reserve(size_t(s.primitives) * 16);
        for (size_t i = 0; i < s.primitives; ++i) {
            const size_t first = at<unsigned>(c.indexBuffer, istride, i);
            const auto p0 = point(first), p1 = point(first + 1), p2 = point(first + 2);
            // The quadratic Bezier (p0+p1)/2, p1, (p1+p2)/2, raised to degree 3.
            std::array<float, 4> q[4];
            for (int k = 0; k < 4; ++k) {
                const float b0 = 0.5f * (p0[k] + p1[k]), b1 = p1[k], b2 = 0.5f * (p1[k] + p2[k]);
                q[0][k] = b0;
                q[1][k] = (b0 + 2.0f * b1) / 3.0f;
                q[2][k] = (2.0f * b1 + b2) / 3.0f;
                q[3][k] = b2;
            }
            for (const auto& v : q)
                s.vertices.insert(s.vertices.end(), v.begin(), v.end());
            s.indices.push_back(unsigned(4 * i));
        }
    } else {
        if (c.curveType == OPTIX_PRIMITIVE_TYPE_ROUND_CUBIC_BSPLINE)
            type = RTC_GEOMETRY_TYPE_ROUND_BSPLINE_CURVE;
        else if (c.curveType == OPTIX_PRIMITIVE_TYPE_ROUND_CATMULLROM)
            type = RTC_GEOMETRY_TYPE_ROUND_CATMULL_ROM_CURVE;
        s.vertices.reserve(size_t(c.numVertices) * 4);
        for (size_t i = 0; i < c.numVertices; ++i) {
            const auto v = point(i);
            s.vertices.insert(s.vertices.end(), v.begin(), v.end());
        }
        for (size_t i = 0; i < s.primitives; ++i)
            s.indices.push_back(at<unsigned>(c.indexBuffer, istride, i));
    }
    RTCGeometry g = rtcNewGeometry(cpu::embree(), type);
    rtcSetSharedGeometryBuffer(g, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT4, s.vertices.data(), 0, 16, s.vertices.size() / 4);
    rtcSetSharedGeometryBuffer(g, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT, s.indices.data(), 0, 4, s.indices.size());
    attach(s.scene, g, 0);
}

void boxBounds(const RTCBoundsFunctionArguments* args)
{
    const auto& s = *static_cast<const cpu::Structure*>(args->geometryUserPtr);
    const OptixAabb& b = s.boxes[args->primID];
    *args->bounds_o = {b.minX, b.minY, b.minZ, 0.0f, b.maxX, b.maxY, b.maxZ, 0.0f};
}

void buildCustom(cpu::Structure& s, const OptixBuildInputCustomPrimitiveArray& p)
{
    const size_t stride = orNatural(p.strideInBytes, sizeof(OptixAabb));
    s.boxes.resize(s.primitives);
    for (size_t i = 0; i < s.primitives; ++i)
        s.boxes[i] = at<OptixAabb>(p.aabbBuffers[0], stride, i);
    RTCGeometry g = rtcNewGeometry(cpu::embree(), RTC_GEOMETRY_TYPE_USER);
    rtcSetGeometryUserPrimitiveCount(g, s.primitives);
    rtcSetGeometryUserData(g, &s);
    rtcSetGeometryBoundsFunction(g, boxBounds, nullptr);
    rtcSetGeometryIntersectFunction(g, cpu::intersectCustom);
    rtcSetGeometryOccludedFunction(g, cpu::occludedCustom);
    attach(s.scene, g, 0);
}

// The inverse of a 3x4 row-major affine transform.
std::array<float, 12> inverse(const float m[12])
{
    const double a = m[0], b = m[1], c = m[2], d = m[4], e = m[5], f = m[6], g = m[8], h = m[9], i = m[10];
    const double A = e * i - f * h, B = c * h - b * i, C = b * f - c * e;
    const double det = a * A + d * B + g * C;
    const double k = det != 0 ? 1 / det : 0;
    const double r[9] = {A * k, B * k, C * k, (f * g - d * i) * k, (a * i - c * g) * k,
                         (c * d - a * f) * k, (d * h - e * g) * k, (b * g - a * h) * k,
                         (a * e - b * d) * k};
    std::array<float, 12> out;
    for (int row = 0; row < 3; ++row) {
        out[row * 4 + 0] = float(r[row * 3 + 0]);
        out[row * 4 + 1] = float(r[row * 3 + 1]);
        out[row * 4 + 2] = float(r[row * 3 + 2]);
        out[row * 4 + 3] = float(-(r[row * 3] * m[3] + r[row * 3 + 1] * m[7] + r[row * 3 + 2] * m[11]));
    }
    return out;
}

// One level of instances: Embree instances of the children's scenes, with
// their transforms and visibility masks, each under its own index.
void buildInstances(cpu::Structure& s, const std::vector<OptixInstance>& instances, int device)
{
    s.instances = instances;
    s.children.resize(instances.size());
    s.inverses.resize(instances.size());
    for (size_t k = 0; k < instances.size(); ++k) {
        const OptixInstance& instance = instances[k];
        s.inverses[k] = inverse(instance.transform);
        s.children[k] = cpu::sharedStructureAt(instance.traversableHandle, device);
        if (!s.children[k])
            continue;
        RTCGeometry g = rtcNewGeometry(cpu::embree(), RTC_GEOMETRY_TYPE_INSTANCE);
        rtcSetGeometryInstancedScene(g, s.children[k]->scene);
        rtcSetGeometryTimeStepCount(g, 1);
        rtcSetGeometryTransform(g, 0, RTC_FORMAT_FLOAT3X4_ROW_MAJOR, instance.transform);
        rtcSetGeometryMask(g, instance.visibilityMask);
        attach(s.scene, g, unsigned(k));
    }
}

// The structure of the one input, built now from copies of its data; null
// when Embree failed (it keeps its first error for the thread: out of
// memory, mostly).
std::shared_ptr<cpu::Structure> build(const OptixBuildInput& in, size_t n,
                                      const std::vector<OptixInstance>& instances, int device)
{
    rtcGetDeviceError(cpu::embree()); // forget an earlier call's
    auto s = std::make_shared<cpu::Structure>();
    s->serial = cpu::nextSerial();
    s->device = device;
    s->primitives = unsigned(n);
    const bool instancing = in.type == OPTIX_BUILD_INPUT_TYPE_INSTANCES;
    s->scene = newScene(!instancing);
    if (n > 0) {
        switch (in.type) {
        case OPTIX_BUILD_INPUT_TYPE_TRIANGLES:
            s->kind = cpu::Structure::Triangles;
            buildTriangles(*s, in.triangleArray);
            break;
        case OPTIX_BUILD_INPUT_TYPE_CURVES:
            s->kind = cpu::Structure::Curves;
            buildCurves(*s, in.curveArray);
            break;
        case OPTIX_BUILD_INPUT_TYPE_CUSTOM_PRIMITIVES:
            s->kind = cpu::Structure::Custom;
            buildCustom(*s, in.customPrimitiveArray);
            break;
        default:
            break;
        }
    }
    if (instancing) {
        s->kind = cpu::Structure::Instances;
        buildInstances(*s, instances, device);
    }
    rtcCommitScene(s->scene);
    return rtcGetDeviceError(cpu::embree()) == RTC_ERROR_NONE ? s : nullptr;
}

OptixResult computeMemoryUsage(OptixDeviceContext context,
                               const OptixAccelBuildOptions* accelOptions,
                               const OptixBuildInput* buildInputs, unsigned int numBuildInputs,
                               OptixAccelBufferSizes* bufferSizes)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_OPTIX_INTERCEPT("optixAccelComputeMemoryUsage");
    size_t n = 0;
    const OptixResult e = cpu::contextDevice(context) < 0 || !bufferSizes
                              ? OPTIX_ERROR_INVALID_VALUE
                              : checkInputs(accelOptions, buildInputs, numBuildInputs, n);
    if (e == OPTIX_SUCCESS)
        *bufferSizes = sizesFor(n, accelOptions->buildFlags);
    cpu::note("optix", "optixAccelComputeMemoryUsage inputs=%u primitives=%zu flags=%u -> %d",
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
    CPU_OPTIX_INTERCEPT("optixAccelBuild");
    size_t n = 0;
    bool tempPinned = false;
    const OptixResult e = [&] {
        const int device = cpu::contextDevice(context);
        if (device < 0 || !outputHandle || !usableStream(stream, device))
            return OPTIX_ERROR_INVALID_VALUE;
        if (const OptixResult invalid = checkInputs(options, inputs, numInputs, n))
            return invalid;
        const OptixAccelBufferSizes sizes = sizesFor(n, options->buildFlags);
        // Scratch may be mapped host memory; the structure itself is device memory.
        if (!aligned(temp, OPTIX_ACCEL_BUFFER_BYTE_ALIGNMENT) || tempSize < sizes.tempSizeInBytes ||
            !reachable(temp, tempSize, device, true, &tempPinned) ||
            !aligned(output, OPTIX_ACCEL_BUFFER_BYTE_ALIGNMENT) ||
            outputSize < sizes.outputSizeInBytes || !reachable(output, outputSize, device, false) ||
            overlap(temp, tempSize, output, outputSize))
            return OPTIX_ERROR_INVALID_VALUE;
        for (unsigned i = 0; i < numEmitted; ++i) {
            const CUdeviceptr p = emitted[i].result;
            if (emitted[i].type != OPTIX_PROPERTY_TYPE_COMPACTED_SIZE ||
                !(options->buildFlags & OPTIX_BUILD_FLAG_ALLOW_COMPACTION) || !aligned(p, 8) ||
                !reachable(p, 8, device, true) || overlap(p, 8, output, outputSize) ||
                overlap(p, 8, temp, tempSize))
                return OPTIX_ERROR_INVALID_VALUE;
        }
        std::vector<OptixInstance> instances;
        if (!checkBuffers(inputs[0], device, instances))
            return OPTIX_ERROR_INVALID_VALUE;
        std::shared_ptr<cpu::Structure> s;
        try {
            s = build(inputs[0], n, instances, device);
        } catch (const std::bad_alloc&) {
        }
        if (!s)
            return OPTIX_ERROR_HOST_OUT_OF_MEMORY;
        s->compactedSize = state().compactionSaves ? compactedBytes(n) : sizes.outputSizeInBytes;
        s->buildFlags = options->buildFlags;
        *outputHandle = cpu::place(s, output, device, sizes.outputSizeInBytes);
        for (unsigned i = 0; i < numEmitted; ++i) {
            const unsigned long long compacted = s->compactedSize;
            std::memcpy(reinterpret_cast<void*>(emitted[i].result), &compacted, sizeof(compacted));
        }
        return OPTIX_SUCCESS;
    }();
    cpu::note("optix", "optixAccelBuild device=%d type=0x%x primitives=%zu flags=%u temp=%s -> %d",
              cpu::contextDevice(context), inputs ? unsigned(inputs->type) : 0u, n,
              options ? options->buildFlags : 0u, tempPinned ? "pinned" : "device", int(e));
    return e;
}

OptixResult accelCompact(OptixDeviceContext context, CUstream stream,
                         OptixTraversableHandle inputHandle, CUdeviceptr outputBuffer,
                         size_t outputBufferSizeInBytes, OptixTraversableHandle* outputHandle)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_OPTIX_INTERCEPT("optixAccelCompact");
    const int device = cpu::contextDevice(context);
    const auto s = cpu::sharedStructureAt(inputHandle, device);
    OptixResult e = OPTIX_ERROR_INVALID_VALUE;
    if (device >= 0 && outputHandle && usableStream(stream, device) && s &&
        (s->buildFlags & OPTIX_BUILD_FLAG_ALLOW_COMPACTION) &&
        aligned(outputBuffer, OPTIX_ACCEL_BUFFER_BYTE_ALIGNMENT) &&
        outputBufferSizeInBytes >= s->compactedSize &&
        reachable(outputBuffer, outputBufferSizeInBytes, device, false) &&
        !overlap(outputBuffer, outputBufferSizeInBytes, inputHandle, cpu::placedSize(inputHandle))) {
        *outputHandle = cpu::place(s, outputBuffer, device, s->compactedSize);
        e = OPTIX_SUCCESS;
    }
    cpu::note("optix", "optixAccelCompact device=%d bytes=%zu -> %d", device,
              outputBufferSizeInBytes, int(e));
    return e;
}

// Relocation info: a tag, the capability of the device, the serial and the size.
std::shared_ptr<cpu::Structure> ours(const OptixRelocationInfo& info)
{
    return info.info[0] == kRelocationTag ? cpu::structureBySerial(info.info[2]) : nullptr;
}

bool compatible(const OptixRelocationInfo& info, int device)
{
    return ours(info) && info.info[1] == unsigned(state().devices[device].capability);
}

OptixResult accelGetRelocationInfo(OptixDeviceContext context, OptixTraversableHandle handle,
                                   OptixRelocationInfo* info)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_OPTIX_INTERCEPT("optixAccelGetRelocationInfo");
    const int device = cpu::contextDevice(context);
    const cpu::Structure* s = cpu::structureAt(handle, device);
    OptixResult e = OPTIX_ERROR_INVALID_VALUE;
    if (device >= 0 && info && s) {
        *info = {{kRelocationTag, unsigned(state().devices[device].capability), s->serial,
                  cpu::placedSize(handle)}};
        e = OPTIX_SUCCESS;
    }
    cpu::note("optix", "optixAccelGetRelocationInfo device=%d -> %d", device, int(e));
    return e;
}

OptixResult checkRelocationCompatibility(OptixDeviceContext context,
                                         const OptixRelocationInfo* info, int* isCompatible)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_OPTIX_INTERCEPT("optixCheckRelocationCompatibility");
    const int device = cpu::contextDevice(context);
    OptixResult e = OPTIX_ERROR_INVALID_VALUE;
    if (device >= 0 && info && isCompatible) {
        *isCompatible = compatible(*info, device) ? 1 : 0;
        e = OPTIX_SUCCESS;
    }
    cpu::note("optix", "optixCheckRelocationCompatibility device=%d compatible=%d -> %d", device,
              e == OPTIX_SUCCESS ? *isCompatible : 0, int(e));
    return e;
}

OptixResult accelRelocate(OptixDeviceContext context, CUstream stream,
                          const OptixRelocationInfo* info, const OptixRelocateInput* inputs,
                          size_t numInputs, CUdeviceptr target, size_t targetSize,
                          OptixTraversableHandle* targetHandle)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_OPTIX_INTERCEPT("optixAccelRelocate");
    const OptixResult e = [&] {
        const int device = cpu::contextDevice(context);
        if (device < 0 || !info || !targetHandle || !usableStream(stream, device))
            return OPTIX_ERROR_INVALID_VALUE;
        const auto s = ours(*info);
        if (!s)
            return OPTIX_ERROR_INVALID_VALUE;
        if (!compatible(*info, device))
            return OPTIX_ERROR_NOT_COMPATIBLE;
        const size_t size = info->info[3];
        if (!aligned(target, OPTIX_ACCEL_BUFFER_BYTE_ALIGNMENT) || targetSize < size ||
            !reachable(target, targetSize, device, false))
            return OPTIX_ERROR_INVALID_VALUE;
        // The source structure must have been copied to the target first.
        unsigned long long header[2];
        std::memcpy(header, reinterpret_cast<void*>(target), sizeof(header));
        if (header[0] != cpu::kStructureMagic || header[1] != s->serial)
            return OPTIX_ERROR_INVALID_VALUE;
        // A geometry structure relocates without inputs and stays the same
        // structure; an instance structure takes one input with as many
        // handles, each a structure of the target's device, and becomes one
        // over them.
        if (s->kind != cpu::Structure::Instances) {
            if (numInputs || inputs)
                return OPTIX_ERROR_INVALID_VALUE;
            *targetHandle = cpu::place(s, target, device, size);
            return OPTIX_SUCCESS;
        }
        if (numInputs != 1 || !inputs || inputs->type != OPTIX_BUILD_INPUT_TYPE_INSTANCES ||
            inputs->instanceArray.numInstances != s->instances.size())
            return OPTIX_ERROR_INVALID_VALUE;
        const CUdeviceptr handles = inputs->instanceArray.traversableHandles;
        const size_t n = s->instances.size();
        if (!reachable(handles, n * sizeof(OptixTraversableHandle), device, true))
            return OPTIX_ERROR_INVALID_VALUE;
        std::vector<OptixInstance> instances = s->instances;
        for (size_t k = 0; k < n; ++k) {
            instances[k].traversableHandle = at<OptixTraversableHandle>(handles, 8, k);
            const cpu::Structure* child = cpu::structureAt(instances[k].traversableHandle, device);
            if (instances[k].traversableHandle &&
                (!child || child->kind == cpu::Structure::Instances))
                return OPTIX_ERROR_INVALID_VALUE;
        }
        OptixBuildInput input = {};
        input.type = OPTIX_BUILD_INPUT_TYPE_INSTANCES;
        const auto copy = build(input, n, instances, device);
        copy->compactedSize = s->compactedSize;
        copy->buildFlags = s->buildFlags;
        *targetHandle = cpu::place(copy, target, device, size);
        return OPTIX_SUCCESS;
    }();
    cpu::note("optix", "optixAccelRelocate device=%d bytes=%zu inputs=%zu -> %d",
              cpu::contextDevice(context), targetSize, numInputs, int(e));
    return e;
}

} // namespace

namespace cpu {

void fillAccelEntries(OptixFunctionTable& table)
{
    table.optixAccelComputeMemoryUsage = computeMemoryUsage;
    table.optixAccelBuild = accelBuild;
    table.optixAccelGetRelocationInfo = accelGetRelocationInfo;
    table.optixCheckRelocationCompatibility = checkRelocationCompatibility;
    table.optixAccelRelocate = accelRelocate;
    table.optixAccelCompact = accelCompact;
}

} // namespace cpu
