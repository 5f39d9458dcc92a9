#pragma once
// The calling convention of the entry points, in one family of helpers: look
// the handle up (an unknown handle gives the Unknown value before any argument
// is read), clear the error buffer, call, and turn a standard exception into
// the entry point's failure value with its text printed and copied into the
// error buffer: nothing throws across the boundary. Entry points that catch
// by their definition give their Exc value; the others their Unknown value
// (or nothing). Arguments are marshalled inside the call, so a null argument
// ("<argument> must not be null.") is reported like any other failure.

#include "Marshalling.h"

#include <cstring>
#include <exception>
#include <iostream>
#include <utility>

class PathTracer;

// The instance of a handle, or null when the handle is not registered.
PathTracer* findPathTracer(unsigned int handle);

inline void clearError(char* error)
{
    if (error)
        error[0] = '\0';
}

inline void setError(char* error, const char* message)
{
    if (error)
        std::strcpy(error, message);
}

// Calls without an instance that report through the error buffer only.
template <typename R, typename Call> R reporting(char* error, R onException, Call&& call)
{
    clearError(error);
    try {
        return call();
    } catch (const std::exception& e) {
        setError(error, e.what());
        return onException;
    }
}

// The convention shared by the entry points with a handle: a standard
// exception gives `onException`, printed and with its text in the error buffer.
template <typename R, typename Call>
R catching(unsigned handle, char* error, R unknown, R onException, Call&& call)
{
    clearError(error);
    PathTracer* pt = findPathTracer(handle);
    if (!pt)
        return unknown;
    try {
        return call(*pt);
    } catch (const std::exception& e) {
        std::cout << e.what() << std::endl;
        setError(error, e.what());
        return onException;
    }
}

// Entry points without a handler of their own: a failure gives the Unknown value.
template <typename R, typename Call>
R nonCatching(unsigned handle, char* error, R unknown, Call&& call)
{
    return catching(handle, error, unknown, unknown, std::forward<Call>(call));
}

template <typename R, typename Call> R nonCatching(unsigned handle, R unknown, Call&& call)
{
    return nonCatching(handle, nullptr, unknown, std::forward<Call>(call));
}

// Output getters: like nonCatching, and the outputs read null and 0 whenever
// the result is the Unknown value.
template <typename Size, typename Call>
bool outputGetter(unsigned handle, void** data, Size* size, char* error, Call&& call)
{
    if (data)
        *data = nullptr;
    if (size)
        *size = 0;
    return nonCatching(handle, error, false, [&](PathTracer& pt) {
        required(data, "data");
        required(size, "size");
        return call(pt, *data, *size);
    });
}
