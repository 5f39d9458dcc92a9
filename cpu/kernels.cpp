// The library's kernels on the CPU device: loops over the same per-element
// functions, expanded from the kernels' lists and spread over the workers.
// Each launch is noted as "kernel <launcher> n=<count>".

#include "CpuDevice.h"
#include "ThreadPool.h"
#include "kernels/WorkDistribution_kernel.h"
#include "kernels/postprocessing_kernels.h"
#include "kernels/preprocessing_kernels.h"
#include "kernels/readback_kernels.h"

#define CPU_HOST_LOOP(name, element, params, args)                                          \
    void name(unsigned n, cudaStream_t, T7_UNPAREN params)                                  \
    {                                                                                       \
        if (n == 0)                                                                         \
            return;                                                                         \
        if (cpu::noting()) {                                                                \
            std::lock_guard<std::mutex> guard(cpu::lock());                                 \
            cpu::note("kernel", #name " n=%u", n);                                          \
        }                                                                                   \
        cpu::ThreadPool::run(n, 16384, [&](size_t begin, size_t end) {                      \
            for (size_t i = begin; i < end; ++i)                                            \
                element(unsigned(i), T7_UNPAREN args);                                      \
        });                                                                                 \
    }

T7_PREPROCESSING_KERNELS(CPU_HOST_LOOP)
T7_WORK_DISTRIBUTION_KERNELS(CPU_HOST_LOOP)
T7_READBACK_KERNELS(CPU_HOST_LOOP)
T7_POSTPROCESSING_KERNELS(CPU_HOST_LOOP)
