#pragma once
// Acceleration structures of the CPU device: Embree scenes built from the
// OptiX build inputs, which they copy (the library may free its inputs after
// the build). A structure is reached through the buffer it was built into:
// the buffer's first 16 bytes hold a header (a tag and the structure's
// serial), and the buffer's address is the traversable handle. A compaction
// or a relocation places the same structure at its copy; freeing a buffer
// forgets what was placed in it, and a structure goes with its last place.

#include "core/optix7.h"

#include <embree3/rtcore.h>

#include <array>
#include <memory>
#include <vector>

namespace cpu {

constexpr unsigned long long kStructureMagic = 0x5452565853545255ull;

struct Structure {
    enum Kind { Triangles, Curves, Custom, Instances };
    Structure() = default;
    Structure(const Structure&) = delete;
    Structure& operator=(const Structure&) = delete;
    ~Structure();

    Kind kind = Triangles;
    OptixPrimitiveType curveType = OPTIX_PRIMITIVE_TYPE_TRIANGLE;
    unsigned long long serial = 0;
    int device = 0;          // where it was built
    size_t compactedSize = 0;
    unsigned buildFlags = 0;
    unsigned primitives = 0; // triangles, segments, boxes or instances
    RTCScene scene = nullptr;
    // What Embree reads: triangles (x, y, z a vertex, one float of padding
    // after the last) and their index triplets; curves (x, y, z, radius a
    // control point) and the first control point of each segment; boxes.
    std::vector<float> vertices;
    std::vector<unsigned> indices;
    std::vector<OptixAabb> boxes;
    // An instance structure: the instances as built, the structure each
    // refers to (null for none) and each one's world-to-object transform.
    std::vector<OptixInstance> instances;
    std::vector<std::shared_ptr<Structure>> children;
    std::vector<std::array<float, 12>> inverses;
};

// Embree, started on first use.
RTCDevice embree();

// The structure placed at `handle` whose header is intact, or null; with
// `device`, only one placed for that device. No lock is taken: a launch
// reads what nothing changes while it runs.
Structure* structureAt(OptixTraversableHandle handle, int device = -1);
std::shared_ptr<Structure> sharedStructureAt(OptixTraversableHandle handle, int device = -1);
// A structure by serial, while it is placed anywhere (relocation).
std::shared_ptr<Structure> structureBySerial(unsigned long long serial);
// Places `s` at `address` for `device`, in a buffer of `size` bytes (what a
// copy of it needs), and writes its header; gives the handle.
OptixTraversableHandle place(const std::shared_ptr<Structure>& s, CUdeviceptr address, int device,
                             size_t size);
size_t placedSize(OptixTraversableHandle handle);
// Forgets every structure placed inside [block, block + bytes).
void forgetStructuresIn(void* block, size_t bytes);
// A new serial for a structure being built.
unsigned long long nextSerial();

// Embree's calls into the intersection programs of custom primitives
// (the launch implements them).
void intersectCustom(const RTCIntersectFunctionNArguments* args);
void occludedCustom(const RTCOccludedFunctionNArguments* args);

} // namespace cpu
