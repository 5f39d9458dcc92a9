#pragma once
// Everything a renderer instance keeps once per chosen device. A state owns
// its device objects and releases them, on its own device, when destroyed.

#include "Params.h"
#include "optix7.h"
#include "programs/Modules.h"

#include <cuda_runtime.h>

struct PathTracerState {
    PathTracerState() = default;
    ~PathTracerState();
    PathTracerState(const PathTracerState&) = delete;
    PathTracerState& operator=(const PathTracerState&) = delete;

    int device_idx = -1; // CUDA ordinal
    OptixDeviceContext context = nullptr;
    Modules modules;

    // Samples this device renders per pass, and where they go (see sample buffers).
    int num_samples = 0;
    CUdeviceptr d_sample_indices = 0;
    CUdeviceptr d_sample_accum = 0;
    CUdeviceptr d_albedo_accum = 0;
    CUdeviceptr d_normal_accum = 0;
    CUdeviceptr d_sample_l2 = 0;
    // Set only when the matching buffer lives in mapped host memory.
    void* h_sample_indices = nullptr;
    void* h_sample_accum = nullptr;
    void* h_albedo_accum = nullptr;
    void* h_normal_accum = nullptr;
    void* h_sample_l2 = nullptr;

    Params params = {};
    CUdeviceptr d_params = 0;
    cudaStream_t stream = nullptr;
};
