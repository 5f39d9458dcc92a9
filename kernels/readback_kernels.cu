// The readback kernels, expanded from their list.

#include "readback_kernels.h"

T7_READBACK_KERNELS(T7_DEFINE_KERNEL)
