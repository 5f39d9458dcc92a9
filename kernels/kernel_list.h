#pragma once
// Every library kernel is one entry of a list in its header:
//
//     K(launcher, element, (parameters after the index), (the same names))
//
// From that one entry come the launcher's declaration, the __global__ kernel
// `_launcher` with its launcher (nvcc, T7_DEFINE_KERNEL) and the CPU
// device's host loop (cpu/kernels.cpp). Each thread, or loop step, runs
// element(i, arguments...) for one i below n. Launchers are asynchronous on
// the given stream, leave the launch result to the stream's next checked call,
// and launch nothing for n == 0.

#include <driver_types.h>

#define T7_UNPAREN(...) __VA_ARGS__

// Threads per block: the smallest power of two not below n, at most 256. The
// count is taken as a 64-bit value less one, so n = 0 wraps round to 256 (the
// launchers never launch for n = 0).
inline unsigned get_readback_block_size(long long n)
{
    unsigned block = 1;
    for (unsigned long long m = static_cast<unsigned long long>(n) - 1; m != 0 && block <= 255;
         m >>= 1)
        block <<= 1;
    return block;
}

// Blocks needed to cover n elements; written so that n near 2^32 cannot wrap.
inline unsigned get_grid_size(unsigned n, unsigned block)
{
    return n / block + (n % block != 0 ? 1u : 0u);
}

#define T7_DECLARE_LAUNCHER(name, element, params, args)                                    \
    void name(unsigned n, cudaStream_t stream, T7_UNPAREN params);

#if defined(__CUDACC__)
#define T7_DEFINE_KERNEL(name, element, params, args)                                       \
    __global__ void _##name(unsigned n, T7_UNPAREN params)                                  \
    {                                                                                       \
        const unsigned i = blockIdx.x * blockDim.x + threadIdx.x;                           \
        if (i < n)                                                                          \
            element(i, T7_UNPAREN args);                                                    \
    }                                                                                       \
    void name(unsigned n, cudaStream_t stream, T7_UNPAREN params)                           \
    {                                                                                       \
        if (n == 0)                                                                         \
            return;                                                                         \
        const unsigned block = get_readback_block_size(n);                                     \
        _##name<<<get_grid_size(n, block), block, 0, stream>>>(n, T7_UNPAREN args);         \
    }
#endif
