// Renderer start-up: process-wide CUDA/OptiX start-up, device selection and
// the per-device state.

#include "PathTracer.h"

#include "CUDABuffer.h"
#include "OptixLoader.h"

#include <iostream>

T7_CHECK_LABEL(PathTracer::kLabel);

bool PathTracer::_optixInitialized = false;
int PathTracer::_deviceCount = -1;
std::vector<cudaDeviceProp> PathTracer::_deviceProp;

namespace {
constexpr int kMinComputeCap = 500;
}

int PathTracer::initOptix()
{
    if (_optixInitialized)
        return _deviceCount;
    _optixInitialized = true; // a failed start-up is final

    cudaError_t error = cudaGetDeviceCount(&_deviceCount);
    if (error != cudaSuccess) {
        std::cout << "CUDA initialization failed:" << std::endl
                  << cudaGetErrorString(error) << std::endl;
        _deviceCount = -1;
        return -1;
    }
    if (_deviceCount == 0)
        return 0;

    if (!loadOptixFunctionTable()) {
        _deviceCount = -1;
        return -1;
    }

    for (int i = 0; i < _deviceCount; ++i) {
        cudaDeviceProp prop = {};
        error = cudaGetDeviceProperties(&prop, i);
        if (error == cudaSuccess)
            std::cout << "\t[" << i << "]: " << prop.name << std::endl;
        else
            std::cout << "\t[" << i << "] device query failed: " << cudaGetErrorString(error)
                      << std::endl;
        // Index i always describes device i; a failed query leaves zeros,
        // which reads as compute capability 0.
        _deviceProp.push_back(prop);
    }
    return _deviceCount;
}

int PathTracer::getGpuComputeCap(unsigned device)
{
    int count = initOptix();
    if (count <= 0 || device >= unsigned(count))
        return 0;
    return _deviceProp[device].major * 100 + _deviceProp[device].minor * 10;
}

PathTracer::PathTracer(unsigned width, unsigned height, readbackMode mode,
                       const VariableMap<int>& intVariables,
                       const VariableMap<unsigned>& uintVariables,
                       const VariableMap<uint2>& uint2Variables,
                       const VariableMap<float>& floatVariables,
                       const VariableMap<float2>& float2Variables,
                       const VariableMap<float3>& float3Variables,
                       const std::vector<unsigned>& devices, int logLevel)
    : m_width(width), m_height(height)
{
    if (initOptix() < 1)
        throw sutil::Exception(OPTIX_ERROR_CUDA_NOT_INITIALIZED,
                               "Compatible device(s) not found / OptiX not initialized.");

    std::vector<int> chosen;
    selectDevices(devices, chosen);
    if (chosen.empty())
        throw sutil::Exception(OPTIX_ERROR_CUDA_NOT_INITIALIZED,
                               "Compatible device(s) not found / not selected.");

    std::cout << "\tSelected devices: [";
    // Built in place and never resized again: states own device objects.
    std::vector<PathTracerState>(chosen.size()).swap(m_states);
    for (size_t k = 0; k < chosen.size(); ++k) {
        startDevice(m_states[k], chosen[k], logLevel);
        std::cout << (k ? ", " : "") << chosen[k];
    }
    m_primaryDevice = m_states.front().device_idx;
    std::cout << "]" << std::endl << "\tPrimary device: " << m_primaryDevice << std::endl;

    // Every output image lives on the primary device.
    cudaStream_t primaryStream = m_states.front().stream;
    for (CUDAOutputBuffer<float4>* image :
         {&m_image, &m_upscaledImage, &m_hitPosImage, &m_albedoImage, &m_normalImage})
        image->setDevice(m_primaryDevice, primaryStream);
    m_idImage.setDevice(m_primaryDevice, primaryStream);
    if (!setReadback(mode))
        throw sutil::Exception("Readback mode not supported.");
    resize(width, height);
    setVariables(intVariables, uintVariables, uint2Variables, floatVariables, float2Variables,
                 float3Variables);

    // Geometry without a material of its own falls back to this one.
    const std::string dummyHit = "dummy7_chit.cu::__closesthit__dummy";
    m_defaultMaterial = setupMaterial(dummyHit, dummyHit, {}, {}, {}, {}, {}, 0);
    // An empty scene still needs something to build its acceleration structure from.
    forEachState([&](PathTracerState& state) {
        state.dummyGeometry = std::make_unique<GeometryPrimitives>(
            state.device_idx, state.stream, 0, geoDummy, m_defaultMaterial,
            "dummy7_isec.cu::__intersection__dummy");
    });
}

PathTracer::~PathTracer() = default;

void PathTracer::selectDevices(const std::vector<unsigned>& requested,
                               std::vector<int>& chosen) const
{
    auto usable = [](unsigned ordinal) {
        return ordinal < unsigned(_deviceCount) && getGpuComputeCap(ordinal) >= kMinComputeCap;
    };
    if (requested.empty()) {
        for (int i = 0; i < _deviceCount; ++i)
            if (usable(unsigned(i)))
                chosen.push_back(i);
        return;
    }
    // Requested order is kept; unusable ordinals are skipped, repeats kept.
    for (unsigned ordinal : requested)
        if (usable(ordinal))
            chosen.push_back(int(ordinal));
}

void PathTracer::startDevice(PathTracerState& state, int ordinal, int logLevel)
{
    state.params = {};
    cudaError_t error = cudaSetDevice(ordinal);
    if (error != cudaSuccess) {
        if (error == cudaErrorInvalidDevice)
            std::cout << std::endl << "CUDA device " << ordinal << " is not valid." << std::endl;
        if (error == cudaErrorSetOnActiveProcess)
            std::cout << std::endl
                      << "CUDA is already exclusively running on device " << ordinal << std::endl;
        throw sutil::Exception(cudaGetErrorString(error));
    }
    // From here on the state owns what it makes, released on this device.
    state.device_idx = ordinal;

    // Forces creation of the device's CUDA context.
    error = cudaFree(nullptr);
    if (error != cudaSuccess) {
        std::cout << std::endl << "CUDA test operation failed on device " << ordinal << std::endl;
        throw sutil::Exception(cudaGetErrorString(error));
    }

    CUcontext cuCtx = nullptr; // the current context
    OptixDeviceContextOptions options = {};
    options.logCallbackFunction = &context_log_cb;
    options.logCallbackData = nullptr;
    options.logCallbackLevel = logLevel;
    OptixDeviceContext& context = state.context;
    OPTIX_CHECK(optixDeviceContextCreate(cuCtx, &options, &context));
    OPTIX_CHECK(optixDeviceContextSetCacheEnabled(context, 1));
    state.modules.setContext(context);

    error = cudaStreamCreate(&state.stream);
    if (error != cudaSuccess) {
        std::cout << std::endl
                  << "CUDA stream construction failed on device " << ordinal << std::endl;
        throw sutil::Exception(cudaGetErrorString(error));
    }

    error = cudaMalloc(reinterpret_cast<void**>(&state.d_params), sizeof(Params));
    if (error != cudaSuccess) {
        std::cout << std::endl
                  << "CUDA memory allocation failed on device " << ordinal << std::endl;
        throw sutil::Exception(cudaGetErrorString(error));
    }
}

void PathTracer::makeCurrent(const PathTracerState& state)
{
    CUDA_CHECK(cudaSetDevice(state.device_idx));
}

void PathTracer::initLaunchParams(PathTracerState& state)
{
    state.params.subframe_index = m_accumFrames;
    state.params.width = m_width / m_scaleFactor;
    state.params.height = m_height / m_scaleFactor;
    state.params.device_idx = state.device_idx;
    state.params.handle = state.ias_handle;
}

int PathTracer::cudaOrdinal(unsigned index) const
{
    return index < m_states.size() ? m_states[index].device_idx : -1;
}
