// Entry points for geometry: set-up, slot data, colour, material, removal.

#include "trevix7.h"

#include "EntryPoint.h"
#include "core/PathTracer.h"

namespace {

PathTracer::SlotMap slotMap(const unsigned* slots, const unsigned* elementSizes, unsigned count)
{
    return toKeyedMap<size_t, size_t>(slots, elementSizes, count, "slots", "elementSizes");
}

} // namespace

extern "C" {

int ApiSetupTrianglesGeometry(unsigned int handle, geoPrimirivesType type,
                              const unsigned int* slots, const unsigned int* elementSizes,
                              unsigned int slotCount, unsigned int material, char* error)
{
    return catching(handle, error, -1, 0, [&](PathTracer& pt) {
        return int(pt.setupTrianglesGeometry(type, slotMap(slots, elementSizes, slotCount),
                                             material));
    });
}

int ApiSetupBSplinesGeometry(unsigned int handle, geoPrimirivesType type,
                             const unsigned int* slots, const unsigned int* elementSizes,
                             unsigned int slotCount, unsigned int material, char* error)
{
    return catching(handle, error, -1, 0, [&](PathTracer& pt) {
        return int(pt.setupBSplinesGeometry(type, slotMap(slots, elementSizes, slotCount),
                                            material));
    });
}

int ApiSetupPrimitivesGeometry(unsigned int handle, geoPrimirivesType type,
                               const char* intersectionProgram, const unsigned int* slots,
                               const unsigned int* elementSizes, unsigned int slotCount,
                               unsigned int material, char* error)
{
    return catching(handle, error, -1, 0, [&](PathTracer& pt) {
        const std::string program = requiredString(intersectionProgram, "intersectionProgram");
        return int(pt.setupPrimitivesGeometry(type, program,
                                              slotMap(slots, elementSizes, slotCount), material));
    });
}

bool ApiUploadGeometryMeshFaces(unsigned int handle, unsigned int geometry,
                                trevix7_float3* vertices, unsigned int vertexCount,
                                trevix7_uint3* faces, unsigned int faceCount, char* error)
{
    return catching(handle, error, false, false, [&](PathTracer& pt) {
        return pt.uploadGeometryMeshFaces(
            geometry, nativeArray(required(vertices, "vertices", vertexCount)), vertexCount,
            nativeArray(required(faces, "faces", faceCount)), faceCount);
    });
}

bool ApiUploadGeometryMeshNormals(unsigned int handle, unsigned int geometry,
                                  trevix7_float3* normals, unsigned int normalCount,
                                  trevix7_uint3* normalIndices, unsigned int normalIndexCount,
                                  char* error)
{
    return catching(handle, error, false, false, [&](PathTracer& pt) {
        return pt.uploadGeometryMeshNormals(
            geometry, nativeArray(required(normals, "normals", normalCount)), normalCount,
            nativeArray(required(normalIndices, "normalIndices", normalIndexCount)),
            normalIndexCount);
    });
}

bool ApiUploadGeometryMeshTexCoords(unsigned int handle, unsigned int geometry,
                                    trevix7_float2* texCoords, unsigned int texCoordCount,
                                    trevix7_uint3* texCoordIndices,
                                    unsigned int texCoordIndexCount, char* error)
{
    return catching(handle, error, false, false, [&](PathTracer& pt) {
        return pt.uploadGeometryMeshTexCoords(
            geometry, nativeArray(required(texCoords, "texCoords", texCoordCount)),
            texCoordCount,
            nativeArray(required(texCoordIndices, "texCoordIndices", texCoordIndexCount)),
            texCoordIndexCount);
    });
}

bool ApiUploadGeometryBSplineIdx(unsigned int handle, unsigned int geometry,
                                 unsigned int* segmentIndices, unsigned int segmentCount,
                                 char* error)
{
    return catching(handle, error, false, false, [&](PathTracer& pt) {
        return pt.uploadGeometryBSplineIdx(
            geometry, required(segmentIndices, "segmentIndices", segmentCount), segmentCount);
    });
}

bool ApiUploadGeometryBuffers(unsigned int handle, unsigned int geometry,
                              unsigned int elementCount, const unsigned int* slots,
                              void* const* data, unsigned int slotCount, char* error)
{
    return catching(handle, error, false, false, [&](PathTracer& pt) {
        auto map = toKeyedMap<void*, size_t>(slots, data, slotCount, "slots", "data");
        for (const auto& slot : map)
            required(slot.second, "data", elementCount);
        return pt.uploadGeometryBuffers(geometry, elementCount, map);
    });
}

bool ApiDownloadGeometryBuffer(unsigned int handle, unsigned int geometry, unsigned long slot,
                               unsigned int elementCount, void* destination, char* error)
{
    return catching(handle, error, false, false, [&](PathTracer& pt) {
        return pt.downloadGeometryBuffer(geometry, slot, elementCount,
                                         required(destination, "destination", elementCount));
    });
}

bool ApiFreeGeometryBuffer(unsigned int handle, unsigned int geometry, unsigned int slot)
{
    return nonCatching(handle, false,
                       [&](PathTracer& pt) { return pt.freeGeometryBuffer(geometry, slot); });
}

bool ApiDeleteGeometry(unsigned int handle, unsigned int geometry, char* error)
{
    return catching(handle, error, false, false,
                    [&](PathTracer& pt) { return pt.deleteGeometry(geometry); });
}

bool ApiSetupConstColor(unsigned int handle, unsigned int geometry, trevix7_float3 color)
{
    return nonCatching(handle, false, [&](PathTracer& pt) {
        return pt.setupConstColor(geometry, toNative(color));
    });
}

bool ApiSetupGeometryMaterial(unsigned int handle, unsigned int geometry, unsigned int material)
{
    return nonCatching(handle, false, [&](PathTracer& pt) {
        return pt.setupGeometryMaterial(geometry, material);
    });
}

bool ApiSetupDisplacementTexture(unsigned int handle, unsigned int geometry, unsigned int texture)
{
    return nonCatching(handle, false, [&](PathTracer& pt) {
        return pt.setupDisplacementTexture(geometry, texture);
    });
}

} // extern "C"
