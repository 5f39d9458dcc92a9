// Entry points for geometry: set-up, slot data, colour, material, removal.

#include "trevix7.h"

#include "Marshalling.h"
#include "Registry.h"
#include "core/PathTracer.h"

namespace {

PathTracer::SlotMap slotMap(const unsigned* slots, const unsigned* elementSizes, unsigned count)
{
    return toKeyedMap<size_t, size_t>(slots, elementSizes, count);
}

// The public vector records have the layouts of the CUDA vector types.
const float3* native(const trevix7_float3* p) { return reinterpret_cast<const float3*>(p); }
const float2* native(const trevix7_float2* p) { return reinterpret_cast<const float2*>(p); }
const uint3* native(const trevix7_uint3* p) { return reinterpret_cast<const uint3*>(p); }

// Entry points that catch report through `error` and return `onException`;
// an unknown handle gives `unknown`.
template <typename R, typename Call>
R withInstance(unsigned handle, char* error, R unknown, R onException, Call&& call)
{
    clearError(error);
    PathTracer* pt = findPathTracer(handle);
    if (!pt)
        return unknown;
    return catching(error, onException, [&] { return call(*pt); });
}

} // namespace

static_assert(sizeof(trevix7_float3) == sizeof(float3) && sizeof(trevix7_uint3) == sizeof(uint3) &&
                  sizeof(trevix7_float2) == sizeof(float2),
              "public vector records match the CUDA vector types");

extern "C" {

int ApiSetupTrianglesGeometry(unsigned int handle, geoPrimirivesType type,
                              const unsigned int* slots, const unsigned int* elementSizes,
                              unsigned int slotCount, unsigned int material, char* error)
{
    const auto map = slotMap(slots, elementSizes, slotCount);
    return withInstance(handle, error, -1, 0, [&](PathTracer& pt) {
        return int(pt.setupTrianglesGeometry(type, map, material));
    });
}

int ApiSetupBSplinesGeometry(unsigned int handle, geoPrimirivesType type,
                             const unsigned int* slots, const unsigned int* elementSizes,
                             unsigned int slotCount, unsigned int material, char* error)
{
    const auto map = slotMap(slots, elementSizes, slotCount);
    return withInstance(handle, error, -1, 0, [&](PathTracer& pt) {
        return int(pt.setupBSplinesGeometry(type, map, material));
    });
}

int ApiSetupPrimitivesGeometry(unsigned int handle, geoPrimirivesType type,
                               const char* intersectionProgram, const unsigned int* slots,
                               const unsigned int* elementSizes, unsigned int slotCount,
                               unsigned int material, char* error)
{
    const std::string program = intersectionProgram;
    const auto map = slotMap(slots, elementSizes, slotCount);
    return withInstance(handle, error, -1, 0, [&](PathTracer& pt) {
        return int(pt.setupPrimitivesGeometry(type, program, map, material));
    });
}

bool ApiUploadGeometryMeshFaces(unsigned int handle, unsigned int geometry,
                                trevix7_float3* vertices, unsigned int vertexCount,
                                trevix7_uint3* faces, unsigned int faceCount, char* error)
{
    return withInstance(handle, error, false, false, [&](PathTracer& pt) {
        return pt.uploadGeometryMeshFaces(geometry, native(vertices), vertexCount, native(faces),
                                          faceCount);
    });
}

bool ApiUploadGeometryMeshNormals(unsigned int handle, unsigned int geometry,
                                  trevix7_float3* normals, unsigned int normalCount,
                                  trevix7_uint3* normalIndices, unsigned int normalIndexCount,
                                  char* error)
{
    return withInstance(handle, error, false, false, [&](PathTracer& pt) {
        return pt.uploadGeometryMeshNormals(geometry, native(normals), normalCount,
                                            native(normalIndices), normalIndexCount);
    });
}

bool ApiUploadGeometryMeshTexCoords(unsigned int handle, unsigned int geometry,
                                    trevix7_float2* texCoords, unsigned int texCoordCount,
                                    trevix7_uint3* texCoordIndices,
                                    unsigned int texCoordIndexCount, char* error)
{
    return withInstance(handle, error, false, false, [&](PathTracer& pt) {
        return pt.uploadGeometryMeshTexCoords(geometry, native(texCoords), texCoordCount,
                                              native(texCoordIndices), texCoordIndexCount);
    });
}

bool ApiUploadGeometryBSplineIdx(unsigned int handle, unsigned int geometry,
                                 unsigned int* segmentIndices, unsigned int segmentCount,
                                 char* error)
{
    return withInstance(handle, error, false, false, [&](PathTracer& pt) {
        return pt.uploadGeometryBSplineIdx(geometry, segmentIndices, segmentCount);
    });
}

bool ApiUploadGeometryBuffers(unsigned int handle, unsigned int geometry,
                              unsigned int elementCount, const unsigned int* slots,
                              void* const* data, unsigned int slotCount, char* error)
{
    const auto map = toKeyedMap<void*, size_t>(slots, data, slotCount);
    return withInstance(handle, error, false, false, [&](PathTracer& pt) {
        return pt.uploadGeometryBuffers(geometry, elementCount, map);
    });
}

bool ApiDownloadGeometryBuffer(unsigned int handle, unsigned int geometry, unsigned long slot,
                               unsigned int elementCount, void* destination, char* error)
{
    return withInstance(handle, error, false, false, [&](PathTracer& pt) {
        return pt.downloadGeometryBuffer(geometry, slot, elementCount, destination);
    });
}

bool ApiFreeGeometryBuffer(unsigned int handle, unsigned int geometry, unsigned int slot)
{
    PathTracer* pt = findPathTracer(handle);
    return pt && pt->freeGeometryBuffer(geometry, slot);
}

bool ApiDeleteGeometry(unsigned int handle, unsigned int geometry, char* error)
{
    return withInstance(handle, error, false, false,
                        [&](PathTracer& pt) { return pt.deleteGeometry(geometry); });
}

bool ApiSetupConstColor(unsigned int handle, unsigned int geometry, trevix7_float3 color)
{
    PathTracer* pt = findPathTracer(handle);
    return pt && pt->setupConstColor(geometry, toNative(color));
}

bool ApiSetupGeometryMaterial(unsigned int handle, unsigned int geometry, unsigned int material)
{
    PathTracer* pt = findPathTracer(handle);
    return pt && pt->setupGeometryMaterial(geometry, material);
}

bool ApiSetupDisplacementTexture(unsigned int handle, unsigned int geometry, unsigned int texture)
{
    PathTracer* pt = findPathTracer(handle);
    return pt && pt->setupDisplacementTexture(geometry, texture);
}

} // extern "C"
