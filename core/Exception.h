#pragma once
// The exception type every failed CUDA or OptiX call turns into.

#include "optix7.h"

#include <stdexcept>
#include <string>

namespace sutil {

class Exception : public std::runtime_error {
public:
    explicit Exception(const char* msg) : std::runtime_error(msg) {}
    Exception(OptixResult res, const char* msg) : std::runtime_error(createMessage(res, msg)) {}

    // "<result name>: <msg>". The name comes from the loaded OptiX library, or
    // from a small fixed table while OptiX is not loaded yet.
    static std::string createMessage(OptixResult res, const char* msg);
};

} // namespace sutil

// OptiX's diagnostic output, installed in every device context.
void context_log_cb(unsigned int level, const char* tag, const char* message, void* cbdata);
