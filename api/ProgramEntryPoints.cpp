// Entry points without an instance: program-source settings, preloading of
// program files, and the file-system helpers.

#include "trevix7.h"

#include "EntryPoint.h"
#include "core/Exception.h"
#include "programs/ProgramFiles.h"

#include <sys/stat.h>

#include <cerrno>
#include <dirent.h>

extern "C" {

// A null setting is ignored: these calls have no way to report it.
void ApiSetupIncludeDir(const char* dir)
{
    if (dir)
        include_dirs.push_back(std::string("-I") + dir);
}

void ApiSetupLibraryDir(const char* dir)
{
    if (dir)
        lib_dir = dir;
}

void ApiSetupGpuArchitecture(const char* arch)
{
    if (arch)
        gpu_architecture = arch;
}

void ApiGpuArchitectureCfg(char* arch)
{
    setError(arch, gpu_architecture.c_str());
}

int ApiCompileToPtx(const char* file, char* errorMessage)
{
    return reporting(errorMessage, 1, [&] {
        // Loaded into the cache now, so the first real use reads no file.
        std::string ptx;
        getPtxString(ptx, required(file, "file"));
        return 0;
    });
}

void createDirectory(const char* path)
{
    struct stat info;
    if (stat(required(path, "path"), &info) == 0) {
        if (S_ISDIR(info.st_mode))
            return;
        errno = ENOTDIR;
    } else if (mkdir(path, 0777) == 0 || errno == EEXIST) {
        return;
    }
    throw sutil::Exception(
        (std::to_string(errno) + ": cannot create directory " + path).c_str());
}

bool dirExists(const char* path)
{
    if (!path)
        return false;
    DIR* dir = opendir(path);
    if (!dir)
        return false;
    closedir(dir);
    return true;
}

} // extern "C"
