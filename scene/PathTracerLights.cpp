// The light set: the host's records, mirrored byte for byte into every
// device's launch parameters before the next launch.

#include "core/PathTracer.h"

#include "core/CUDABuffer.h"

T7_CHECK_LABEL(PathTracer::kLabel);

void PathTracer::setupLights(LightData* lights, unsigned long count)
{
    _lights.assign(lights, lights + count);
    m_accumFrames = 0;
    m_lights_dirty = true;
}

void PathTracer::updateLights(PathTracerState& state)
{
    makeCurrent(state);
    Params& params = state.params;
    if (params.num_lights != _lights.size()) {
        if (params.lights) {
            CUDA_CHECK(cudaFree(reinterpret_cast<void*>(state.params.lights)));
            params.lights = nullptr;
            params.num_lights = 0;
        }
        if (!_lights.empty()) {
            try {
                // clang-format off
                CUDA_CHECK(cudaMalloc(reinterpret_cast<void**>(&state.params.lights), sizeof(LightData)* _lights.size()));
                // clang-format on
            } catch (...) {
                params.lights = nullptr; // no lights until the next launch retries
                throw;
            }
        }
        params.num_lights = unsigned(_lights.size());
    }
    if (params.num_lights != 0) {
        // clang-format off
        CUDA_CHECK(cudaMemcpyAsync( reinterpret_cast<void*>(state.params.lights), _lights.data(), sizeof(LightData) * _lights.size(), cudaMemcpyHostToDevice, state.stream ));
        // clang-format on
    }
}
