#pragma once
// A JSON value of a scene file together with where it stands in the file,
// so that every complaint names its place ("materials.glass.base_color").
// Objects list the keys they allow; anything else is an error.

#include "trevix7.h"

#include <nlohmann/json.hpp>

#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

namespace scene {

// A scene file that cannot be used; what() is the whole message.
struct SceneError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The parsed file; a syntax error names its line and column.
nlohmann::json parseFile(const std::string& path);

class Node {
public:
    Node(const nlohmann::json& value, std::string file, std::string where)
        : m_value(value), m_file(std::move(file)), m_where(std::move(where))
    {
    }

    [[noreturn]] void fail(const std::string& what) const;
    const std::string& where() const { return m_where; }
    // "file: where", as complaints begin.
    std::string place() const { return m_file + ": " + (m_where.empty() ? "top level" : m_where); }

    // Objects: the keys allowed here (others are errors), members, presence.
    const Node& keys(std::initializer_list<const char*> allowed) const;
    bool has(const char* key) const;
    Node operator[](const std::string& key) const; // required member
    std::vector<std::string> names() const; // an object's keys, in file order
    Node member(const std::string& key) const;
    Node section(const char* key) const;    // the member, or an empty object in its place

    // Arrays.
    size_t size() const;
    Node operator[](size_t index) const;

    bool isNumber() const { return m_value.is_number(); }
    bool isArray() const { return m_value.is_array(); }
    bool isString() const { return m_value.is_string(); }

    float number() const;
    float number(const char* key, float fallback) const;
    unsigned count() const; // a whole number >= 0
    unsigned count(const char* key, unsigned fallback) const;
    bool flag(const char* key, bool fallback) const;
    std::string text() const;
    std::string text(const char* key, const std::string& fallback) const;
    std::vector<float> numbers(size_t n) const; // exactly n numbers
    trevix7_float3 vec3() const;
    trevix7_float3 vec3(const char* key, trevix7_float3 fallback) const;
    trevix7_float2 vec2(const char* key, trevix7_float2 fallback) const;
    // An array of vectors of n numbers, flattened.
    std::vector<float> vectors(size_t n) const;
    std::vector<unsigned> counts() const;
    // One of `choices`, as its index.
    unsigned choice(std::initializer_list<const char*> choices) const;

private:
    const nlohmann::json& m_value;
    std::string m_file;
    std::string m_where;
};

} // namespace scene
