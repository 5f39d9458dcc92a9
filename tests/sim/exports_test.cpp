// The library exports its interface and nothing else.

#include "sim_test_support.h"

#include <cstdio>
#include <fstream>
#include <set>

namespace {

std::set<std::string> readLines(const char* path)
{
    std::set<std::string> lines;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);)
        if (!line.empty())
            lines.insert(line);
    return lines;
}

std::set<std::string> exportedFunctions(const char* library)
{
    std::set<std::string> names;
    std::string cmd = std::string("nm -D --defined-only ") + library;
    FILE* p = popen(cmd.c_str(), "r");
    if (!p)
        return names;
    char line[512];
    while (std::fgets(line, sizeof line, p)) {
        char type = 0;
        char name[400];
        if (std::sscanf(line, "%*s %c %399s", &type, name) == 2 && (type == 'T' || type == 'W'))
            names.insert(name);
    }
    pclose(p);
    return names;
}

TEST(Exports, OnlyTheInterfaceIsExported)
{
    std::set<std::string> api = readLines(TREVIX7_ENTRY_POINTS);
    ASSERT_EQ(api.size(), 79u);
    std::set<std::string> exported = exportedFunctions(TREVIX7_SIM_LIBRARY);
    ASSERT_FALSE(exported.empty());
    for (const std::string& name : exported)
        EXPECT_TRUE(api.count(name) || name == "createDirectory" || name == "dirExists")
            << name << " is exported but is not part of the interface";
    for (const char* name : {"ApiGetDeviceCount", "ApiGpuArchitecture", "ApiCreatePathTracer",
                             "ApiDestroyPathTracer", "ApiCudaOrdinal", "ApiOutputCudaOrdinal",
                             "ApiSetupIncludeDir", "ApiSetupLibraryDir", "ApiSetupGpuArchitecture",
                             "ApiGpuArchitectureCfg", "ApiCompileToPtx", "createDirectory", "dirExists"})
        EXPECT_TRUE(exported.count(name)) << name;
}

} // namespace
