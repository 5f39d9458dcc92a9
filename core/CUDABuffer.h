#pragma once
// Checked calls: every CUDA and OptiX call goes through one of these forms, so a
// failure becomes a sutil::Exception that quotes the call as written, the
// library's error text and the unit and line of the call. The macros keep the
// call text, the line and the label; the messages are built out of line.
//
// A file names the unit its messages belong to once, at its top:
//     T7_CHECK_LABEL("PathTracer.cpp");

#include "Exception.h"
#include "optix7_stubs.h"

#include <cuda_runtime.h>

#include <cstddef>

#define T7_CHECK_LABEL(label)                                                               \
    namespace {                                                                             \
    [[maybe_unused]] constexpr const char* kCheckLabel = label;                             \
    }

[[noreturn]] void throwCudaCallFailed(const char* call, cudaError_t error, const char* label,
                                      int line);
[[noreturn]] void throwCudaSyncFailed(cudaError_t error, const char* label, int line);
// `log` is the caller's buffer of `capacity` bytes (null for calls without a
// log); `needed` is the size OptiX reported for it.
[[noreturn]] void throwOptixCallFailed(const char* call, OptixResult result, const char* label,
                                       int line, const char* log = nullptr, size_t capacity = 0,
                                       size_t needed = 0);

#define CUDA_CHECK(call)                                                                    \
    do {                                                                                    \
        const cudaError_t error_ = call;                                                    \
        if (error_ != cudaSuccess)                                                          \
            throwCudaCallFailed(#call, error_, kCheckLabel, __LINE__);                      \
    } while (0)

#define CUDA_SYNC_CHECK()                                                                   \
    do {                                                                                    \
        cudaDeviceSynchronize();                                                            \
        const cudaError_t error_ = cudaGetLastError();                                      \
        if (error_ != cudaSuccess)                                                          \
            throwCudaSyncFailed(error_, kCheckLabel, __LINE__);                             \
    } while (0)

#define OPTIX_CHECK(call)                                                                   \
    do {                                                                                    \
        const OptixResult res_ = call;                                                      \
        if (res_ != OPTIX_SUCCESS)                                                          \
            throwOptixCallFailed(#call, res_, kCheckLabel, __LINE__);                       \
    } while (0)

// Size of the log buffer handed to OptiX calls that report a log.
constexpr size_t kOptixLogSize = 8192;

// For calls written with `log` and `&sizeof_log`: the caller declares
// `char log[kOptixLogSize]; size_t sizeof_log;`. The check empties the log and
// resets the size before the call; OptiX writes the size it needed back.
#define OPTIX_CHECK_LOG(call)                                                               \
    do {                                                                                    \
        log[0] = '\0';                                                                      \
        sizeof_log = sizeof(log);                                                           \
        const OptixResult res_ = call;                                                      \
        if (res_ != OPTIX_SUCCESS)                                                          \
            throwOptixCallFailed(#call, res_, kCheckLabel, __LINE__, log, sizeof(log),      \
                                 sizeof_log);                                               \
    } while (0)
