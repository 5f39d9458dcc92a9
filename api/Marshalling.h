#pragma once
// Turns the plain arrays of the exported interface into the containers the
// renderer's methods take.

#include "trevix7.h"

#include <vector_functions.h>

#include <cstring>
#include <exception>
#include <iostream>
#include <map>
#include <string>
#include <vector>

// The public vector records have the layouts of the CUDA vector types.
inline int toNative(int v) { return v; }
inline unsigned toNative(unsigned v) { return v; }
inline float toNative(float v) { return v; }
inline uint2 toNative(const trevix7_uint2& v) { return make_uint2(v.x, v.y); }
inline float2 toNative(const trevix7_float2& v) { return make_float2(v.x, v.y); }
inline float3 toNative(const trevix7_float3& v) { return make_float3(v.x, v.y, v.z); }
inline float4 toNative(const trevix7_float4& v) { return make_float4(v.x, v.y, v.z, v.w); }

// A name/value list: a name given twice keeps its first value.
template <typename T>
auto toVariableMap(const char* const* names, const T* values, size_t count)
{
    std::map<std::string, decltype(toNative(*values))> map;
    for (size_t i = 0; i < count; ++i)
        map.emplace(names[i], toNative(values[i]));
    return map;
}

// A list of unsigned integers, order and repeats kept.
inline std::vector<unsigned> toVector(const unsigned* items, unsigned count)
{
    return count ? std::vector<unsigned>(items, items + count) : std::vector<unsigned>();
}

// The error buffer convention: cleared on entry, filled with the whole message.
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

// Runs `call` for an entry point that catches: a standard exception's text is
// printed with a line end, copied into the error buffer, and the entry point
// returns `onException`. Other exceptions pass through.
template <typename R, typename Call> R catching(char* error, R onException, Call&& call)
{
    try {
        return call();
    } catch (const std::exception& e) {
        std::cout << e.what() << std::endl;
        setError(error, e.what());
        return onException;
    }
}

// Two parallel arrays as a map; a key given twice keeps its last value.
template <typename V, typename K, typename T>
std::map<K, V> toKeyedMap(const unsigned* keys, const T* values, unsigned count)
{
    std::map<K, V> map;
    for (unsigned i = 0; i < count; ++i)
        map[K(keys[i])] = V(values[i]);
    return map;
}
