#include "PathTracerState.h"

#include "CUDABuffer.h"

#include <iostream>

PathTracerState::~PathTracerState()
{
    if (device_idx < 0)
        return;
    // Everything is released on this state's own device; a failure is
    // reported and the rest is still released.
    try {
        CUDA_CHECK(cudaSetDevice(device_idx));
    } catch (const std::exception& e) {
        std::cout << "PathTracerState destructor caught exception: " << e.what() << std::endl;
        return;
    }
    auto guarded = [](auto&& release) {
        try {
            release();
        } catch (const std::exception& e) {
            std::cout << "PathTracerState destructor caught exception: " << e.what()
                      << std::endl;
        }
    };
    // Scene objects first: they hold modules and device memory of this device.
    dummyGeometry.reset();
    primitives.clear();
    triangles.clear();
    curves.clear();
    guarded([&] { materials.clear(); });
    guarded([&] { textures.clear(); });
    guarded([&] { modules.destroy(); });
    guarded([&] {
        if (d_params)
            CUDA_CHECK(cudaFree(reinterpret_cast<void*>(d_params)));
    });
    guarded([&] {
        if (stream)
            CUDA_CHECK(cudaStreamDestroy(stream));
    });
    guarded([&] {
        if (context)
            OPTIX_CHECK(optixDeviceContextDestroy(context));
    });
}
