// The preprocessing kernels, expanded from their list. Built with flush-to-zero.

#include "preprocessing_kernels.h"

T7_PREPROCESSING_KERNELS(T7_DEFINE_KERNEL)
