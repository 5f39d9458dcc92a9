// The library's kernels on the simulated device: host loops over the same
// per-element functions, expanded from the kernels' lists.

#include "kernels/WorkDistribution_kernel.h"
#include "kernels/preprocessing_kernels.h"
#include "kernels/readback_kernels.h"

T7_PREPROCESSING_KERNELS(T7_DEFINE_HOST_LOOP)
T7_WORK_DISTRIBUTION_KERNELS(T7_DEFINE_HOST_LOOP)
T7_READBACK_KERNELS(T7_DEFINE_HOST_LOOP)
