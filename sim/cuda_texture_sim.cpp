// CUDA arrays and texture objects of the simulated runtime. An array keeps its
// image in host memory and counts against its device's memory; a texture
// object is a number remembered with copies of its descriptors.

#include "SimDevice.h"

#include <cuda_runtime_api.h>

#include <cstring>

using sim::cudaResult;
using sim::lock;
using sim::state;

namespace {

sim::Array* liveArray(cudaArray_const_t array)
{
    auto* a = reinterpret_cast<sim::Array*>(const_cast<cudaArray_t>(array));
    return array && state().arrays.count(a) ? a : nullptr;
}

cudaError_t mallocArray(cudaArray_t* array, const cudaChannelFormatDesc* desc, size_t width,
                        size_t height)
{
    if (!array || !desc)
        return cudaErrorInvalidValue;
    *array = nullptr;
    if (state().devices.empty())
        return cudaErrorNoDevice;
    int bits = desc->x + desc->y + desc->z + desc->w;
    if (desc->x < 0 || desc->y < 0 || desc->z < 0 || desc->w < 0 || bits <= 0 || bits % 8 ||
        width == 0)
        return cudaErrorInvalidValue;
    int device = sim::currentDevice();
    sim::Device& d = state().devices[device];
    d.contextCreated = true;
    size_t rowBytes = width * size_t(bits / 8);
    size_t bytes = rowBytes * (height ? height : 1);
    if (!d.fits(bytes))
        return cudaErrorMemoryAllocation;
    auto* a = new sim::Array{device, *desc, width, height, rowBytes,
                             std::vector<unsigned char>(bytes, 0)};
    d.bytesInUse += bytes;
    state().arrays.insert(a);
    *array = reinterpret_cast<cudaArray_t>(a);
    return cudaSuccess;
}

cudaError_t copyToArray(cudaArray_t dst, size_t wOffset, size_t hOffset, const void* src,
                        size_t spitch, size_t width, size_t height, cudaMemcpyKind kind,
                        cudaStream_t stream)
{
    sim::Array* a = liveArray(dst);
    if (!a)
        return cudaErrorInvalidValue;
    if (stream && !state().streams.count(stream))
        return cudaErrorInvalidResourceHandle;
    if (kind != cudaMemcpyHostToDevice && kind != cudaMemcpyDeviceToDevice &&
        kind != cudaMemcpyDefault)
        return cudaErrorInvalidMemcpyDirection;
    if (width == 0 || height == 0)
        return cudaSuccess;
    size_t rows = a->height ? a->height : 1;
    // The library writes whole images from the first element on.
    if (!src || spitch < width || wOffset || hOffset || width > a->rowBytes || height > rows ||
        !sim::insideBlocks(src, (height - 1) * spitch + width))
        return cudaErrorInvalidValue;
    for (size_t r = 0; r < height; ++r)
        std::memcpy(&a->image[r * a->rowBytes], static_cast<const char*>(src) + r * spitch, width);
    return cudaSuccess;
}

} // namespace

extern "C" {

cudaChannelFormatDesc cudaCreateChannelDesc(int x, int y, int z, int w, cudaChannelFormatKind f)
{
    return {x, y, z, w, f};
}

cudaError_t cudaMallocArray(cudaArray_t* array, const cudaChannelFormatDesc* desc, size_t width,
                            size_t height, unsigned int flags)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_CUDA_INJECT();
    cudaError_t e = mallocArray(array, desc, width, height);
    sim::trace("cuda", "cudaMallocArray device=%d width=%zu height=%zu flags=%u -> %d",
               sim::currentDevice(), width, height, flags, int(e));
    return cudaResult(e);
}

// Stricter than the real runtime: an array is freed on its own device.
cudaError_t cudaFreeArray(cudaArray_t array)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_CUDA_INJECT();
    cudaError_t e = cudaSuccess;
    sim::Array* a = liveArray(array);
    if (array && !a)
        e = cudaErrorInvalidValue;
    else if (a && a->device != sim::currentDevice())
        e = cudaErrorInvalidResourceHandle;
    else if (a) {
        state().devices[a->device].bytesInUse -= a->image.size();
        state().arrays.erase(a);
        delete a;
    }
    sim::trace("cuda", "cudaFreeArray device=%d array=%s -> %d", sim::currentDevice(),
               array ? "array" : "null", int(e));
    return cudaResult(e);
}

cudaError_t cudaMemcpy2DToArrayAsync(cudaArray_t dst, size_t wOffset, size_t hOffset,
                                     const void* src, size_t spitch, size_t width, size_t height,
                                     cudaMemcpyKind kind, cudaStream_t stream)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_CUDA_INJECT();
    cudaError_t e = copyToArray(dst, wOffset, hOffset, src, spitch, width, height, kind, stream);
    sim::trace("cuda", "cudaMemcpy2DToArrayAsync width=%zu height=%zu -> %d", width, height,
               int(e));
    return cudaResult(e);
}

// Only array resources are supported; the array must belong to the current device.
cudaError_t cudaCreateTextureObject(cudaTextureObject_t* pTexObject,
                                    const cudaResourceDesc* pResDesc,
                                    const cudaTextureDesc* pTexDesc,
                                    const cudaResourceViewDesc* /*pResViewDesc*/)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_CUDA_INJECT();
    cudaError_t e = cudaSuccess;
    sim::Array* a = nullptr;
    if (!pTexObject || !pResDesc || !pTexDesc || pResDesc->resType != cudaResourceTypeArray)
        e = cudaErrorInvalidValue;
    else if (!(a = liveArray(pResDesc->res.array.array)) || a->device != sim::currentDevice())
        e = cudaErrorInvalidResourceHandle;
    if (e == cudaSuccess) {
        *pTexObject = ++state().lastTextureObject;
        state().textureObjects[*pTexObject] = {a->device, *pResDesc, *pTexDesc};
    }
    sim::trace("cuda", "cudaCreateTextureObject device=%d object=0x%llx -> %d",
               sim::currentDevice(), e == cudaSuccess ? *pTexObject : 0ull, int(e));
    return cudaResult(e);
}

// Stricter than the real runtime: a texture object is destroyed on its own device.
cudaError_t cudaDestroyTextureObject(cudaTextureObject_t texObject)
{
    std::lock_guard<std::mutex> guard(lock());
    SIM_CUDA_INJECT();
    cudaError_t e = cudaSuccess;
    auto it = state().textureObjects.find(texObject);
    if (it == state().textureObjects.end())
        e = cudaErrorInvalidValue;
    else if (it->second.device != sim::currentDevice())
        e = cudaErrorInvalidResourceHandle;
    else
        state().textureObjects.erase(it);
    sim::trace("cuda", "cudaDestroyTextureObject object=0x%llx -> %d", texObject, int(e));
    return cudaResult(e);
}

} // extern "C"

namespace sim {

bool textureInfo(unsigned long long object, TextureInfo& out)
{
    std::lock_guard<std::mutex> guard(lock());
    auto it = state().textureObjects.find(object);
    if (it == state().textureObjects.end())
        return false;
    const TextureObject& t = it->second;
    out.device = t.device;
    out.texture = t.texture;
    // The array may have been freed under the object; report what is left.
    const Array* a = liveArray(t.resource.res.array.array);
    out.format = a ? a->desc : cudaChannelFormatDesc{};
    out.width = a ? a->width : 0;
    out.height = a ? a->height : 0;
    out.image = a ? a->image : std::vector<unsigned char>();
    return true;
}

} // namespace sim
