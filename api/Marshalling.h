#pragma once
// Turns the plain arrays of the exported interface into the containers the
// renderer's methods take, refusing null pointers where data is expected.

#include "trevix7.h"

#include <vector_types.h>

#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

// A null pointer where the interface expects data: "<argument> must not be null."
class NullArgument : public std::invalid_argument {
public:
    explicit NullArgument(const std::string& argument)
        : std::invalid_argument(argument + " must not be null.")
    {
    }
};

// `p`, unless it is null while `count` elements are expected.
template <typename T> T* required(T* p, const char* argument, size_t count = 1)
{
    if (count && !p)
        throw NullArgument(argument);
    return p;
}

// A zero-terminated string argument.
inline std::string requiredString(const char* s, const char* argument)
{
    return required(s, argument);
}

// The public vector records and the CUDA vector types of the same layout.
template <typename T> struct NativeOf {
    using type = T; // int, unsigned, float
};
template <> struct NativeOf<trevix7_uint2> { using type = uint2; };
template <> struct NativeOf<trevix7_uint3> { using type = uint3; };
template <> struct NativeOf<trevix7_float2> { using type = float2; };
template <> struct NativeOf<trevix7_float3> { using type = float3; };
template <> struct NativeOf<trevix7_float4> { using type = float4; };
template <typename T> using Native = typename NativeOf<T>::type;

template <typename T> constexpr bool sameLayout()
{
    return sizeof(Native<T>) == sizeof(T) && alignof(Native<T>) == alignof(T);
}

// One value, copied bit for bit.
template <typename T> Native<T> toNative(const T& value)
{
    static_assert(sameLayout<T>(), "public record and CUDA vector type differ");
    Native<T> native;
    std::memcpy(&native, &value, sizeof native);
    return native;
}

// An array, read in place.
template <typename T> const Native<T>* nativeArray(const T* values)
{
    static_assert(sameLayout<T>(), "public record and CUDA vector type differ");
    return reinterpret_cast<const Native<T>*>(values);
}

// A name/value list: a name given twice keeps its first value.
template <typename T>
std::map<std::string, Native<T>> toVariableMap(const char* const* names, const T* values,
                                               size_t count, const char* namesArgument,
                                               const char* valuesArgument)
{
    required(names, namesArgument, count);
    required(values, valuesArgument, count);
    std::map<std::string, Native<T>> map;
    for (size_t i = 0; i < count; ++i)
        map.emplace(required(names[i], (std::string(namesArgument) + "[" + std::to_string(i) +
                                        "]").c_str()),
                    toNative(values[i]));
    return map;
}

// A list of unsigned integers, order and repeats kept.
inline std::vector<unsigned> toVector(const unsigned* items, unsigned count, const char* argument)
{
    required(items, argument, count);
    return count ? std::vector<unsigned>(items, items + count) : std::vector<unsigned>();
}

// Two parallel arrays as a map; a key given twice keeps its last value.
template <typename V, typename K, typename T>
std::map<K, V> toKeyedMap(const unsigned* keys, const T* values, unsigned count,
                          const char* keysArgument, const char* valuesArgument)
{
    required(keys, keysArgument, count);
    required(values, valuesArgument, count);
    std::map<K, V> map;
    for (unsigned i = 0; i < count; ++i)
        map[K(keys[i])] = V(values[i]);
    return map;
}
