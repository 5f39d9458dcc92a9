#pragma once
// One renderer instance. Declared once here; its methods are defined in the
// folder of the subsystem they belong to.

#include "PathTracerState.h"

#include "api/trevix7.h"

#include <cuda_runtime.h>

#include <map>
#include <string>
#include <vector>

class PathTracer {
public:
    template <typename T> using VariableMap = std::map<std::string, T>;

    // Chooses the devices (all capable ones when `devices` is empty), creates
    // one OptiX context, stream and launch-parameter block on each, and sets up
    // the output. Throws sutil::Exception when no device can be used.
    PathTracer(unsigned width, unsigned height, readbackMode mode,
               const VariableMap<int>& intVariables, const VariableMap<unsigned>& uintVariables,
               const VariableMap<uint2>& uint2Variables, const VariableMap<float>& floatVariables,
               const VariableMap<float2>& float2Variables,
               const VariableMap<float3>& float3Variables, const std::vector<unsigned>& devices,
               int logLevel);
    ~PathTracer();
    PathTracer(const PathTracer&) = delete;
    PathTracer& operator=(const PathTracer&) = delete;

    // --- Start-up (process-wide) ---
    // Starts CUDA and loads OptiX on the first call; returns the device count,
    // or -1 when start-up failed. Never retried.
    static int initOptix();
    // major * 100 + minor * 10 of a device, 0 when it does not exist.
    static int getGpuComputeCap(unsigned device);

    // --- Per-device state ---
    static void makeCurrent(const PathTracerState& state);
    void initLaunchParams(PathTracerState& state);
    // CUDA ordinal of the state at `index`, -1 past the last state.
    int cudaOrdinal(unsigned index) const;
    // Ordinal of the device that holds the output images.
    int outputCudaOrdinal() const { return m_primaryDevice; }

private:
    void selectDevices(const std::vector<unsigned>& requested, std::vector<int>& chosen) const;
    void startDevice(PathTracerState& state, int ordinal, int logLevel);

    // Process-wide start-up state, never reset.
    static bool _optixInitialized;
    static int _deviceCount;
    static std::vector<cudaDeviceProp> _deviceProp;

    // One state per chosen device, the primary device first. The list is built
    // once and never changes size, so states are never moved.
    std::vector<PathTracerState> m_states;
    int m_primaryDevice = -1;
    unsigned m_width = 0;
    unsigned m_height = 0;
    unsigned m_scaleFactor = 1;
    unsigned m_accumFrames = 0;
    bool m_launchRunning = false;
    bool m_breakRequested = false;
};
