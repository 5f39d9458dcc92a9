// Entry points for the images the host reads: the converted output, a second
// conversion on demand, and the raw, hit-position, id, albedo and normal
// images, whole or one pixel at a time.

#include "trevix7.h"

#include "EntryPoint.h"
#include "core/PathTracer.h"

#include <cstring>

namespace {

// A float4 or uint2 image: its host pointer and byte count. Albedo and normal
// images narrower than 2 pixels are not kept: null and 0.
template <typename Pixel>
bool image(CUDAOutputBuffer<Pixel>& buffer, void*& data, int& size, int minWidth = 1)
{
    if (buffer.width() < minWidth)
        return true;
    data = buffer.getHostPointer();
    // Below INT_MAX: images hold at most kMaxImagePixels pixels.
    size = int(size_t(buffer.width()) * size_t(buffer.height()) * sizeof(Pixel));
    return true;
}

} // namespace

extern "C" {

bool ApiSetReadbackMode(unsigned int handle, readbackMode mode)
{
    return nonCatching(handle, false, [&](PathTracer& pt) { return pt.setReadback(mode); });
}

void* ApiReadbackCudaPtr(unsigned int handle, char* error)
{
    return nonCatching(handle, error, static_cast<void*>(nullptr),
                       [](PathTracer& pt) { return pt.readback().devicePointer(); });
}

bool ApiGetOutputBuffer(unsigned int handle, void** data, unsigned int* size, char* error)
{
    return outputGetter(handle, data, size, error, [](PathTracer& pt, void*& d, unsigned& n) {
        d = pt.readback().hostPointer();
        n = pt.readback().size();
        return true;
    });
}

bool ApiGetOutputBuffer2(unsigned int handle, readbackMode mode, void** data, unsigned int* size,
                         char* error)
{
    return outputGetter(handle, data, size, error, [&](PathTracer& pt, void*& d, unsigned& n) {
        d = pt.getOutputBuffer2(mode);
        n = pt.secondaryReadback() ? pt.secondaryReadback()->size() : 0;
        return true;
    });
}

bool ApiGetRawOutputBuffer(unsigned int handle, void** data, int* size, char* error)
{
    return outputGetter(handle, data, size, error, [](PathTracer& pt, void*& d, int& n) {
        return image(pt.outputImage(), d, n);
    });
}

bool ApiGetHitPosBuffer(unsigned int handle, void** data, int* size, char* error)
{
    return outputGetter(handle, data, size, error, [](PathTracer& pt, void*& d, int& n) {
        return image(pt.hitPosImage(), d, n);
    });
}

bool ApiGetIdBuffer(unsigned int handle, void** data, int* size, char* error)
{
    return outputGetter(handle, data, size, error, [](PathTracer& pt, void*& d, int& n) {
        return image(pt.idImage(), d, n);
    });
}

bool ApiGetAlbedoBuffer(unsigned int handle, void** data, int* size, char* error)
{
    return outputGetter(handle, data, size, error, [](PathTracer& pt, void*& d, int& n) {
        return image(pt.albedoImage(), d, n, 2);
    });
}

bool ApiGetNormalBuffer(unsigned int handle, void** data, int* size, char* error)
{
    return outputGetter(handle, data, size, error, [](PathTracer& pt, void*& d, int& n) {
        return image(pt.normalImage(), d, n, 2);
    });
}

// Coordinates outside the image leave the output untouched.
void ApiReadHitPosAtPoint(unsigned int handle, unsigned int x, unsigned int y,
                          trevix7_float4* hitPosition)
{
    nonCatching(handle, false, [&](PathTracer& pt) {
        required(hitPosition, "hitPosition");
        float4 p;
        if (!pt.readHitPosAtPoint(x, y, p))
            return false;
        std::memcpy(hitPosition, &p, sizeof p);
        return true;
    });
}

void ApiReadGeomIdAtPoint(unsigned int handle, unsigned int x, unsigned int y, unsigned int ids[4])
{
    nonCatching(handle, false, [&](PathTracer& pt) {
        return pt.readGeomIdAtPoint(x, y, required(ids, "ids"));
    });
}

} // extern "C"
