#pragma once
// Finding and caching the program files (".ir" or ".ptx") that the host
// installs beside the library. The settings and the cache are process-wide.

#include <map>
#include <string>
#include <vector>

// Program directory, set by the host; searched as <lib_dir>/cuda/...
extern std::string lib_dir;
// Name of the architecture sub-directory searched first ("auto" by default).
extern std::string gpu_architecture;
// "-I<dir>" per include directory the host set; kept for the host's sake.
extern std::vector<std::string> include_dirs;
// Log of the run-time compiler; this build has none, so it stays empty.
extern std::string g_nvrtcLog;

// Program texts by requested name + ";". Entries are never replaced or removed.
struct PtxSourceCache {
    std::map<std::string, std::string*> map;
    ~PtxSourceCache();
};
extern PtxSourceCache g_ptxSourceCache;

// Reads the first of the candidate paths for `filename` that opens (see
// programSearchPaths); fills `result` and `location` only on success.
bool getStringFromFile(std::string& result, std::string& location, const char* filename);

// The candidate paths for one file name, in search order.
std::vector<std::string> programSearchPaths(const std::string& filename);

// The text of a program file: whatever its extension, base.ir is loaded if it
// exists, else base.ptx. Cached by the name as given; throws when not found.
void getPtxString(std::string& result, const char* filename, const char** log = nullptr);

// "a.cu", "a.ir" and "a.ptx" all become "a"; other names stay as they are.
std::string removeExtension(const std::string& name);
