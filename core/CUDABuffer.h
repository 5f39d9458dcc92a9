#pragma once
// Checked calls: every CUDA and OptiX call goes through one of these forms, so a
// failure becomes a sutil::Exception that quotes the call as written, the
// library's error text and the source file and line of the call.

#include "Exception.h"
#include "optix7_stubs.h"

#include <cuda_runtime.h>

#include <cstring>
#include <sstream>
#include <string>

// The file part of a source path ("core/PathTracer.cpp" -> "PathTracer.cpp").
constexpr const char* sourceFileLabel(const char* path)
{
    const char* base = path;
    for (const char* p = path; *p; ++p)
        if (*p == '/')
            base = p + 1;
    return base;
}

#define CUDA_CHECK(call)                                                                    \
    do {                                                                                    \
        cudaError_t error_ = call;                                                          \
        if (error_ != cudaSuccess) {                                                        \
            std::stringstream ss_;                                                          \
            ss_ << "CUDA call (" << #call << " ) failed with error: '"                      \
                << cudaGetErrorString(error_) << "' (" << sourceFileLabel(__FILE__) << ":"  \
                << __LINE__ << ")\n";                                                       \
            throw sutil::Exception(ss_.str().c_str());                                      \
        }                                                                                   \
    } while (0)

#define CUDA_SYNC_CHECK()                                                                   \
    do {                                                                                    \
        cudaDeviceSynchronize();                                                            \
        cudaError_t error_ = cudaGetLastError();                                            \
        if (error_ != cudaSuccess) {                                                        \
            std::stringstream ss_;                                                          \
            ss_ << "CUDA error on synchronize with error '" << cudaGetErrorString(error_)   \
                << "' (" << sourceFileLabel(__FILE__) << ":" << __LINE__ << ")\n";          \
            throw sutil::Exception(ss_.str().c_str());                                      \
        }                                                                                   \
    } while (0)

#define OPTIX_CHECK(call)                                                                   \
    do {                                                                                    \
        OptixResult res_ = call;                                                            \
        if (res_ != OPTIX_SUCCESS) {                                                        \
            std::stringstream ss_;                                                          \
            ss_ << "Optix call '" << #call << "' failed: " << sourceFileLabel(__FILE__)     \
                << ":" << __LINE__ << ")\n";                                                \
            throw sutil::Exception(res_, ss_.str().c_str());                                \
        }                                                                                   \
    } while (0)

// Size of the log buffer handed to OptiX calls that report a log.
constexpr size_t kOptixLogSize = 8192;

// For calls written with `log` and `&sizeof_log`: the caller declares
// `char log[kOptixLogSize]; size_t sizeof_log;` and the check resets the size
// before the call; OptiX writes the size it needed back into it.
#define OPTIX_CHECK_LOG(call)                                                               \
    do {                                                                                    \
        sizeof_log = sizeof(log);                                                           \
        OptixResult res_ = call;                                                            \
        if (res_ != OPTIX_SUCCESS) {                                                        \
            std::stringstream ss_;                                                          \
            ss_ << "Optix call '" << #call << "' failed: " << sourceFileLabel(__FILE__)     \
                << ":" << __LINE__ << ")\nLog:\n" << std::string(log, strnlen(log, sizeof(log)))  \
                << (sizeof_log > sizeof(log) ? "<TRUNCATED>" : "") << "\n";                 \
            throw sutil::Exception(res_, ss_.str().c_str());                                \
        }                                                                                   \
    } while (0)
