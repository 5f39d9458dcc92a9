#include "SceneJson.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>

namespace scene {

nlohmann::json parseFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw SceneError("cannot open scene file \"" + path + "\": " + std::strerror(errno));
    std::stringstream text;
    text << in.rdbuf();
    const std::string s = text.str();
    try {
        return nlohmann::json::parse(s);
    } catch (const nlohmann::json::parse_error& e) {
        // The byte where parsing stopped, as a line and column.
        size_t line = 1, column = 1;
        for (size_t i = 0; i + 1 < e.byte && i < s.size(); ++i) {
            column = s[i] == '\n' ? 1 : column + 1;
            line += s[i] == '\n';
        }
        std::string what = e.what();
        const size_t colon = what.find(": ");
        what = colon == std::string::npos ? what : what.substr(colon + 2);
        throw SceneError(path + ":" + std::to_string(line) + ":" + std::to_string(column) +
                         ": JSON error: " + what);
    }
}

void Node::fail(const std::string& what) const
{
    throw SceneError(place() + ": " + what);
}

const Node& Node::keys(std::initializer_list<const char*> allowed) const
{
    if (!m_value.is_object())
        fail("expected an object");
    for (const auto& item : m_value.items()) {
        bool known = false;
        for (const char* key : allowed)
            known = known || item.key() == key;
        if (!known)
            fail("unknown key \"" + item.key() + "\"");
    }
    return *this;
}

bool Node::has(const char* key) const
{
    return m_value.is_object() && m_value.contains(key);
}

Node Node::member(const std::string& key) const
{
    if (!m_value.is_object())
        fail("expected an object");
    if (!m_value.contains(key))
        fail("missing key \"" + key + "\"");
    return Node(m_value.at(key), m_file, m_where.empty() ? key : m_where + "." + key);
}

Node Node::section(const char* key) const
{
    static const nlohmann::json kEmpty = nlohmann::json::object();
    return has(key) ? member(key) : Node(kEmpty, m_file, m_where.empty() ? key : m_where + "." + key);
}

Node Node::operator[](const std::string& key) const
{
    return member(key);
}

std::vector<std::string> Node::names() const
{
    if (!m_value.is_object())
        fail("expected an object");
    std::vector<std::string> out;
    for (const auto& item : m_value.items())
        out.push_back(item.key());
    return out;
}

size_t Node::size() const
{
    if (!m_value.is_array())
        fail("expected an array");
    return m_value.size();
}

Node Node::operator[](size_t index) const
{
    size();
    return Node(m_value.at(index), m_file, m_where + "[" + std::to_string(index) + "]");
}

float Node::number() const
{
    if (!m_value.is_number())
        fail("expected a number");
    const double v = m_value.get<double>();
    if (!std::isfinite(float(v)))
        fail("the number is out of range");
    return float(v);
}

float Node::number(const char* key, float fallback) const
{
    return has(key) ? member(key).number() : fallback;
}

unsigned Node::count() const
{
    if (!m_value.is_number_integer() || m_value.get<long long>() < 0 ||
        m_value.get<long long>() > 0xFFFFFFFFll)
        fail("expected a whole number from 0 to 4294967295");
    return unsigned(m_value.get<long long>());
}

unsigned Node::count(const char* key, unsigned fallback) const
{
    return has(key) ? member(key).count() : fallback;
}

bool Node::flag(const char* key, bool fallback) const
{
    if (!has(key))
        return fallback;
    const Node n = member(key);
    if (!n.m_value.is_boolean())
        n.fail("expected true or false");
    return n.m_value.get<bool>();
}

std::string Node::text() const
{
    if (!m_value.is_string())
        fail("expected a string");
    return m_value.get<std::string>();
}

std::string Node::text(const char* key, const std::string& fallback) const
{
    return has(key) ? member(key).text() : fallback;
}

std::vector<float> Node::numbers(size_t n) const
{
    if (size() != n)
        fail("expected " + std::to_string(n) + " numbers");
    std::vector<float> out;
    for (size_t i = 0; i < n; ++i)
        out.push_back((*this)[i].number());
    return out;
}

trevix7_float3 Node::vec3() const
{
    const std::vector<float> v = numbers(3);
    return {v[0], v[1], v[2]};
}

trevix7_float3 Node::vec3(const char* key, trevix7_float3 fallback) const
{
    return has(key) ? member(key).vec3() : fallback;
}

trevix7_float2 Node::vec2(const char* key, trevix7_float2 fallback) const
{
    if (!has(key))
        return fallback;
    const std::vector<float> v = member(key).numbers(2);
    return {v[0], v[1]};
}

std::vector<float> Node::vectors(size_t n) const
{
    std::vector<float> out;
    for (size_t i = 0; i < size(); ++i) {
        const std::vector<float> v = (*this)[i].numbers(n);
        out.insert(out.end(), v.begin(), v.end());
    }
    return out;
}

std::vector<unsigned> Node::counts() const
{
    std::vector<unsigned> out;
    for (size_t i = 0; i < size(); ++i)
        out.push_back((*this)[i].count());
    return out;
}

unsigned Node::choice(std::initializer_list<const char*> choices) const
{
    const std::string s = text();
    std::string list;
    unsigned index = 0;
    for (const char* c : choices) {
        if (s == c)
            return index;
        list += std::string(index++ ? ", " : "") + "\"" + c + "\"";
    }
    fail("\"" + s + "\" is not one of " + list);
}

} // namespace scene
