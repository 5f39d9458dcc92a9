// Launches of the CPU device's OptiX: the ray-generation program runs for
// every launch index, spread over the workers; each optixTrace traverses the
// structures with Embree and runs the intersection, closest-hit and miss
// programs that the binding table names, as OptiX does: the record of a hit
// is the instance's SBT offset plus the trace's SBT offset (the stride times
// the geometry's record index, always 0 here), that of a miss the trace's
// miss index. Nothing here takes a lock once the launch runs: the structures
// and the records do not change while it does.

#include "CpuDevice.h"
#include "OptixObjects.h"
#include "Structures.h"
#include "ThreadPool.h"

#include "core/Params.h"
#include "shaders/optix7_device.h"

#include <cmath>
#include <cstring>
#include <limits>

// The state of the program each thread runs, and its copy of the launch
// parameters (our programs' "params").
thread_local T7CpuProgram t7_cpu;
thread_local Params params;

namespace cpu {
namespace {

// What a launch's programs read, fixed before they run.
struct Launch {
    Params params;
    int device;
    uint3 dims;
    unsigned long long generation;
    const ProgramGroup* raygen;
    CUdeviceptr raygenData;
    std::vector<const ProgramGroup*> miss, hit; // by record index
    CUdeviceptr missBase, hitBase;
    size_t missStride, hitStride;
};

thread_local const Launch* t_launch = nullptr;
thread_local unsigned long long t_generation = 0; // of the launch whose params the thread holds
// The last structure looked up, for the launch of `generation`.
thread_local struct {
    unsigned long long generation = 0;
    OptixTraversableHandle handle = 0;
    const Structure* structure = nullptr;
} t_found;

const Structure* lookUp(const Launch& launch, OptixTraversableHandle handle)
{
    if (t_found.generation != launch.generation || t_found.handle != handle)
        t_found = {launch.generation, handle, structureAt(handle, launch.device)};
    return t_found.structure;
}

// One optixTrace: Embree's context first, so that its callbacks find the rest.
struct Trace {
    RTCIntersectContext context;
    const Launch* launch;
    const Structure* root;
    float3 origin, direction;
    float tmin, time;
    unsigned flags, mask, sbtOffset;
    unsigned* payload;
    // The hit that stands, when found.
    bool found = false;
    float t = 0;
    unsigned instance = 0, primitive = 0, hitKind = 0;
    float u = 0, v = 0;
    unsigned attributes[8] = {};
};

// A custom primitive under test by its intersection program.
struct Candidate {
    Trace* trace;
    RTCRay* ray;
    RTCHit* hit; // null for occlusion
    unsigned geometry, primitive, instance;
};

const OptixInstance kNoInstance = {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}, 0, 0, 0xFF, 0, {}, 0, {}};
const std::array<float, 12> kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};

// The instance a hit is in (none when the root is a geometry structure), its
// geometry structure and its world-to-object transform.
struct Where {
    const OptixInstance* instance;
    const Structure* geometry;
    const std::array<float, 12>* inverse;
};

Where where(const Structure& root, unsigned instance)
{
    if (root.kind != Structure::Instances)
        return {&kNoInstance, &root, &kIdentity};
    return {&root.instances[instance], root.children[instance].get(), &root.inverses[instance]};
}

float3 transformPoint(const std::array<float, 12>& m, float3 p)
{
    return make_float3(m[0] * p.x + m[1] * p.y + m[2] * p.z + m[3],
                       m[4] * p.x + m[5] * p.y + m[6] * p.z + m[7],
                       m[8] * p.x + m[9] * p.y + m[10] * p.z + m[11]);
}

float3 transformVector(const std::array<float, 12>& m, float3 v)
{
    return make_float3(m[0] * v.x + m[1] * v.y + m[2] * v.z, m[4] * v.x + m[5] * v.y + m[6] * v.z,
                       m[8] * v.x + m[9] * v.y + m[10] * v.z);
}

// The hit group of a hit in `instance`, and the record's data.
const ProgramGroup* hitGroup(const Trace& tr, const OptixInstance& instance, CUdeviceptr& data)
{
    const Launch& launch = *tr.launch;
    const size_t index = size_t(instance.sbtOffset) + tr.sbtOffset;
    if (index >= launch.hit.size())
        return nullptr;
    data = launch.hitBase + index * launch.hitStride + OPTIX_SBT_RECORD_HEADER_SIZE;
    return launch.hit[index];
}

// The state every program of a trace starts from.
void enter(const Trace& tr, float tmin, float tmax)
{
    const T7CpuProgram caller = t7_cpu;
    t7_cpu = {};
    t7_cpu.launchIndex = caller.launchIndex;
    t7_cpu.launchDimensions = caller.launchDimensions;
    t7_cpu.worldOrigin = tr.origin;
    t7_cpu.worldDirection = tr.direction;
    t7_cpu.objectOrigin = tr.origin;
    t7_cpu.objectDirection = tr.direction;
    t7_cpu.tmin = tmin;
    t7_cpu.tmax = tmax;
    t7_cpu.time = tr.time;
    t7_cpu.rayFlags = tr.flags;
    t7_cpu.visibilityMask = tr.mask;
    t7_cpu.payload = tr.payload;
}

void runIntersection(Trace& tr, unsigned instanceIndex, unsigned primitive, unsigned geometry,
                     RTCRay& ray, RTCHit* hit)
{
    const Where w = where(*tr.root, instanceIndex);
    CUdeviceptr data = 0;
    const ProgramGroup* group = hitGroup(tr, *w.instance, data);
    if (!group || !group->intersection)
        return;
    Candidate candidate{&tr, &ray, hit, geometry, primitive, instanceIndex};
    const T7CpuProgram saved = t7_cpu;
    enter(tr, ray.tnear, ray.tfar);
    t7_cpu.objectOrigin = make_float3(ray.org_x, ray.org_y, ray.org_z);
    t7_cpu.objectDirection = make_float3(ray.dir_x, ray.dir_y, ray.dir_z);
    t7_cpu.primitiveIndex = primitive;
    t7_cpu.instanceId = w.instance->instanceId;
    t7_cpu.instanceIndex = instanceIndex;
    t7_cpu.primitiveType = OPTIX_PRIMITIVE_TYPE_CUSTOM;
    t7_cpu.sbtData = data;
    t7_cpu.intersection = &candidate;
    group->intersection();
    t7_cpu = saved;
}

// Hits of triangles and curves on rays that end at their first hit.
void recordFirstHit(const RTCFilterFunctionNArguments* args)
{
    if (!args->valid[0])
        return;
    auto& tr = *reinterpret_cast<Trace*>(args->context);
    const auto* hit = reinterpret_cast<const RTCHit*>(args->hit);
    tr.found = true;
    tr.t = reinterpret_cast<const RTCRay*>(args->ray)->tfar;
    tr.instance = hit->instID[0];
    tr.primitive = hit->primID;
    tr.u = hit->u;
    tr.v = hit->v;
}

bool finite(float3 v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

void closestHit(Trace& tr)
{
    const Where w = where(*tr.root, tr.instance);
    CUdeviceptr data = 0;
    const ProgramGroup* group = hitGroup(tr, *w.instance, data);
    if (!group || !group->closestHit || !w.geometry)
        return;
    enter(tr, tr.tmin, tr.t);
    t7_cpu.objectOrigin = transformPoint(*w.inverse, tr.origin);
    t7_cpu.objectDirection = transformVector(*w.inverse, tr.direction);
    t7_cpu.primitiveIndex = tr.primitive;
    t7_cpu.instanceId = w.instance->instanceId;
    t7_cpu.instanceIndex = tr.root->kind == Structure::Instances ? tr.instance : 0;
    t7_cpu.sbtData = data;
    const Structure& g = *w.geometry;
    switch (g.kind) {
    case Structure::Triangles: {
        // Front: counter-clockwise seen from the ray, (v1 - v0) x (v2 - v0) against it.
        const unsigned* f = &g.indices[3 * size_t(tr.primitive)];
        const float* v0 = &g.vertices[3 * size_t(f[0])];
        const float* v1 = &g.vertices[3 * size_t(f[1])];
        const float* v2 = &g.vertices[3 * size_t(f[2])];
        const float3 e1 = make_float3(v1[0] - v0[0], v1[1] - v0[1], v1[2] - v0[2]);
        const float3 e2 = make_float3(v2[0] - v0[0], v2[1] - v0[1], v2[2] - v0[2]);
        const bool front = t7_dot(t7_cross(e1, e2), t7_cpu.objectDirection) < 0.0f;
        t7_cpu.hitKind = front ? OPTIX_HIT_KIND_TRIANGLE_FRONT_FACE : OPTIX_HIT_KIND_TRIANGLE_BACK_FACE;
        t7_cpu.primitiveType = OPTIX_PRIMITIVE_TYPE_TRIANGLE;
        t7_cpu.barycentrics = make_float2(tr.u, tr.v);
        break;
    }
    case Structure::Curves:
        t7_cpu.primitiveType = g.curveType;
        t7_cpu.attributes[0] = __float_as_uint(tr.u); // the curve parameter
        break;
    default:
        t7_cpu.primitiveType = OPTIX_PRIMITIVE_TYPE_CUSTOM;
        t7_cpu.hitKind = tr.hitKind;
        std::memcpy(t7_cpu.attributes, tr.attributes, sizeof tr.attributes);
        break;
    }
    group->closestHit();
}

void miss(Trace& tr, unsigned index, float tmin, float tmax)
{
    const Launch& launch = *tr.launch;
    if (index >= launch.miss.size() || !launch.miss[index]->program)
        return; // a miss group without a program runs nothing
    enter(tr, tmin, tmax);
    t7_cpu.sbtData = launch.missBase + index * launch.missStride + OPTIX_SBT_RECORD_HEADER_SIZE;
    launch.miss[index]->program();
}

} // namespace

void intersectCustom(const RTCIntersectFunctionNArguments* args)
{
    if (!args->valid[0])
        return;
    auto& tr = *reinterpret_cast<Trace*>(args->context);
    auto* rayhit = reinterpret_cast<RTCRayHit*>(args->rayhit);
    runIntersection(tr, args->context->instID[0], args->primID, args->geomID, rayhit->ray,
                    &rayhit->hit);
}

void occludedCustom(const RTCOccludedFunctionNArguments* args)
{
    if (!args->valid[0])
        return;
    auto& tr = *reinterpret_cast<Trace*>(args->context);
    runIntersection(tr, args->context->instID[0], args->primID, args->geomID,
                    *reinterpret_cast<RTCRay*>(args->ray), nullptr);
}

} // namespace cpu

using cpu::Trace;

bool t7_cpuReportIntersection(float t, unsigned hitKind, unsigned count, const unsigned* attributes)
{
    auto* c = static_cast<cpu::Candidate*>(t7_cpu.intersection);
    if (!c || !(t >= t7_cpu.tmin && t <= c->ray->tfar))
        return false;
    Trace& tr = *c->trace;
    tr.found = true;
    tr.t = t;
    tr.instance = c->instance;
    tr.primitive = c->primitive;
    tr.hitKind = hitKind;
    std::memset(tr.attributes, 0, sizeof tr.attributes);
    std::memcpy(tr.attributes, attributes, sizeof(unsigned) * std::min(count, 8u));
    t7_cpu.tmax = t;
    if (!c->hit) { // occlusion: the first hit ends the traversal
        c->ray->tfar = -std::numeric_limits<float>::infinity();
        return true;
    }
    c->ray->tfar = t;
    c->hit->geomID = c->geometry;
    c->hit->primID = c->primitive;
    c->hit->instID[0] = tr.context.instID[0];
    c->hit->Ng_x = c->hit->Ng_y = 0.0f;
    c->hit->Ng_z = 1.0f;
    c->hit->u = c->hit->v = 0.0f;
    return true;
}

void t7_cpuTrace(OptixTraversableHandle handle, float3 origin, float3 direction, float tmin,
                 float tmax, float time, OptixVisibilityMask mask, unsigned flags,
                 unsigned sbtOffset, unsigned sbtStride, unsigned missIndex, unsigned count,
                 unsigned* payload)
{
    (void)sbtStride; // times the geometry's record index, which is 0 for every input here
    (void)count;
    const cpu::Launch& launch = *cpu::t_launch;
    const T7CpuProgram caller = t7_cpu;
    Trace tr;
    rtcInitIntersectContext(&tr.context);
    tr.launch = &launch;
    tr.root = cpu::lookUp(launch, handle);
    tr.origin = origin;
    tr.direction = direction;
    tr.tmin = tmin;
    tr.time = time;
    tr.flags = flags;
    tr.mask = mask;
    tr.sbtOffset = sbtOffset;
    tr.payload = payload;
    // A ray that cannot be traced (not finite, or empty) misses.
    if (tr.root && tr.root->scene && cpu::finite(origin) && cpu::finite(direction) &&
        tmin >= 0.0f && tmin <= tmax) {
        RTCRayHit rh;
        // (No motion: every ray is traced at time 0.)
        rh.ray = {origin.x, origin.y, origin.z, tmin, direction.x, direction.y, direction.z,
                  0.0f, tmax, mask, 0, 0};
        rh.hit.geomID = rh.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
        if (flags & OPTIX_RAY_FLAG_TERMINATE_ON_FIRST_HIT) {
            tr.context.filter = cpu::recordFirstHit;
            rtcOccluded1(tr.root->scene, &tr.context, &rh.ray);
            tr.found = tr.found && rh.ray.tfar < 0.0f;
        } else {
            rtcIntersect1(tr.root->scene, &tr.context, &rh);
            const bool found = rh.hit.geomID != RTC_INVALID_GEOMETRY_ID;
            const unsigned instance = rh.hit.instID[0] == RTC_INVALID_GEOMETRY_ID ? 0 : rh.hit.instID[0];
            const cpu::Structure* g = found ? cpu::where(*tr.root, instance).geometry : nullptr;
            // A custom primitive's report set what stands; the others come from Embree.
            if (found && g && g->kind != cpu::Structure::Custom) {
                tr.instance = instance;
                tr.primitive = rh.hit.primID;
                tr.u = rh.hit.u;
                tr.v = rh.hit.v;
                tr.t = rh.ray.tfar;
            }
            tr.found = found;
        }
    }
    if (tr.found && !(flags & OPTIX_RAY_FLAG_DISABLE_CLOSESTHIT))
        cpu::closestHit(tr);
    else if (!tr.found)
        cpu::miss(tr, missIndex, tmin, tmax);
    t7_cpu = caller;
}

namespace {

// The group of a record, by its header: live, of the device and of the kind.
const cpu::ProgramGroup* groupOf(CUdeviceptr record, int device, OptixProgramGroupKind kind)
{
    if (!record || !cpu::blockHolding(reinterpret_cast<void*>(record), OPTIX_SBT_RECORD_HEADER_SIZE))
        return nullptr;
    unsigned long long header[2];
    std::memcpy(header, reinterpret_cast<const void*>(record), sizeof header);
    const auto* g = reinterpret_cast<const cpu::ProgramGroup*>(header[1]);
    return header[0] == cpu::kRecordMagic && cpu::liveObject(g) && g->device == device &&
                   g->kind == kind
               ? g
               : nullptr;
}

bool groupsOf(CUdeviceptr base, size_t stride, unsigned count, int device,
              OptixProgramGroupKind kind, std::vector<const cpu::ProgramGroup*>& out)
{
    for (unsigned i = 0; i < count; ++i) {
        out.push_back(groupOf(base + i * stride, device, kind));
        if (!out.back())
            return false;
    }
    return true;
}

OptixResult launch(OptixPipeline pipeline, CUstream stream, CUdeviceptr pipelineParams,
                   size_t pipelineParamsSize, const OptixShaderBindingTable* sbt,
                   unsigned int width, unsigned int height, unsigned int depth)
{
    static unsigned long long generations = 0;
    cpu::Launch launch;
    {
        std::lock_guard<std::mutex> guard(cpu::lock());
        CPU_OPTIX_INTERCEPT("optixLaunch");
        const auto* p = reinterpret_cast<const cpu::Pipeline*>(pipeline);
        const int device = cpu::liveObject(p) ? p->device : -1;
        const bool streamOfDevice = cpu::state().streams.count(stream) &&
                                    *reinterpret_cast<const int*>(stream) == device;
        const void* block = reinterpret_cast<const void*>(pipelineParams);
        const unsigned long long indices = (unsigned long long)width * height * depth;
        if (device < 0 || !streamOfDevice || !sbt || !pipelineParamsSize ||
            !cpu::blockHolding(block, pipelineParamsSize) || indices > (1ull << 30))
            return OPTIX_ERROR_INVALID_VALUE;
        launch.params = {};
        std::memcpy(&launch.params, block, std::min(pipelineParamsSize, sizeof(Params)));
        launch.device = device;
        launch.dims = make_uint3(width, height, depth);
        launch.generation = ++generations;
        launch.raygen = groupOf(sbt->raygenRecord, device, OPTIX_PROGRAM_GROUP_KIND_RAYGEN);
        launch.raygenData = sbt->raygenRecord + OPTIX_SBT_RECORD_HEADER_SIZE;
        launch.missBase = sbt->missRecordBase;
        launch.missStride = sbt->missRecordStrideInBytes;
        launch.hitBase = sbt->hitgroupRecordBase;
        launch.hitStride = sbt->hitgroupRecordStrideInBytes;
        if (!launch.raygen ||
            !groupsOf(sbt->missRecordBase, sbt->missRecordStrideInBytes, sbt->missRecordCount,
                      device, OPTIX_PROGRAM_GROUP_KIND_MISS, launch.miss) ||
            !groupsOf(sbt->hitgroupRecordBase, sbt->hitgroupRecordStrideInBytes,
                      sbt->hitgroupRecordCount, device, OPTIX_PROGRAM_GROUP_KIND_HITGROUP,
                      launch.hit))
            return OPTIX_ERROR_INVALID_VALUE;
        cpu::note("optix", "optixLaunch device=%d width=%u height=%u depth=%u -> 0", device, width,
                  height, depth);
    }
    if (!launch.raygen->program)
        return OPTIX_SUCCESS; // a module without entries (as tests make): nothing to run
    // Launch indices in chunks of 64: an 8 x 8 tile of our sample lists.
    cpu::ThreadPool::run(size_t(width) * height * depth, 64, [&](size_t begin, size_t end) {
        if (cpu::t_generation != launch.generation) {
            cpu::t_generation = launch.generation;
            params = launch.params;
        }
        cpu::t_launch = &launch;
        for (size_t i = begin; i < end; ++i) {
            t7_cpu = {};
            t7_cpu.launchIndex = make_uint3(unsigned(i % width), unsigned(i / width % height),
                                            unsigned(i / (size_t(width) * height)));
            t7_cpu.launchDimensions = launch.dims;
            t7_cpu.sbtData = launch.raygenData;
            launch.raygen->program();
        }
        cpu::t_launch = nullptr;
    });
    return OPTIX_SUCCESS;
}

} // namespace

namespace cpu {

void fillLaunchEntries(OptixFunctionTable& table) { table.optixLaunch = launch; }

} // namespace cpu
