// The frame launch's kernels, expanded from their list.

#include "WorkDistribution_kernel.h"

T7_WORK_DISTRIBUTION_KERNELS(T7_DEFINE_KERNEL)
