#pragma once
// The exception type every failed CUDA or OptiX call turns into, and the one
// way destructors deal with it.

#include "optix7.h"

#include <iostream>
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

// Prints "<owner> destructor caught exception: <text>" on `out`.
void reportDestructorFailure(const char* owner, const char* text, std::ostream& out) noexcept;

// Runs the releasing part of a destructor: nothing escapes, a failure is
// reported with the owner's class name (on standard output unless `out` says
// otherwise).
template <typename Release>
void destructorGuard(const char* owner, Release&& release, std::ostream& out = std::cout) noexcept
{
    try {
        release();
    } catch (const std::exception& e) {
        reportDestructorFailure(owner, e.what(), out);
    } catch (...) {
        reportDestructorFailure(owner, "unknown exception", out);
    }
}
