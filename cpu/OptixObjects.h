#pragma once
// The OptiX objects of the CPU device and what its parts share: device
// contexts, modules holding host builds of our programs, program groups,
// pipelines, the binding-table record header, and the function table.

#include "core/optix7.h"

#include <map>
#include <string>
#include <vector>

namespace cpu {

// A host build of one of our programs (an entry function of shaders/*.cu).
using HostProgram = void (*)();
struct HostEntry {
    const char* name;
    HostProgram program;
};
// Every host build, by entry name (generated from the program sources).
const std::vector<HostEntry>& hostPrograms();

struct Context {
    int device;
    OptixLogCallback callback; // kept: the CPU device has nothing to log yet
    void* callbackData;
    unsigned level;
};

// A module: the host builds of the entries its PTX declares, or a built-in
// intersection (curves, traversed by Embree).
struct Module {
    int device;
    bool declaresEntries;                       // PTX that declares none (tests) takes any name
    std::map<std::string, HostProgram> entries; // by entry name
    unsigned builtinType;                       // OptixPrimitiveType of a built-in module
};

struct ProgramGroup {
    int device;
    OptixProgramGroupKind kind;
    // Ray generation or miss; or closest hit, any hit and intersection of a
    // hit group. Null where there is none, or where the module's text named
    // no entries.
    HostProgram program;
    HostProgram closestHit, anyHit, intersection;
};

struct Pipeline {
    int device;
    std::vector<ProgramGroup*> groups;
};

// The first word of a binding-table record header; the second is the group.
constexpr unsigned long long kRecordMagic = 0x5452565853425452ull;

// The device of a live context, or -1. The caller holds the lock.
int contextDevice(OptixDeviceContext context);
// Whether an OptiX object (module, group, pipeline, denoiser) is live. The
// caller holds the lock.
bool liveObject(const void* object);

// The entries of the function table, by part.
OptixResult queryFunctionTable(int abiId, void* functionTable, size_t sizeOfTable);
void fillProgramEntries(OptixFunctionTable& table);
void fillAccelEntries(OptixFunctionTable& table);
void fillLaunchEntries(OptixFunctionTable& table);
void fillDenoiserEntries(OptixFunctionTable& table);

} // namespace cpu
