// CUDA arrays and texture objects of the CPU device. An array keeps its image
// in host memory and counts against its device's memory; a texture object is
// the address of a record with its descriptors and a share of the array's
// image, and fetches through it are filtered as the texture unit does.

#include "CpuDevice.h"

#include <cuda_runtime_api.h>
#include <vector_functions.h>

#include <cmath>
#include <cstring>

using cpu::cudaResult;
using cpu::lock;
using cpu::state;

namespace {

cpu::Array* liveArray(cudaArray_const_t array)
{
    auto* a = reinterpret_cast<cpu::Array*>(const_cast<cudaArray_t>(array));
    return array && state().arrays.count(a) ? a : nullptr;
}

cudaError_t mallocArray(cudaArray_t* array, const cudaChannelFormatDesc* desc, size_t width,
                        size_t height)
{
    // The library checks the format and size, and makes its device current, first.
    const int bits = desc->x + desc->y + desc->z + desc->w;
    const int device = cpu::currentDevice();
    cpu::Device& d = state().devices[device];
    d.contextCreated = true;
    const size_t rowBytes = width * size_t(bits / 8);
    const size_t bytes = rowBytes * (height ? height : 1);
    if (!d.fits(bytes))
        return cudaErrorMemoryAllocation;
    auto* a = new cpu::Array{device, *desc, width, height, rowBytes,
                             std::make_shared<std::vector<unsigned char>>(bytes, 0)};
    d.bytesInUse += bytes;
    state().arrays.insert(a);
    *array = reinterpret_cast<cudaArray_t>(a);
    return cudaSuccess;
}

// The library copies whole host images, from the first element on.
cudaError_t copyToArray(cudaArray_t dst, const void* src, size_t spitch, size_t width,
                        size_t height, cudaStream_t stream)
{
    cpu::Array* a = liveArray(dst);
    if (!a)
        return cudaErrorInvalidValue;
    if (stream && !state().streams.count(stream))
        return cudaErrorInvalidResourceHandle;
    const size_t rows = a->height ? a->height : 1;
    if (width > a->rowBytes || height > rows ||
        !cpu::insideBlocks(src, (height - 1) * spitch + width))
        return cudaErrorInvalidValue;
    for (size_t r = 0; r < height; ++r)
        std::memcpy(&(*a->image)[r * a->rowBytes], static_cast<const char*>(src) + r * spitch,
                    width);
    return cudaSuccess;
}

// The object of a handle, live or not, or null for a handle never given.
cpu::TextureObject* textureOf(cudaTextureObject_t object)
{
    auto& all = state().textureObjects;
    return object >= cpu::kFirstTextureObject && object - cpu::kFirstTextureObject < all.size()
               ? &all[object - cpu::kFirstTextureObject]
               : nullptr;
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
    CPU_CUDA_INTERCEPT();
    const cudaError_t e = mallocArray(array, desc, width, height);
    cpu::note("cuda", "cudaMallocArray device=%d width=%zu height=%zu flags=%u -> %d",
              cpu::currentDevice(), width, height, flags, int(e));
    return cudaResult(e);
}

// Stricter than the real runtime: an array is freed on its own device.
cudaError_t cudaFreeArray(cudaArray_t array)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    cudaError_t e = cudaSuccess;
    cpu::Array* a = liveArray(array);
    if (array && !a)
        e = cudaErrorInvalidValue;
    else if (a && a->device != cpu::currentDevice())
        e = cudaErrorInvalidResourceHandle;
    else if (a) {
        state().devices[a->device].bytesInUse -= a->image->size();
        state().arrays.erase(a);
        delete a;
    }
    cpu::note("cuda", "cudaFreeArray device=%d array=%s -> %d", cpu::currentDevice(),
              array ? "array" : "null", int(e));
    return cudaResult(e);
}

cudaError_t cudaMemcpy2DToArrayAsync(cudaArray_t dst, size_t /*wOffset*/, size_t /*hOffset*/,
                                     const void* src, size_t spitch, size_t width, size_t height,
                                     cudaMemcpyKind /*kind*/, cudaStream_t stream)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    const cudaError_t e = copyToArray(dst, src, spitch, width, height, stream);
    cpu::note("cuda", "cudaMemcpy2DToArrayAsync width=%zu height=%zu -> %d", width, height, int(e));
    return cudaResult(e);
}

// Only array resources are supported; the array must belong to the current device.
cudaError_t cudaCreateTextureObject(cudaTextureObject_t* pTexObject,
                                    const cudaResourceDesc* pResDesc,
                                    const cudaTextureDesc* pTexDesc,
                                    const cudaResourceViewDesc* /*pResViewDesc*/)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    cudaError_t e = cudaSuccess;
    cpu::Array* a = nullptr;
    if (!pTexObject || !pResDesc || !pTexDesc || pResDesc->resType != cudaResourceTypeArray)
        e = cudaErrorInvalidValue;
    else if (!(a = liveArray(pResDesc->res.array.array)) || a->device != cpu::currentDevice())
        e = cudaErrorInvalidResourceHandle;
    if (e == cudaSuccess) {
        state().textureObjects.push_back({true, a->device, *pResDesc, *pTexDesc, a->desc, a->width,
                                          a->height, a->rowBytes, a->image});
        ++state().liveTextureObjects;
        *pTexObject = cpu::kFirstTextureObject + state().textureObjects.size() - 1;
    }
    cpu::note("cuda", "cudaCreateTextureObject device=%d -> %d", cpu::currentDevice(), int(e));
    return cudaResult(e);
}

// Stricter than the real runtime: a texture object is destroyed on its own device.
cudaError_t cudaDestroyTextureObject(cudaTextureObject_t texObject)
{
    std::lock_guard<std::mutex> guard(lock());
    CPU_CUDA_INTERCEPT();
    cudaError_t e = cudaSuccess;
    cpu::TextureObject* t = textureOf(texObject);
    if (!t || !t->live)
        e = cudaErrorInvalidValue;
    else if (t->device != cpu::currentDevice())
        e = cudaErrorInvalidResourceHandle;
    else {
        t->live = false;
        t->image.reset();
        --state().liveTextureObjects;
    }
    cpu::note("cuda", "cudaDestroyTextureObject -> %d", int(e));
    return cudaResult(e);
}

} // extern "C"

namespace {

// Texel (i, j) after the addressing mode; false outside the image in border mode.
bool address(cudaTextureAddressMode mode, long long i, long long size, long long& out)
{
    switch (mode) {
    case cudaAddressModeWrap:
        out = (i % size + size) % size;
        return true;
    case cudaAddressModeMirror: {
        const long long m = (i % (2 * size) + 2 * size) % (2 * size);
        out = m < size ? m : 2 * size - 1 - m;
        return true;
    }
    case cudaAddressModeBorder:
        out = i;
        return i >= 0 && i < size;
    default: // clamp
        out = i < 0 ? 0 : (i >= size ? size - 1 : i);
        return true;
    }
}

// One texel as four floats: 8- and 16-bit channels normalised, 32-bit ones
// floats as stored; missing channels read 0, a missing alpha 1.
float4 texel(const cpu::TextureObject& t, long long x, long long y)
{
    long long i = 0, j = 0;
    const long long height = t.height ? static_cast<long long>(t.height) : 1;
    if (!address(t.texture.addressMode[0], x, static_cast<long long>(t.width), i) ||
        !address(t.texture.addressMode[1], y, height, j))
        return make_float4(t.texture.borderColor[0], t.texture.borderColor[1],
                           t.texture.borderColor[2], t.texture.borderColor[3]);
    const int bits[4] = {t.format.x, t.format.y, t.format.z, t.format.w};
    float v[4] = {0.0f, 0.0f, 0.0f, 1.0f};
    const unsigned char* p = t.image->data() + size_t(j) * t.rowBytes +
                             size_t(i) * size_t((bits[0] + bits[1] + bits[2] + bits[3]) / 8);
    for (int c = 0; c < 4 && bits[c]; p += bits[c] / 8, ++c) {
        unsigned raw = 0;
        std::memcpy(&raw, p, size_t(bits[c] / 8));
        if (bits[c] == 32)
            std::memcpy(&v[c], &raw, 4);
        else
            v[c] = float(raw) / float((1u << bits[c]) - 1);
    }
    return make_float4(v[0], v[1], v[2], v[3]);
}

} // namespace

// The texture unit on the host, for the library's kernels and our programs,
// for the textures the library makes: normalised coordinates, linear
// filtering (weights to 1/256, as the hardware keeps them), the addressing of
// each axis. It takes no lock: no object is made or destroyed while programs
// and kernels run. An object that is not live reads 0.
float4 t7_hostTex2D(cudaTextureObject_t object, float u, float v)
{
    const cpu::TextureObject* t = textureOf(object);
    if (!t || !t->live || !t->width)
        return make_float4(0.0f, 0.0f, 0.0f, 0.0f);
    const float height = float(t->height ? t->height : 1);
    // Far outside the image every addressing mode has settled; NaN reads as 0.
    auto bounded = [](float c) { return c == c ? std::fmax(-1e9f, std::fmin(1e9f, c)) : 0.0f; };
    const float xb = bounded(u * float(t->width) - 0.5f), yb = bounded(v * height - 0.5f);
    const long long i = (long long)std::floor(xb), j = (long long)std::floor(yb);
    const float alpha = std::round((xb - float(i)) * 256.0f) / 256.0f;
    const float beta = std::round((yb - float(j)) * 256.0f) / 256.0f;
    const float4 t00 = texel(*t, i, j), t10 = texel(*t, i + 1, j);
    const float4 t01 = texel(*t, i, j + 1), t11 = texel(*t, i + 1, j + 1);
    auto mix = [&](float p00, float p10, float p01, float p11) {
        return (1 - alpha) * (1 - beta) * p00 + alpha * (1 - beta) * p10 +
               (1 - alpha) * beta * p01 + alpha * beta * p11;
    };
    return make_float4(mix(t00.x, t10.x, t01.x, t11.x), mix(t00.y, t10.y, t01.y, t11.y),
                       mix(t00.z, t10.z, t01.z, t11.z), mix(t00.w, t10.w, t01.w, t11.w));
}
