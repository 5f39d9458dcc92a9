// The library's kernels on the simulated device: host loops over the same
// per-element functions, expanded from the kernels' lists.

#include "kernels/preprocessing_kernels.h"

T7_PREPROCESSING_KERNELS(T7_DEFINE_HOST_LOOP)
