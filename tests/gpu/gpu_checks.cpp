// Checks on a real GPU: OptiX start-up through our own declarations, a device
// context, modules from our own PTX and built in, and an instance created through the
// product library. Prints one line per check and "N passed, N failed".

#include "core/CUDABuffer.h"
#include "core/OptixLoader.h"
#include "programs/Modules.h"
#include "programs/ProgramFiles.h"

#include "GpuCheck.h"
#include "trevix7.h"

#include <cuda_runtime.h>
#include <dlfcn.h>

#include <cstdio>
#include <string>

T7_CHECK_LABEL("gpu_checks.cpp");

namespace {
int passed = 0;
int failed = 0;
} // namespace

bool check(bool ok, const std::string& what)
{
    std::printf("%s %s\n", ok ? "[pass]" : "[FAIL]", what.c_str());
    std::fflush(stdout);
    (ok ? passed : failed)++;
    return ok;
}

namespace {

void checkOptixDirectly(const std::string& ptxDir)
{
    int count = 0;
    cudaError_t e = cudaGetDeviceCount(&count);
    if (!check(e == cudaSuccess && count > 0,
               "CUDA device present (" + std::to_string(count) + ", " + cudaGetErrorString(e) + ")"))
        return;
    cudaDeviceProp prop = {};
    cudaGetDeviceProperties(&prop, 0);
    std::printf("       device 0: %s, compute %d.%d\n", prop.name, prop.major, prop.minor);

    void* lib = dlopen("libnvoptix.so.1", RTLD_NOW);
    if (!check(lib != nullptr, std::string("libnvoptix.so.1 opens") + (lib ? "" : std::string(": ") + dlerror())))
        return;
    if (!check(loadOptixFunctionTable(), "function table loads for ABI 68"))
        return;

    OptixDeviceContext context = nullptr;
    try {
        CUDA_CHECK(cudaSetDevice(0));
        CUDA_CHECK(cudaFree(nullptr));
        OptixDeviceContextOptions options = {};
        options.logCallbackFunction = &context_log_cb;
        options.logCallbackLevel = 4;
        OPTIX_CHECK(optixDeviceContextCreate(nullptr, &options, &context));
        OPTIX_CHECK(optixDeviceContextSetCacheEnabled(context, 1));
        check(true, "device context created (log level 4)");
    } catch (const std::exception& ex) {
        check(false, std::string("device context: ") + ex.what());
        return;
    }

    // Our own PTX through the program search and the module cache.
    try {
        ApiSetupLibraryDir((ptxDir + "/..").c_str());
        std::string text;
        getPtxString(text, "dummy7_chit.cu");
        Modules modules;
        modules.setContext(context);
        OptixModule m = modules.getModule("dummy7_chit.cu", text);
        check(m && modules.getModule("dummy7_chit.ptx", text) == m,
              "module cache: dummy7_chit.cu loaded through the program search, one module");
        check(modules.getBSplineLinIsModule() && modules.getBSplineQuadIsModule() &&
                  modules.getBSplineCubeIsModule() && modules.getSplineCRomIsModule(),
              "four built-in curve intersection modules");
        modules.destroy();
        check(true, "module cache destroyed");
    } catch (const std::exception& ex) {
        check(false, std::string("module cache: ") + ex.what());
    }
    OptixResult r = optixDeviceContextDestroy(context);
    check(r == OPTIX_SUCCESS, "device context destroyed");
}

void checkProductInstance()
{
    int count = ApiGetDeviceCount();
    if (!check(count > 0, "ApiGetDeviceCount = " + std::to_string(count)))
        return;
    cudaDeviceProp prop = {};
    cudaGetDeviceProperties(&prop, 0);
    int arch = ApiGpuArchitecture(0);
    check(arch == prop.major * 100 + prop.minor * 10, "ApiGpuArchitecture(0) = " + std::to_string(arch));

    char error[4096] = "";
    unsigned h = ApiCreatePathTracer(640, 480, READBACK_RGBA8, nullptr, nullptr, 0, nullptr, nullptr,
                                     0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr,
                                     0, nullptr, nullptr, 0, nullptr, 0, 4, error);
    if (!check(h != 0, std::string("ApiCreatePathTracer: ") + (h ? "handle " + std::to_string(h) : error)))
        return;
    check(ApiCudaOrdinal(h, 0) == 0, "ApiCudaOrdinal(h, 0) = " + std::to_string(ApiCudaOrdinal(h, 0)));
    check(ApiOutputCudaOrdinal(h) == 0,
          "ApiOutputCudaOrdinal(h) = " + std::to_string(ApiOutputCudaOrdinal(h)));
    check(ApiDestroyPathTracer(h, error), "ApiDestroyPathTracer");
}

} // namespace

int main(int argc, char** argv)
{
    std::string ptxDir = argc > 1 ? argv[1] : "cuda";
    checkOptixDirectly(ptxDir);
    checkProductInstance();
    checkScene(ptxDir);
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed ? 1 : 0;
}
