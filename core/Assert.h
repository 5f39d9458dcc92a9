#pragma once
// Assertions for programming errors that must stop the process in every build
// (unlike assert(), which release builds compile out). The report has the
// standard assertion form, quoting the failed expression.

#include <cstdio>
#include <cstdlib>

[[noreturn]] inline void assertionFailed(const char* expr, const char* file, int line,
                                         const char* function)
{
    std::fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", file, line, function, expr);
    std::fflush(stderr);
    std::abort();
}

#define T7_ASSERT(expr) \
    ((expr) ? static_cast<void>(0) : assertionFailed(#expr, __FILE__, __LINE__, __PRETTY_FUNCTION__))
