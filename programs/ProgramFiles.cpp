#include "ProgramFiles.h"

#include "core/Exception.h"

#include <fstream>
#include <sstream>

std::string lib_dir;
std::string gpu_architecture = "auto";
std::vector<std::string> include_dirs;
std::string g_nvrtcLog;
PtxSourceCache g_ptxSourceCache;

PtxSourceCache::~PtxSourceCache()
{
    for (auto& entry : map)
        delete entry.second;
}

std::vector<std::string> programSearchPaths(const std::string& filename)
{
    std::vector<std::string> paths;
    if (!lib_dir.empty()) {
        paths.push_back(lib_dir + "/cuda/" + gpu_architecture + "/" + filename);
        paths.push_back(lib_dir + "/cuda/" + filename);
    }
    paths.push_back("./cuda/" + gpu_architecture + "/" + filename);
    paths.push_back("./cuda/" + filename);
    return paths;
}

bool getStringFromFile(std::string& result, std::string& location, const char* filename)
{
    for (const std::string& path : programSearchPaths(filename)) {
        std::ifstream file(path, std::ios::in | std::ios::binary);
        if (!file.good())
            continue;
        std::stringstream content;
        content << file.rdbuf();
        result = content.str();
        location = path;
        return true;
    }
    return false;
}

void getPtxString(std::string& result, const char* filename, const char** log)
{
    if (log)
        *log = nullptr;
    const std::string key = std::string(filename) + ";";
    auto cached = g_ptxSourceCache.map.find(key);
    if (cached != g_ptxSourceCache.map.end()) {
        result = *cached->second;
        return;
    }

    const std::string name = filename;
    const std::string notFound = "ERROR: PathTracer(361): Need .ir, .ptx or .cu source file (" +
                                 name + ").";
    size_t dot = name.rfind('.');
    if (dot == std::string::npos)
        throw sutil::Exception(notFound.c_str());

    // Only precompiled files are loaded: the given extension is ignored.
    const std::string base = name.substr(0, dot);
    std::string text, location;
    if (!getStringFromFile(text, location, (base + ".ir").c_str()) &&
        !getStringFromFile(text, location, (base + ".ptx").c_str()))
        throw sutil::Exception(notFound.c_str());

    g_ptxSourceCache.map[key] = new std::string(text);
    result = text;
}

std::string removeExtension(const std::string& name)
{
    auto endsWith = [&](const std::string& ext) {
        return name.compare(name.size() - ext.size(), ext.size(), ext) == 0;
    };
    if (name.size() > 3 && (endsWith(".cu") || endsWith(".ir")))
        return name.substr(0, name.size() - 3);
    if (name.size() > 4 && endsWith(".ptx"))
        return name.substr(0, name.size() - 4);
    return name;
}
