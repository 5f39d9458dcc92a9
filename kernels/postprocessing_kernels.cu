// The post-processing kernels, expanded from their list.

#include "postprocessing_kernels.h"

T7_POSTPROCESSING_KERNELS(T7_DEFINE_KERNEL)
