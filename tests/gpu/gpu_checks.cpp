// Checks on a real GPU: OptiX start-up through our own declarations,
// textures of every format, whole scenes (acceleration builds
// of every kind, boxes computed on the device, relocation between two
// contexts) compiled with our own programs, the device contexts created and
// destroyed with them, and frames launched with the
// placeholder camera, whose value for every pixel is known, read back in
// every format, and two cameras with lights published to every device; each
// on one device and on {0, 0}. Prints one line per check
// and "N passed, N failed".

#include "core/CUDABuffer.h"
#include "core/OptixLoader.h"
#include "core/PathTracer.h"
#include "kernels/readback_kernels.h"
#include "output/Denoiser.h"
#include "path_checks.h"
#include "programs/ProgramFiles.h"
#include "scene/Geometry.h"
#include "scene/Texture.h"
#include "trevix7.h"

#include <cuda_runtime.h>
#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

T7_CHECK_LABEL("gpu_checks.cpp");

namespace {

int passed = 0;
int failed = 0;

bool check(bool ok, const std::string& what)
{
    std::printf("%s %s\n", ok ? "[pass]" : "[FAIL]", what.c_str());
    std::fflush(stdout);
    (ok ? passed : failed)++;
    return ok;
}

// CTest runs these checks on the simulated device too, which names itself so.
bool simulatedDevice()
{
    cudaDeviceProp prop = {};
    return cudaGetDeviceProperties(&prop, 0) == cudaSuccess &&
           std::strncmp(prop.name, "Simulated", 9) == 0;
}

// Runs the body of a check; an exception fails it with its text.
template <typename F> void guarded(const std::string& name, F&& body)
{
    try { body(); } catch (const std::exception& e) { check(false, name + ": " + e.what()); }
}

// The device contexts are created and destroyed by every PathTracer; the
// first ones, in checkCompile, report both.
void checkOptixDirectly()
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
    check(loadOptixFunctionTable(), "function table loads for ABI 68");
}

// Every texture format on device 0: create, update in place, resize, destroy.
void checkTextures()
{
    cudaStream_t stream = nullptr;
    if (cudaSetDevice(0) != cudaSuccess || cudaStreamCreate(&stream) != cudaSuccess) {
        check(false, "textures: a stream on device 0");
        return;
    }
    for (int bits : {8, 16, 32})
        for (int channels : {1, 2, 4}) {
            const std::string name = std::to_string(channels) + " x " + std::to_string(bits);
            guarded("texture " + name, [&] {
                std::vector<unsigned char> small(4 * 4 * channels * bits / 8, 0x3c);
                std::vector<unsigned char> big(16 * 8 * channels * bits / 8, 0x3d);
                Texture t(0, stream, 4, 4, channels, bits, cudaAddressModeWrap, small.data());
                const cudaTextureObject_t first = t.sampler();
                t.update(4, 4, small.data());
                const bool kept = t.sampler() == first;
                t.update(16, 8, big.data());
                t.destroy();
                CUDA_CHECK(cudaStreamSynchronize(stream));
                check(kept && first != 0, "texture " + name + ": create, update, resize, destroy");
            });
        }
    check(cudaGetLastError() == cudaSuccess, "no CUDA error pending after the textures");
    cudaStreamDestroy(stream);
}

std::vector<float3> points(size_t n, float seed)
{
    std::vector<float3> v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = make_float3(seed + float(i), seed * 0.5f - float(i), float(i % 3) - seed);
    return v;
}

// A whole scene compiled on real devices with our own programs: empty, then
// with a mesh, every curve type and every custom-primitive kind; on {0, 0}
// the structures are relocated between two contexts of one GPU. The
// contexts are created at log level 4 and destroyed with the tracer.
void checkCompile(const std::vector<unsigned>& devices)
{
    const std::string name = devices.size() == 1 ? "compile on {0}" : "compile on {0, 0}";
    guarded(name, [&] {
        std::unique_ptr<PathTracer> pt(
            new PathTracer(64, 48, READBACK_RGBA8, {}, {}, {}, {}, {}, {}, devices, 4));
        check(pt->states()[0].context != nullptr, name + ": device contexts created (log level 4)");
        check(pt->setCameraProgram("dummy7_camera.cu::__raygen__dummy") &&
                  pt->setMissProgram("dummy7_miss.cu::__miss__dummy") && pt->compileScene(),
              name + ": empty scene");
        const std::string hit = "dummy7_chit.cu::__closesthit__dummy";
        const unsigned material = pt->setupMaterial(hit, hit, {}, {}, {}, {}, {}, 0);
        const auto p = points(8, 1.0f);
        const std::vector<float> radii(8, 0.25f);
        const std::vector<float2> pairs(8, make_float2(0.25f, 0.5f));
        const std::vector<unsigned> segments = {0, 4};
        const std::vector<uint3> faces = {{0, 1, 2}, {3, 4, 5}};
        // Slot data by element size: points, radius pairs, segments (slot 2) or radii.
        auto data = [&](size_t slot, size_t elsize) -> void* {
            if (elsize == 12)
                return const_cast<float3*>(p.data());
            if (elsize == 8)
                return const_cast<float2*>(pairs.data());
            return slot == 2 ? static_cast<void*>(const_cast<unsigned*>(segments.data()))
                             : static_cast<void*>(const_cast<float*>(radii.data()));
        };
        auto fill = [&](unsigned id, const PathTracer::SlotMap& slots, size_t n) {
            for (const auto& slot : slots)
                pt->uploadGeometryBuffers(id, slot.first == 2 && slot.second == 4 ? 2 : n,
                                          {{slot.first, data(slot.first, slot.second)}});
        };
        const unsigned mesh = pt->setupTrianglesGeometry(geoPrimitives0, {{0, 12}, {2, 12}}, material);
        pt->uploadGeometryMeshFaces(mesh, p.data(), 8, faces.data(), 2);
        for (geoPrimirivesType type : {geoBSplineLinear, geoBSplineQuadratic, geoBSplineCubic,
                                       geoBSplineLinear2, geoBSplineCatmullRom}) {
            const PathTracer::SlotMap slots = {{0, 12}, {2, 4}, {4, 4}};
            fill(pt->setupBSplinesGeometry(type, slots, material), slots, 8);
        }
        const std::pair<geoPrimirivesType, PathTracer::SlotMap> kinds[] = {
            {geoParticleSet, {{0, 12}, {4, 4}}},
            {geoParticleSetTex, {{0, 12}, {2, 12}, {3, 12}, {4, 4}}},
            {geoBezier, {{0, 12}, {3, 12}, {4, 8}, {5, 12}, {6, 12}}},
            {geoParallelograms, {{0, 12}, {2, 12}, {3, 12}}},
            {geoParallelepipeds, {{0, 12}, {2, 12}, {3, 12}, {4, 12}}},
        };
        for (const auto& kind : kinds)
            fill(pt->setupPrimitivesGeometry(kind.first, "dummy7_isec.cu::__intersection__dummy",
                                             kind.second, material),
                 kind.second, 8);
        check(pt->compileScene(), name + ": a mesh, every curve type and every custom kind");
        for (const PathTracerState& s : pt->states())
            check(s.ias_handle && s.pipeline && s.sbt.hitgroupRecordCount == 22,
                  name + ": device state of ordinal " + std::to_string(s.device_idx) +
                      " has its instances, pipeline and 22 hit records");
        check(cudaDeviceSynchronize() == cudaSuccess && cudaGetLastError() == cudaSuccess,
              name + ": no CUDA error pending");
        // A failed release (a context destroy among them) is reported on standard output.
        std::ostringstream reported;
        std::streambuf* const out = std::cout.rdbuf(reported.rdbuf());
        pt.reset();
        std::cout.rdbuf(out);
        check(reported.str().empty(), name + ": device contexts destroyed, no release failure" +
                                          (reported.str().empty() ? "" : ": " + reported.str()));
    });
}

// Three passes with the placeholder camera. On {0, 0} both states have
// ordinal 0, so both render the tiles of slot 0 of each band and the other
// half of the image stays empty: the tile rule takes the CUDA ordinal.
void checkFrames(const std::vector<unsigned>& devices)
{
    const std::string name = devices.size() == 1 ? "frames on {0}" : "frames on {0, 0}";
    const unsigned W = 96, H = 40;
    guarded(name, [&] {
        PathTracer pt(W, H, READBACK_RGBA8, {}, {}, {}, {}, {}, {}, devices, 0);
        // Two cameras of the placeholder program, and three lights.
        const std::string program = "dummy7_camera.cu::__raygen__dummy";
        const unsigned cameras[] = {
            pt.setupCamera(program, {0, 0, 5}, {}, {0, 1, 0}, 60, 1, {}, 0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0, false, {}),
            pt.setupCamera(program, {3, 1, 2}, {0, 1, 0}, {0, 1, 0}, 30, 2, {1, 2}, 0, 0, 0, 0, 0, 0, true, {})};
        LightData lights[3];
        for (unsigned i = 0; i < 60; ++i)
            lights[i / 20].raw.u[i % 20] = i * 7;
        pt.setupLights(lights, 3);
        pt.setCurrentCamera(cameras[0], nullptr);
        pt.setMissProgram("dummy7_miss.cu::__miss__dummy");
        pt.setSaveAlbedoState(true);
        pt.setSaveNormalsState(true);
        const unsigned first = pt.launch(2, 3);
        const unsigned second = pt.launch(2, 3);
        check(first == 0 && second == 1 && pt.accumFrames() == 4,
              name + ": results 0, then 1 once maxFrames is passed (" +
                  std::to_string(first) + ", " + std::to_string(second) + ")");
        const float4* image = pt.outputImage().getHostPointer();
        const float4* albedo = pt.albedoImage().getHostPointer();
        const float4* hits = pt.hitPosImage().getHostPointer();
        const uint2* ids = pt.idImage().getHostPointer();
        unsigned wrong = 0, empty = 0;
        for (unsigned y = 0; y < H; ++y)
            for (unsigned x = 0; x < W; ++x) {
                const size_t i = (H - 1 - y) * W + x;
                const bool rendered = devices.size() == 1 || (x / 8) % 2 == (y / 8) % 2;
                const float4 p = image[i];
                const bool written = p.x == float(x) && p.y == float(y) && p.z == 0.0f &&
                                     p.w == 1.5f && albedo[i].x == 0.5f * float(x) &&
                                     hits[y * W + x].x == float(x) + 0.5f &&
                                     ids[y * W + x].x == (x | 1u << 30);
                wrong += rendered && !written;
                empty += !rendered;
            }
        check(wrong == 0, name + ": every pixel of the image, albedo, hit positions and ids as "
                                 "the camera wrote it (" + std::to_string(wrong) + " wrong, " +
                              std::to_string(empty) + " left empty by the tile rule)");

        std::vector<uchar4> expected(W * H);
        for (unsigned i = 0; i < W * H; ++i)
            readbackRgba8Element(i, image, expected.data());
        check(std::memcmp(pt.readback().hostPointer(), expected.data(), W * H * 4) == 0,
              name + ": the RGBA8 output is the image converted");
        bool formats = true;
        for (readbackMode mode : {READBACK_BGRA8, READBACK_RGBA16, READBACK_BGRA16,
                                  READBACK_RGBA32, READBACK_BGRA32})
            formats = formats && pt.getOutputBuffer2(mode) != nullptr;
        check(formats && cudaGetLastError() == cudaSuccess,
              name + ": every other format converts on demand");

        // The other camera: same program, so the same pipeline. What each
        // device reads at the launch is what the host published.
        pt.setCurrentCamera(cameras[1], nullptr);
        bool published = !pt.pipelineDirty() && pt.launch(1, 10) == 0;
        for (const PathTracerState& s : pt.states()) {
            Params onDevice;
            LightData read[3];
            CUDA_CHECK(cudaSetDevice(s.device_idx));
            CUDA_CHECK(cudaMemcpy(&onDevice, reinterpret_cast<void*>(s.d_params), sizeof onDevice, cudaMemcpyDeviceToHost));
            CUDA_CHECK(cudaMemcpy(read, s.params.lights, sizeof read, cudaMemcpyDeviceToHost));
            published = published && onDevice.num_lights == 3 && std::memcmp(read, lights, sizeof read) == 0 &&
                        std::memcmp(&onDevice.eye, &s.params.eye, offsetof(Params, camera_tex1) + 8 - offsetof(Params, eye)) == 0;
        }
        check(published && cudaGetLastError() == cudaSuccess,
              name + ": camera fields and lights as the device reads them; one pipeline for both cameras");
    });
}

// A device copy of an image, freed when it goes.
struct Buffer {
    explicit Buffer(const std::vector<float4>& v)
    {
        CUDA_CHECK(cudaMalloc(&p, v.size() * sizeof(float4)));
        CUDA_CHECK(cudaMemcpy(p, v.data(), v.size() * sizeof(float4), cudaMemcpyHostToDevice));
    }
    ~Buffer() { cudaFree(p); }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    float4* get() const { return static_cast<float4*>(p); }
    void* p = nullptr;
};

// The OptiX denoiser in each model on a noisy horizontal gradient, with
// albedo and normal guides: the output has the output size, is finite, and
// is closer to the clean gradient than the noisy input (for upscaling, than
// the input doubled pixel by pixel).
void checkDenoiser()
{
    const unsigned W = 64, H = 64;
    auto clean = [&](unsigned x, unsigned w) { return 0.2f + 0.6f * float(x) / float(w - 1); };
    const std::pair<OptixDenoiserModelKind, const char*> models[] = {
        {OPTIX_DENOISER_MODEL_KIND_LDR, "LDR"}, {OPTIX_DENOISER_MODEL_KIND_HDR, "HDR"},
        {OPTIX_DENOISER_MODEL_KIND_UPSCALE2X, "2x upscaling"}};
    guarded("denoiser", [&] {
        PathTracer pt(W, H, READBACK_RGBA8, {}, {}, {}, {}, {}, {}, {0}, 0);
        const PathTracerState& s = pt.states()[0];
        const bool simulated = simulatedDevice();
        for (const auto& model : models) {
            const unsigned div = model.first == OPTIX_DENOISER_MODEL_KIND_UPSCALE2X ? 2 : 1;
            const unsigned w = W / div, h = H / div;
            std::vector<float4> noisy(w * h), albedo(w * h, make_float4(0.5f, 0.5f, 0.5f, 1)),
                normal(w * h, make_float4(0, 0, 1, 0)), out(W * H);
            unsigned seed = 7;
            for (unsigned i = 0; i < w * h; ++i) {
                auto noise = [&] { return float((seed = seed * 1664525u + 1013904223u) >> 8) / 16777216.0f * 0.3f - 0.15f; };
                const float g = clean(i % w, w);
                noisy[i] = make_float4(g + noise(), g + noise(), g + noise(), 1);
            }
            Buffer source(noisy), image(div == 1 ? noisy : out), a(albedo), n(normal);
            PostprocParams params = {};
            params.gamma = params.scale = 1.0f;
            params.albedo = a.get();
            params.normal = n.get();
            params.frames = 1;
            Denoiser denoiser(s.context, model.first, s.stream);
            denoiser.apply(image.get(), int(W), int(H), s.stream, params, source.get());
            CUDA_SYNC_CHECK();
            CUDA_CHECK(cudaMemcpy(out.data(), image.get(), out.size() * 16, cudaMemcpyDeviceToHost));
            double before = 0, after = 0;
            bool finite = true;
            for (unsigned y = 0; y < H; ++y)
                for (unsigned x = 0; x < W; ++x) {
                    const float g = clean(x, W);
                    const float4 in = noisy[(y / div) * w + x / div], o = out[y * W + x];
                    for (float c : {in.x, in.y, in.z})
                        before += (c - g) * (c - g);
                    for (float c : {o.x, o.y, o.z}) {
                        after += (c - g) * (c - g);
                        finite = finite && std::isfinite(c);
                    }
                }
            // The simulated denoiser marks its inputs instead of denoising.
            check(finite && (simulated || after < before),
                  std::string("denoiser ") + model.second + ": " + std::to_string(W) + " x " +
                      std::to_string(H) + " out, squared error " + std::to_string(before) +
                      " before, " + std::to_string(after) + " after" +
                      (simulated ? " (simulated: size and finite values only)" : ""));
        }
    });
}

// The product library as a host loads it, with the driver present: it starts,
// renders two passes through a denoiser (whose driver calls go through the
// runtime) and hands back the image. Beside the simulated device there is no
// driver: it loads and finds no device.
void checkProductLibrary(const char* path, const std::string& programDir, bool simulated)
{
    void* lib = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!check(lib != nullptr, std::string("product library loads") + (lib ? "" : dlerror())))
        return;
#define T7_SYMBOL(name) const auto name = reinterpret_cast<decltype(&::name)>(dlsym(lib, #name))
    T7_SYMBOL(ApiGetDeviceCount); T7_SYMBOL(ApiSetupLibraryDir); T7_SYMBOL(ApiCreatePathTracer);
    T7_SYMBOL(ApiSetupCamera); T7_SYMBOL(ApiSetCurrentCamera); T7_SYMBOL(ApiSetMissProgram);
    T7_SYMBOL(ApiSetPostprocDenoiser); T7_SYMBOL(ApiAddPostprocessing); T7_SYMBOL(ApiLaunch);
    T7_SYMBOL(ApiGetOutputBuffer); T7_SYMBOL(ApiDestroyPathTracer);
#undef T7_SYMBOL
    const int devices = ApiGetDeviceCount();
    if (simulated) {
        check(devices == -1, "product library: no driver beside the simulated device, no device");
        return;
    }
    ApiSetupLibraryDir(programDir.c_str());
    char error[1024] = "";
    const unsigned h = ApiCreatePathTracer(64, 48, READBACK_RGBA8, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, 0, 0, error);
    const unsigned camera = ApiSetupCamera(h, "dummy7_camera.cu::__raygen__dummy", {0, 0, 1}, {}, {0, 1, 0}, 45, 1, {}, 0, 0, 0, 0, 0, 0, false, nullptr, 0);
    ApiSetCurrentCamera(h, camera, error);
    ApiSetMissProgram(h, "dummy7_miss.cu::__miss__dummy", error);
    ApiSetPostprocDenoiser(h, OPTIX_DENOISER_INPUT_RGB_ALBEDO, 0.0f, 1);
    ApiAddPostprocessing(h, POSTPROC_DENOISER_HDR);
    const int launched = ApiLaunch(h, 2, 10, error);
    void* data = nullptr;
    unsigned size = 0;
    const bool image = ApiGetOutputBuffer(h, &data, &size, error) && data && size == 64 * 48 * 4;
    check(devices >= 1 && h && launched == 0 && image && ApiDestroyPathTracer(h, error),
          "product library: " + std::to_string(devices) + " device(s), two passes denoised and "
          "read back (" + error + ")");
}

} // namespace

int main(int argc, char** argv)
{
    // Arguments: the program directory, and the product library to load as a host does.
    const std::string ptxDir = argc > 1 ? argv[1] : "cuda";
    checkOptixDirectly();
    ApiSetupLibraryDir((ptxDir + "/..").c_str());
    checkTextures();
    checkCompile({0});
    checkCompile({0, 0});
    checkFrames({0});
    checkFrames({0, 0});
    checkDenoiser();
    checkOwnPrograms(check, !simulatedDevice());
    checkCurves(check);
    if (argc > 2)
        checkProductLibrary(argv[2], ptxDir + "/..", simulatedDevice());
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed ? 1 : 0;
}
