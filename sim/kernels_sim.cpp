// The library's kernels on the simulated device: host loops over the same
// per-element functions, expanded from the kernels' lists. Each launch is
// journalled as "kernel <launcher> n=<count>".

#include "SimDevice.h"
#include "kernels/WorkDistribution_kernel.h"
#include "kernels/postprocessing_kernels.h"
#include "kernels/preprocessing_kernels.h"
#include "kernels/readback_kernels.h"

#define SIM_HOST_LOOP(name, element, params, args)                                          \
    void name(unsigned n, cudaStream_t, T7_UNPAREN params)                                  \
    {                                                                                       \
        if (n == 0)                                                                         \
            return;                                                                         \
        {                                                                                   \
            std::lock_guard<std::mutex> guard(sim::lock());                                 \
            sim::trace("kernel", #name " n=%u", n);                                         \
        }                                                                                   \
        for (unsigned i = 0; i < n; ++i)                                                    \
            element(i, T7_UNPAREN args);                                                    \
    }

T7_PREPROCESSING_KERNELS(SIM_HOST_LOOP)
T7_WORK_DISTRIBUTION_KERNELS(SIM_HOST_LOOP)
T7_READBACK_KERNELS(SIM_HOST_LOOP)
T7_POSTPROCESSING_KERNELS(SIM_HOST_LOOP)
