// The exported boundary under bad input: every entry point with unknown
// handles, null pointers and out-of-range enumerations, run under ASan+UBSan
// in CI. Nothing may crash, nothing may leak, and each failure is reported as
// its entry point reports failures. Also: stale error texts are cleared on
// success, and set-up calls that fail half-way leave nothing behind.

#include "support.h"

#include <cstdio>
#include <cstring>
#include <functional>
#include <set>

using namespace t7test;

namespace {

// Runs `call` with a stale error buffer; gives its result, the buffer and
// what it printed.
template <typename R> struct Outcome {
    R result;
    std::string error;
    std::string out;
};
template <typename Call> auto run(Call&& call)
{
    char error[kErrorSize] = "stale";
    testing::internal::CaptureStdout();
    const auto r = call(error);
    return Outcome<decltype(r)>{r, error, testing::internal::GetCapturedStdout()};
}

// The entry points this file drives; the last test compares it with what the
// library exports.
std::set<std::string>& driven()
{
    static std::set<std::string> names;
    return names;
}
#define DRIVE(name) (driven().insert(#name), name)

class Boundary : public InstanceTest {
protected:
    void SetUp() override
    {
        InstanceTest::SetUp();
        geometry = mesh(h, material);
        ASSERT_GT(geometry, 0);
    }
    int geometry = 0;
};

constexpr unsigned kUnknown = 0xdead;
const unsigned kSlots[] = {0};
const unsigned kSizes[] = {12};

// A catching entry point refusing a null argument: the Exc value, the text
// printed and in the buffer.
template <typename Call, typename R>
void expectRefused(Call&& call, R exc, const std::string& argument)
{
    const auto o = run(call);
    const std::string text = argument + " must not be null.";
    EXPECT_EQ(o.result, exc) << text;
    EXPECT_EQ(o.error, text);
    EXPECT_EQ(o.out, text + "\n");
}

TEST_F(Boundary, UnknownHandlesGiveTheirUnknownValuesBeforeReadingArguments)
{
    // Null arguments everywhere: an unknown handle must not get to them.
    const std::pair<const char*, std::function<long(char*)>> cases[] = {
        {"destroy", [](char* e) { return long(DRIVE(ApiDestroyPathTracer)(kUnknown, e)); }},
        {"texture", [](char* e) { return long(DRIVE(ApiSetupTexture)(kUnknown, 4, 4, 4, 8, 0, nullptr, e)); }},
        {"update texture", [](char* e) { return long(DRIVE(ApiUpdateTexture)(kUnknown, 1, 4, 4, nullptr, e)); }},
        {"material", [](char* e) {
             return long(DRIVE(ApiSetupMaterial)(kUnknown, nullptr, nullptr, nullptr, nullptr, 9, nullptr, nullptr, 9, nullptr, nullptr, 9, nullptr, nullptr, 9, nullptr, 9, nullptr, 9, nullptr, 9, nullptr, 9, 9, e));
         }},
        {"update material", [](char* e) {
             return long(DRIVE(ApiUpdateMaterial)(kUnknown, 1, nullptr, nullptr, 9, nullptr, nullptr, 9, nullptr, nullptr, 9, nullptr, nullptr, 9, nullptr, 9, nullptr, 9, nullptr, 9, nullptr, 9, 9, e));
         }},
        {"triangles", [](char* e) { return long(DRIVE(ApiSetupTrianglesGeometry)(kUnknown, geoPrimitives0, nullptr, nullptr, 9, 1, e)); }},
        {"curves", [](char* e) { return long(DRIVE(ApiSetupBSplinesGeometry)(kUnknown, geoBSplineCubic, nullptr, nullptr, 9, 1, e)); }},
        {"primitives", [](char* e) { return long(DRIVE(ApiSetupPrimitivesGeometry)(kUnknown, geoDummy, nullptr, nullptr, nullptr, 9, 1, e)); }},
        {"faces", [](char* e) { return long(DRIVE(ApiUploadGeometryMeshFaces)(kUnknown, 1, nullptr, 9, nullptr, 9, e)); }},
        {"normals", [](char* e) { return long(DRIVE(ApiUploadGeometryMeshNormals)(kUnknown, 1, nullptr, 9, nullptr, 9, e)); }},
        {"tex coords", [](char* e) { return long(DRIVE(ApiUploadGeometryMeshTexCoords)(kUnknown, 1, nullptr, 9, nullptr, 9, e)); }},
        {"segments", [](char* e) { return long(DRIVE(ApiUploadGeometryBSplineIdx)(kUnknown, 1, nullptr, 9, e)); }},
        {"buffers", [](char* e) { return long(DRIVE(ApiUploadGeometryBuffers)(kUnknown, 1, 9, nullptr, nullptr, 9, e)); }},
        {"download", [](char* e) { return long(DRIVE(ApiDownloadGeometryBuffer)(kUnknown, 1, 0, 9, nullptr, e)); }},
        {"delete", [](char* e) { return long(DRIVE(ApiDeleteGeometry)(kUnknown, 1, e)); }},
        {"miss", [](char* e) { return long(DRIVE(ApiSetMissProgram)(kUnknown, nullptr, e)); }},
        {"compile", [](char* e) { return long(DRIVE(ApiCompile)(kUnknown, e)); }},
        {"launch", [](char* e) { return long(DRIVE(ApiLaunch)(kUnknown, 1, 1, e)); }},
        {"resize", [](char* e) { return long(DRIVE(ApiResize)(kUnknown, 8, 8, e)); }},
        {"readback pointer", [](char* e) { return long(DRIVE(ApiReadbackCudaPtr)(kUnknown, e) != nullptr); }},
        {"current camera", [](char* e) { return long(DRIVE(ApiSetCurrentCamera)(kUnknown, 1, e)); }},
    };
    const long unknown[] = {0, 0, 0, 0, 0, -1, -1, -1, 0, 0, 0, 0, 0, 0, 0, 0, 0x500, 0x500, 0, 0, 0};
    for (size_t i = 0; i < std::size(cases); ++i) {
        const auto o = run(cases[i].second);
        EXPECT_EQ(o.result, unknown[i]) << cases[i].first;
        EXPECT_EQ(o.error, "") << cases[i].first;
        EXPECT_EQ(o.out, "") << cases[i].first;
    }
    EXPECT_EQ(DRIVE(ApiCudaOrdinal)(kUnknown, 0), 0);
    EXPECT_EQ(DRIVE(ApiOutputCudaOrdinal)(kUnknown), -1);
    EXPECT_FALSE(DRIVE(ApiSetBackgroundTexture)(kUnknown, 1));
    EXPECT_FALSE(DRIVE(ApiFreeGeometryBuffer)(kUnknown, 1, 0));
    EXPECT_FALSE(DRIVE(ApiSetupConstColor)(kUnknown, 1, {1, 1, 1}));
    EXPECT_FALSE(DRIVE(ApiSetupGeometryMaterial)(kUnknown, 1, 1));
    EXPECT_FALSE(DRIVE(ApiSetupDisplacementTexture)(kUnknown, 1, 1));
    EXPECT_EQ(DRIVE(ApiBreakLaunch)(kUnknown), -1);
    EXPECT_FALSE(DRIVE(ApiClearAccumulation)(kUnknown));
    EXPECT_FALSE(DRIVE(ApiSetSaveAlbedoState)(kUnknown, true));
    EXPECT_FALSE(DRIVE(ApiSetSaveNormalsState)(kUnknown, true));
    EXPECT_FALSE(DRIVE(ApiSetReadbackMode)(kUnknown, READBACK_RGBA8));
    EXPECT_FALSE(DRIVE(ApiUpdateVariables)(kUnknown, nullptr, nullptr, 9, nullptr, nullptr, 9, nullptr, nullptr, 9, nullptr, nullptr, 9, nullptr, nullptr, 9, nullptr, nullptr, 9));
    EXPECT_FALSE(DRIVE(ApiSetupLights)(kUnknown, nullptr, 9));
    EXPECT_EQ(DRIVE(ApiSetupCamera)(kUnknown, nullptr, {}, {}, {}, 1, 1, {}, 0, 0, 0, 0, 0, 0, false, nullptr, 9), 0u);
    EXPECT_FALSE(DRIVE(ApiUpdateCamera)(kUnknown));
    EXPECT_FALSE(DRIVE(ApiGetCameraGLock)(kUnknown, 1));
    EXPECT_FALSE(DRIVE(ApiSetCameraGLock)(kUnknown, 1, true));
    EXPECT_FALSE(DRIVE(ApiGetCameraEye)(kUnknown, 1, nullptr));
    EXPECT_FALSE(DRIVE(ApiGetCameraTarget)(kUnknown, 1, nullptr));
    EXPECT_FALSE(DRIVE(ApiGetCameraUp)(kUnknown, 1, nullptr));
    EXPECT_FALSE(DRIVE(ApiSetCameraEye)(kUnknown, 1, {}, true));
    EXPECT_FALSE(DRIVE(ApiSetCameraTarget)(kUnknown, 1, {}, true));
    EXPECT_FALSE(DRIVE(ApiSetCameraUp)(kUnknown, 1, {}, true));
    EXPECT_FALSE(DRIVE(ApiSetCameraFocus)(kUnknown, 1, 1, true));
    EXPECT_FALSE(DRIVE(ApiSetCameraFov)(kUnknown, 1, 1, true));
    EXPECT_FALSE(DRIVE(ApiSetCameraRxy)(kUnknown, 1, 1, true));
    EXPECT_FALSE(DRIVE(ApiSetCameraAperture)(kUnknown, 1, 1, true));
    EXPECT_FALSE(DRIVE(ApiSetCameraCxy)(kUnknown, 1, {}, true));
    EXPECT_FALSE(DRIVE(ApiRotateCameraEye)(kUnknown, 1, 1, 1, true));
    EXPECT_FALSE(DRIVE(ApiRotateCameraTarget)(kUnknown, 1, 1, 1, true));
    for (auto setter : {DRIVE(ApiSetPostprocTonemapGrayTexture), DRIVE(ApiSetPostprocTonemapRedTexture),
                        DRIVE(ApiSetPostprocTonemapGreenTexture), DRIVE(ApiSetPostprocTonemapBlueTexture),
                        DRIVE(ApiSetPostprocAddTexture), DRIVE(ApiSetPostprocMulTexture)})
        EXPECT_FALSE(setter(kUnknown, 1));
    DRIVE(ApiAddPostprocessing)(kUnknown, POSTPROC_DENOISER_LDR);
    DRIVE(ApiSetPostprocGamma)(kUnknown, 1, 1);
    DRIVE(ApiSetPostprocLevels)(kUnknown, nullptr, nullptr);
    DRIVE(ApiSetPostprocDenoiser)(kUnknown, OPTIX_DENOISER_INPUT_RGB, 0, 0);
    DRIVE(ApiReadHitPosAtPoint)(kUnknown, 0, 0, nullptr);
    DRIVE(ApiReadGeomIdAtPoint)(kUnknown, 0, 0, nullptr);

    // Output getters also give a null pointer and a zero size.
    using Getter = bool (*)(unsigned, void**, int*, char*);
    for (Getter get : {DRIVE(ApiGetRawOutputBuffer), DRIVE(ApiGetHitPosBuffer),
                       DRIVE(ApiGetIdBuffer), DRIVE(ApiGetAlbedoBuffer), DRIVE(ApiGetNormalBuffer)}) {
        void* data = &data;
        int size = 7;
        EXPECT_FALSE(get(kUnknown, &data, &size, nullptr));
        EXPECT_TRUE(data == nullptr && size == 0);
    }
    void* data = &data;
    unsigned size = 7;
    EXPECT_FALSE(DRIVE(ApiGetOutputBuffer)(kUnknown, &data, &size, nullptr));
    EXPECT_TRUE(data == nullptr && size == 0);
    size = 7;
    EXPECT_FALSE(DRIVE(ApiGetOutputBuffer2)(kUnknown, READBACK_RGBA8, &data, &size, nullptr));
    EXPECT_EQ(size, 0u);
}

TEST_F(Boundary, NullArgumentsAreRefusedByName)
{
    const unsigned g = unsigned(geometry);
    expectRefused([&](char* e) { return ApiSetupTexture(h, 4, 4, 4, 8, 0, nullptr, e); }, 0u, "data");
    expectRefused([&](char* e) { return ApiUpdateTexture(h, 1, 4, 4, nullptr, e); }, false, "data");
    expectRefused([&](char* e) {
        return ApiSetupMaterial(h, nullptr, kHit, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, 0, e);
    }, 0u, "radianceProgram");
    const char* names[] = {"flags", nullptr};
    unsigned values[] = {1, 2};
    expectRefused([&](char* e) {
        return ApiSetupMaterial(h, kHit, kHit, names, values, 2, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, 0, e);
    }, 0u, "uintNames[1]");
    expectRefused([&](char* e) {
        return ApiUpdateMaterial(h, material, nullptr, nullptr, 0, nullptr, nullptr, 1, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, 0, e);
    }, false, "floatNames");
    expectRefused([&](char* e) {
        return ApiUpdateMaterial(h, material, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 3, 0, e);
    }, false, "normalTextures");
    expectRefused([&](char* e) { return ApiSetupTrianglesGeometry(h, geoPrimitives0, nullptr, kSizes, 1, material, e); }, 0, "slots");
    expectRefused([&](char* e) { return ApiSetupBSplinesGeometry(h, geoBSplineLinear, kSlots, nullptr, 1, material, e); }, 0, "elementSizes");
    expectRefused([&](char* e) { return ApiSetupPrimitivesGeometry(h, geoDummy, nullptr, nullptr, nullptr, 0, material, e); }, 0, "intersectionProgram");
    expectRefused([&](char* e) { return ApiUploadGeometryMeshFaces(h, g, nullptr, 3, nullptr, 0, e); }, false, "vertices");
    expectRefused([&](char* e) { return ApiUploadGeometryMeshNormals(h, g, nullptr, 0, nullptr, 1, e); }, false, "normalIndices");
    expectRefused([&](char* e) { return ApiUploadGeometryMeshTexCoords(h, g, nullptr, 2, nullptr, 0, e); }, false, "texCoords");
    expectRefused([&](char* e) { return ApiUploadGeometryBSplineIdx(h, g, nullptr, 2, e); }, false, "segmentIndices");
    expectRefused([&](char* e) { return ApiUploadGeometryBuffers(h, g, 3, kSlots, nullptr, 1, e); }, false, "data");
    void* noData[] = {nullptr};
    expectRefused([&](char* e) { return ApiUploadGeometryBuffers(h, g, 3, kSlots, noData, 1, e); }, false, "data");
    expectRefused([&](char* e) { return ApiDownloadGeometryBuffer(h, g, 0, 3, nullptr, e); }, false, "destination");
    expectRefused([&](char* e) { return ApiSetMissProgram(h, nullptr, e); }, false, "program");

    // Output getters without a handler: false, the text in the buffer only.
    char error[kErrorSize];
    unsigned size = 7;
    EXPECT_FALSE(ApiGetOutputBuffer(h, nullptr, &size, error));
    EXPECT_STREQ(error, "data must not be null.");
    EXPECT_EQ(size, 0u);
    void* data = nullptr;
    EXPECT_FALSE(ApiGetIdBuffer(h, &data, nullptr, error));
    EXPECT_STREQ(error, "size must not be null.");
    ApiReadHitPosAtPoint(h, 0, 0, nullptr);
    ApiReadGeomIdAtPoint(h, 0, 0, nullptr);
    EXPECT_FALSE(ApiUpdateVariables(h, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 1, nullptr, nullptr, 0, nullptr, nullptr, 0));

    // Empty lists may be null; the calls then go through.
    EXPECT_TRUE(ApiUploadGeometryMeshFaces(h, g, nullptr, 0, nullptr, 0, nullptr));
    EXPECT_TRUE(ApiUploadGeometryBuffers(h, g, 0, nullptr, nullptr, 0, nullptr));

    // Creation refuses before it takes a handle, without printing.
    std::strcpy(error, "stale");
    testing::internal::CaptureStdout();
    EXPECT_EQ(DRIVE(ApiCreatePathTracer)(8, 8, READBACK_RGBA8, nullptr, nullptr, 1, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, 0, 0, error), 0u);
    EXPECT_STREQ(error, "intNames must not be null.");
    EXPECT_EQ(ApiCreatePathTracer(8, 8, READBACK_RGBA8, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, 2, 0, error), 0u);
    EXPECT_STREQ(error, "devices must not be null.");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(create().handle, h + 1) << "refused creations take no handle";
    EXPECT_TRUE(ApiDestroyPathTracer(h + 1, nullptr));

    // Calls without an instance.
    DRIVE(ApiSetupIncludeDir)(nullptr);
    DRIVE(ApiSetupLibraryDir)(nullptr);
    DRIVE(ApiSetupGpuArchitecture)(nullptr);
    DRIVE(ApiGpuArchitectureCfg)(nullptr);
    char arch[64] = "";
    ApiGpuArchitectureCfg(arch);
    EXPECT_STREQ(arch, "auto") << "null settings are ignored";
    EXPECT_EQ(DRIVE(ApiCompileToPtx)(nullptr, error), 1);
    EXPECT_STREQ(error, "file must not be null.");
    EXPECT_EQ(failure([] { DRIVE(createDirectory)(nullptr); }), "path must not be null.");
    EXPECT_FALSE(DRIVE(dirExists)(nullptr));
    EXPECT_GE(DRIVE(ApiGetDeviceCount)(), 1);
    EXPECT_EQ(DRIVE(ApiGpuArchitecture)(0xffffffffu), 0);
}

TEST_F(Boundary, EveryEnumerationValueIsHandled)
{
    char error[kErrorSize];
    // Geometry kinds outside the named values are stored as given, but custom
    // primitives need a kind whose bounding boxes the library computes.
    for (unsigned type : {0u, 9u, 13u, 16u, 126u, 128u, 999u, 0x7fffffffu, 0xffffffffu}) {
        printed([&] {
            EXPECT_EQ(ApiSetupPrimitivesGeometry(h, geoPrimirivesType(type), kIsec, kSlots, kSizes,
                                                 1, material, error),
                      0);
        });
        EXPECT_EQ(std::string(error), "Custom primitives of kind " + std::to_string(type) +
                                          " have no bounding boxes: the kinds are 1, 4, 5, 7, 8 and 127.");
        const int t = ApiSetupTrianglesGeometry(h, geoPrimirivesType(type), kSlots, kSizes, 1,
                                                material, error);
        EXPECT_GT(t, 0) << error;
    }
    // Readback modes are checked by the readback stage: an instance converts
    // into modes 0 to 4 only.
    for (int mode : {-1, 5, 6, 7, 0x7fffffff}) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(ApiCreatePathTracer(8, 8, mode, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, 0, 0, error), 0u);
        testing::internal::GetCapturedStdout();
        EXPECT_STREQ(error, "Readback mode not supported.") << mode;
    }
    EXPECT_FALSE(ApiSetReadbackMode(h, readbackMode(0xffffffffu)));
    void* data = nullptr;
    unsigned size = 7;
    EXPECT_TRUE(ApiGetOutputBuffer2(h, readbackMode(0x80000000u), &data, &size, error));
    EXPECT_TRUE(data == nullptr && size == 0);
}

// Each entry point with an error buffer empties a stale text when it succeeds.
TEST_F(Boundary, SuccessClearsAStaleError)
{
    const unsigned g = unsigned(geometry);
    trevix7_float3 v[3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    trevix7_uint3 f[1] = {{0, 1, 2}};
    trevix7_float2 uv[3] = {};
    unsigned segments[1] = {0};
    std::vector<unsigned char> pixels(4 * 4 * 4, 9);
    float out[9];
    void* data[] = {v};
    const unsigned extra = create().handle;
    int curves = 0, particles = 0;
    unsigned texture = 0;
    const std::pair<const char*, std::function<bool(char*)>> cases[] = {
        {"texture", [&](char* e) { return (texture = ApiSetupTexture(h, 4, 4, 4, 8, 0, pixels.data(), e)) != 0; }},
        {"update texture", [&](char* e) { return ApiUpdateTexture(h, texture, 4, 4, pixels.data(), e); }},
        {"material", [&](char* e) { return plainMaterial(h, e) != 0; }},
        {"update material", [&](char* e) { return ApiUpdateMaterial(h, material, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, 0, e); }},
        {"triangles", [&](char* e) { return mesh(h, material, e) > 0; }},
        {"curves", [&](char* e) { return (curves = ApiSetupBSplinesGeometry(h, geoBSplineLinear, kSlots, kSizes, 1, material, e)) > 0; }},
        {"primitives", [&](char* e) { return (particles = ApiSetupPrimitivesGeometry(h, geoParticleSet, kIsec, kSlots, kSizes, 1, material, e)) > 0; }},
        {"faces", [&](char* e) { return ApiUploadGeometryMeshFaces(h, g, v, 3, f, 1, e); }},
        {"normals", [&](char* e) { return ApiUploadGeometryMeshNormals(h, g, v, 3, f, 1, e); }},
        {"tex coords", [&](char* e) { return ApiUploadGeometryMeshTexCoords(h, g, uv, 3, f, 1, e); }},
        {"segments", [&](char* e) { return ApiUploadGeometryBSplineIdx(h, unsigned(curves), segments, 1, e); }},
        {"buffers", [&](char* e) { return ApiUploadGeometryBuffers(h, unsigned(particles), 3, kSlots, data, 1, e); }},
        {"download", [&](char* e) { return ApiDownloadGeometryBuffer(h, unsigned(particles), 0, 3, out, e); }},
        {"delete", [&](char* e) { return ApiDeleteGeometry(h, unsigned(particles), e); }},
        {"compile to ptx", [&](char* e) { return ApiCompileToPtx("dummy7_chit.cu", e) == 0; }},
        {"miss", [&](char* e) { return ApiSetMissProgram(h, "dummy7_miss.cu::__miss__dummy", e); }},
        {"resize", [&](char* e) { return ApiResize(h, 16, 8, e); }},
        {"output", [&](char* e) { void* d; unsigned n; return ApiGetOutputBuffer(h, &d, &n, e); }},
        {"destroy", [&](char* e) { return ApiDestroyPathTracer(extra, e); }},
    };
    for (const auto& c : cases) {
        const auto o = run(c.second);
        EXPECT_TRUE(o.result) << c.first;
        EXPECT_EQ(o.error, "") << c.first;
    }
}

// A failure inside any call is printed, copied into the error buffer where
// there is one, and returned as the call's failure value: nothing reaches the
// host as an exception.
TEST_F(Boundary, FailuresInsideCallsAreReportedNotThrown)
{
    auto camera = [&](const char* program, unsigned texture) {
        return ApiSetupCamera(h, program, {0, 0, 1}, {}, {0, 1, 0}, 45, 1, {}, 0, 0, 0, 0, 0, 0,
                              false, &texture, texture ? 1 : 0);
    };
    const unsigned plain = camera(kCamera, 0), badTexture = camera(kCamera, 9999),
                   noFile = camera("missing7.cu::__raygen__x", 0);
    ApiAddPostprocessing(h, POSTPROC_DENOISER_LDR);
    struct Case {
        const char* what;
        std::function<long(char*)> call;
        long failure;
        std::string message; // the beginning of it
        bool buffer;         // the call has an error buffer
        const char* out = nullptr; // what it prints, when not the message
        std::function<void()> before = [] {};
        std::function<void()> after = [] {};
    };
    const auto noMemory = [] {
        sim::setPinnedMemoryLimit(0);
        sim::setDeviceMemoryLimit(0, 0);
    };
    const auto memory = [&] {
        sim::setPinnedMemoryLimit(SIZE_MAX);
        sim::setDeviceMemoryLimit(0, size_t(1) << 30);
        EXPECT_TRUE(ApiResize(h, 64, 48, nullptr)) << "images back";
    };
    const Case cases[] = {
        {"compile without a camera", [&](char* e) { return long(ApiCompile(h, e)); }, 0,
         "No camera program: make a camera current before compiling.", true, "compile: pipelines failed.\n"},
        {"launch without a camera", [&](char* e) { return long(ApiLaunch(h, 1, 9, e)); }, 0x901,
         "No camera program: make a camera current before compiling.", true, "compile: pipelines failed.\n"},
        {"a second denoiser", [&](char*) { ApiAddPostprocessing(h, POSTPROC_DENOISER_HDR); return 0L; }, 0,
         "Denoiser already implemented!", false},
        {"an unknown stage texture", [&](char*) { return long(ApiSetPostprocTonemapGrayTexture(h, 9999)); }, 0,
         "TonemapGray texture not found.", false},
        {"an unknown overlay", [&](char*) { return long(ApiSetPostprocMulTexture(h, 9999)); }, 0,
         "Mul overlay texture not found.", false},
        {"a camera's missing program file", [&](char* e) { return long(ApiSetCurrentCamera(h, noFile, e)); }, 0,
         "ERROR: PathTracer(", true},
        {"a camera's missing texture", [&](char* e) { return long(ApiSetCurrentCamera(h, badTexture, e)); }, 0,
         "Camera texture 0 not found.", true},
        {"an update of it", [&](char*) { return long(ApiUpdateCamera(h)); }, 0,
         "Camera texture 0 not found.", false},
        {"a setter of it with update", [&](char*) { return long(ApiSetCameraFov(h, badTexture, 30, true)); }, 0,
         "Camera texture 0 not found.", false},
        {"a material's texture count", [&](char* e) {
             return long(ApiSetupMaterial(h, kHit, kHit, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, 1ul << 32, e));
         }, 0, "Texture count 4294967296 is above the largest a material holds (4294967295).", true},
        {"keeping normals without memory", [&](char*) { return long(ApiSetSaveNormalsState(h, true)); }, 0,
         "CUDA call (", false, nullptr, noMemory, memory},
        {"a readback mode without memory", [&](char*) { return long(ApiSetReadbackMode(h, READBACK_RGBA16)); }, 0,
         "CUDA call (", false, nullptr, noMemory, memory},
    };
    for (const Case& c : cases) {
        c.before();
        const auto o = run(c.call);
        c.after();
        EXPECT_EQ(o.result, c.failure) << c.what;
        if (c.out) {
            EXPECT_EQ(o.out, c.out) << c.what;
            EXPECT_EQ(o.error, c.message) << c.what;
            continue;
        }
        // The last line printed (allocation fall-backs may report before it;
        // CUDA messages end with a line end of their own).
        const std::string out = o.out.substr(0, o.out.find_last_not_of('\n') + 1);
        const std::string line = out.substr(out.rfind('\n') + 1);
        EXPECT_EQ(line.rfind(c.message, 0), 0u) << c.what << ": " << o.out;
        EXPECT_EQ(o.error.substr(0, o.error.find_last_not_of('\n') + 1), c.buffer ? line : "stale")
            << c.what;
    }
    EXPECT_TRUE(ApiSetCurrentCamera(h, plain, nullptr)) << "the instance works on";
    ASSERT_TRUE(ApiSetMissProgram(h, "dummy7_miss.cu::__miss__dummy", nullptr));
    EXPECT_EQ(ApiLaunch(h, 1, 9, nullptr), 0);
}

// A set-up whose CUDA calls fail part of the way releases what it had made.
TEST_F(Boundary, SetUpFailingHalfWayLeavesNothing)
{
    const sim::Counts before = sim::counts();
    std::vector<unsigned char> pixels(4 * 4 * 4, 1);
    char error[kErrorSize];
    struct Case {
        const char* function;
        unsigned after; // calls that succeed first
        std::function<bool()> setUp;
        const char* expected;
    };
    const Case cases[] = {
        {"cudaMemcpy2DToArrayAsync", 0,
         [&] { return ApiSetupTexture(h, 4, 4, 4, 8, 0, pixels.data(), error) != 0; },
         "CUDA call (cudaMemcpy2DToArrayAsync( cuda_array, 0, 0, data, m_pitch, m_pitch, m_height, cudaMemcpyHostToDevice, m_stream ) ) failed with error: 'invalid argument' (Texture.cpp:"},
        {"cudaMalloc", 2, [&] {
             const unsigned t[] = {1};
             return ApiSetupMaterial(h, kHit, kHit, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, t, 0, 4, error) != 0;
         }, "CUDA call (cudaMalloc( reinterpret_cast<void**>(&m_params.metalness_tex), n_bytes ) ) failed with error: 'out of memory' (Material.cpp:"},
        {"cudaMemcpyAsync", 3, [&] {
             return plainMaterial(h, error) != 0;
         }, "CUDA call (cudaMemcpyAsync( reinterpret_cast<void*>(m_params.normal_tex), normal_samplers.data(), n_bytes, cudaMemcpyHostToDevice, stream ) ) failed"},
    };
    const int results[] = {int(cudaErrorInvalidValue), int(cudaErrorMemoryAllocation),
                           int(cudaErrorInvalidValue)};
    for (size_t i = 0; i < std::size(cases); ++i) {
        sim::failNext(cases[i].function, results[i], cases[i].after);
        printed([&] { EXPECT_FALSE(cases[i].setUp()) << cases[i].function; });
        EXPECT_EQ(std::string(error).rfind(cases[i].expected, 0), 0u) << error;
        const sim::Counts now = sim::counts();
        EXPECT_EQ(now.deviceBytes, before.deviceBytes) << cases[i].function;
        EXPECT_EQ(now.arrays, before.arrays) << cases[i].function;
        EXPECT_EQ(now.textureObjects, before.textureObjects) << cases[i].function;
    }
}

// An exception inside the compilation comes back as its own code, with its text.
TEST_F(Boundary, CompileReportsWhatItCaught)
{
    sim::failNext("optixAccelBuild", OPTIX_ERROR_INVALID_VALUE);
    const auto o = run([&](char* e) { return ApiCompile(h, e); });
    EXPECT_EQ(o.result, 0x901);
    EXPECT_EQ(o.error.rfind("OPTIX_ERROR_INVALID_VALUE: Optix call 'optixAccelBuild(context, m_stream, &accel_options, ", 0), 0u) << o.error;
    EXPECT_NE(o.error.find("' failed: Geometry.cpp:"), std::string::npos) << o.error;
    EXPECT_EQ(o.out, o.error + "\n");
}

// Last: the library exports its interface only, and every exported function
// was driven above.
TEST(BoundaryCoverage, EveryExportedFunctionIsDriven)
{
    auto lines = [](FILE* in) {
        std::set<std::string> set;
        for (char line[512]; in && std::fgets(line, sizeof line, in);)
            if (line[0] != '\n')
                set.insert(std::string(line, std::strcspn(line, "\n")));
        return set;
    };
    FILE* list = std::fopen(TREVIX7_ENTRY_POINTS, "r");
    std::set<std::string> api = lines(list);
    std::fclose(list);
    ASSERT_EQ(api.size(), 79u);
    api.insert({"createDirectory", "dirExists"});
    FILE* nm = popen("nm -D --defined-only " TREVIX7_SIM_LIBRARY " | awk '$2 ~ /[TW]/ {print $3}'",
                     "r");
    const std::set<std::string> exported = lines(nm);
    pclose(nm);
    EXPECT_EQ(driven(), exported);
    for (const std::string& name : exported)
        EXPECT_TRUE(api.count(name)) << name << " is exported but is not part of the interface";
}

} // namespace
