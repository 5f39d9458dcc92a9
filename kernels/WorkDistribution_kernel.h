#pragma once
// The frame launch's kernels: filling each device's sample list, and the two
// gathers of a batch into the image (the first after a clear, and the blend).

#include "kernel_list.h"
#include "work_distribution_element.h"

#define T7_WORK_DISTRIBUTION_KERNELS(K)                                                     \
    K(fillSamplesCUDA, fillSamples,                                                         \
      (int deviceIndex, int deviceCount, unsigned width, unsigned height, int2* out),       \
      (deviceIndex, deviceCount, width, height, out))                                      \
    K(gatherResults0, gatherResults0Element, (GatherArgs a, float scale), (a, scale))       \
    K(gatherResultsN, gatherResultsNElement, (GatherArgs a, float scale, float weight),     \
      (a, scale, weight))

T7_WORK_DISTRIBUTION_KERNELS(T7_DECLARE_LAUNCHER)
