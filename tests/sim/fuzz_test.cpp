// The whole exported interface under random and adversarial calls: unknown,
// zero and destroyed handles, null pointers, out-of-range enumerations, huge
// and zero sizes and counts, NaN and infinities, ids of other instances. A
// fixed seed (TREVIX7_FUZZ_SEED overrides it) and a bounded number of calls
// and seconds. Run under ASan and UBSan in CI: nothing may crash or be
// reported, and once every instance is destroyed nothing may be left on the
// books. Host arrays always hold what their counts say, as the interface
// requires; counts beyond them come with null pointers.

#include "support.h"

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <random>
#include <vector>

using namespace t7test;

namespace {

class Fuzz : public BooksAtZero {
protected:
    std::mt19937 rng{seed()};

    static unsigned seed()
    {
        const char* s = std::getenv("TREVIX7_FUZZ_SEED");
        return s ? unsigned(std::strtoul(s, nullptr, 10)) : 20261123u;
    }
    unsigned below(unsigned n) { return n ? unsigned(rng() % n) : 0; }
    bool chance(unsigned percent) { return below(100) < percent; }
    template <typename T> T pick(std::initializer_list<T> values)
    {
        return *(values.begin() + below(unsigned(values.size())));
    }
    template <typename T> T pickFrom(const std::vector<T>& values, T otherwise)
    {
        return values.empty() || chance(15) ? otherwise : values[below(unsigned(values.size()))];
    }

    // Handles: live, destroyed, never made.
    unsigned handle()
    {
        if (!live.empty() && chance(85))
            return live[below(unsigned(live.size()))];
        return pick<unsigned>({0u, 0xdeadu, dead.empty() ? 7u : dead.back(), 0xffffffffu});
    }
    unsigned id(const std::vector<unsigned>& known)
    {
        return pickFrom(known, pick<unsigned>({0u, 1u, 4242u, 0xffffffffu}));
    }
    float number()
    {
        switch (below(8)) {
        case 0: return NAN;
        case 1: return pick({INFINITY, -INFINITY});
        case 2: return 0.0f;
        case 3: return pick({1e30f, -1e30f, 1e-30f});
        default: return std::uniform_real_distribution<float>(-4, 4)(rng);
        }
    }
    trevix7_float3 vec3() { return {number(), number(), number()}; }
    // A count of host elements, and whether the array may hold it (else the
    // pointer passed is null).
    unsigned count(unsigned capacity, bool& fits)
    {
        const unsigned n = chance(10) ? pick<unsigned>({1u << 20, 0x7fffffffu, 0xffffffffu})
                                      : below(capacity + 1);
        fits = n <= capacity;
        return n;
    }
    template <typename T> T* array(bool fits)
    {
        return fits && chance(95) ? reinterpret_cast<T*>(pool.data()) : nullptr;
    }
    unsigned slot() { return below(7); } // 7 and above are a programming error (an assertion)
    unsigned elementSize() { return pick<unsigned>({0u, 4u, 8u, 12u, 16u}); }
    const char* program(const char* good)
    {
        return chance(90) ? good : pick<const char*>({nullptr, "", "dummy7_chit.cu", "::f", "missing.cu::f", "dummy7_chit.cu::__nothing__"});
    }
    unsigned create(unsigned width, unsigned height)
    {
        const unsigned devices[] = {0, 0, 1, 7};
        const unsigned n = below(4);
        char error[kErrorSize];
        const unsigned h = ApiCreatePathTracer(width, height, int(below(8)) - 1, nullptr, nullptr, 0,
                                               nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr,
                                               nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0,
                                               n ? devices : nullptr, n, int(below(5)), error);
        if (!h)
            return 0;
        live.push_back(h);
        // Most instances can launch, so that calls reach what launches use.
        if (chance(80)) {
            const unsigned c = ApiSetupCamera(h, kCamera, {0, 0, 1}, {}, {0, 1, 0}, 45, 1, {}, 0, 0,
                                              0, 0, 0, 0, false, nullptr, 0);
            cameras.push_back(c);
            ApiSetCurrentCamera(h, c, nullptr);
            ApiSetMissProgram(h, "dummy7_miss.cu::__miss__dummy", nullptr);
        }
        return h;
    }

    std::vector<unsigned> live, dead, textures, materials, geometries, cameras;
    std::vector<unsigned char> pool = std::vector<unsigned char>(1 << 16, 0x3f);
};

TEST_F(Fuzz, RandomAndAdversarialCallsCrashNothingAndLeakNothing)
{
    ApiSetupLibraryDir(TREVIX7_BUILD_DIR);
    const int calls = 12000;
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    char error[kErrorSize];
    bool fits = false, fits2 = false;
    // One entry per kind of call; each draws its own arguments.
    const std::vector<std::function<void()>> actions = {
        [&] { if (live.size() < 3) create(pick<unsigned>({0u, 1u, 3u, 16u, 33u, 100000u}), pick<unsigned>({0u, 1u, 2u, 9u, 24u, 0xffffffffu})); },
        [&] {
            const unsigned h = handle();
            if (ApiDestroyPathTracer(h, chance(50) ? error : nullptr)) {
                live.erase(std::find(live.begin(), live.end(), h));
                dead.push_back(h);
            }
        },
        [&] { ApiGetDeviceCount(); ApiGpuArchitecture(below(4)); ApiCudaOrdinal(handle(), below(3)); ApiOutputCudaOrdinal(handle()); },
        [&] { ApiCompile(handle(), error); },
        [&] { ApiLaunch(handle(), below(3), pick<unsigned>({0u, 1u, 5u, 0xffffffffu}), error); },
        [&] { ApiBreakLaunch(handle()); ApiClearAccumulation(handle()); },
        [&] { ApiResize(handle(), pick<unsigned>({0u, 1u, 7u, 32u, 65536u, 0xfffffffeu}), pick<unsigned>({0u, 1u, 5u, 24u, 65537u, 0xffffffffu}), error); },
        [&] {
            const char* names[] = {"scene_epsilon", "tonemap_gamma", "denoiser_kind", "bg_color", "path_seg_range", "nonsense"};
            float floats[6] = {number(), number(), number(), number(), number(), number()};
            int ints[6] = {int(rng()), 3, 7, -1, 0, 9};
            trevix7_float3 f3[6] = {vec3(), vec3(), vec3(), vec3(), vec3(), vec3()};
            trevix7_uint2 u2[6] = {{unsigned(rng()), unsigned(rng())}, {0, 0}, {2, 6}, {1, 1}, {0xffffffffu, 0}, {3, 2}};
            ApiUpdateVariables(handle(), chance(95) ? names : nullptr, ints, below(7), names + 4, reinterpret_cast<unsigned*>(ints), below(3),
                               names + 4, u2, below(3), names, floats, below(7), nullptr, nullptr, chance(90) ? 0 : 2, names, f3, below(7));
        },
        [&] { ApiSetSaveAlbedoState(handle(), chance(50)); ApiSetSaveNormalsState(handle(), chance(50)); },
        [&] { ApiSetMissProgram(handle(), program("dummy7_miss.cu::__miss__dummy"), error); },
        [&] {
            const unsigned n = count(unsigned(pool.size() / 80), fits);
            if (fits)
                for (unsigned i = 0; i < n; ++i) // types 0 to 6, the rest of the record random
                    pool[i * 80] = (unsigned char)below(7);
            ApiSetupLights(handle(), array<LightData>(fits), n);
        },
        [&] {
            const int w = pick<int>({-1, 0, 1, 2, 4, 1 << 30}), h = pick<int>({-3, 0, 1, 3, 4});
            const int channels = pick<int>({0, 1, 2, 3, 4, 5}), bits = pick<int>({0, 8, 12, 16, 32});
            const bool small = w > 0 && h > 0 && w <= 4 && h <= 4;
            const unsigned t = ApiSetupTexture(handle(), w, h, channels, bits, int(below(6)) - 1, small ? pool.data() : nullptr, error);
            if (t)
                textures.push_back(t);
        },
        [&] { const int w = pick<int>({0, 2, 4, -1}), h = pick<int>({0, 2, 4}); ApiUpdateTexture(handle(), id(textures), w, h, w > 0 && h > 0 ? pool.data() : nullptr, error); },
        [&] { ApiSetBackgroundTexture(handle(), id(textures)); ApiSetupDisplacementTexture(handle(), id(geometries), id(textures)); },
        [&] {
            unsigned slots[4], sizes[4];
            const unsigned n = below(5);
            for (unsigned i = 0; i < n; ++i) {
                slots[i] = slot();
                sizes[i] = elementSize();
            }
            const unsigned type = pick<unsigned>({0u, 1u, 4u, 5u, 7u, 8u, 9u, 11u, 12u, 13u, 14u, 15u, 127u, 999u});
            const unsigned h = handle(), m = id(materials);
            int g = 0;
            switch (below(3)) {
            case 0: g = ApiSetupTrianglesGeometry(h, geoPrimirivesType(type), chance(95) ? slots : nullptr, sizes, n, m, error); break;
            case 1: g = ApiSetupBSplinesGeometry(h, geoPrimirivesType(type), slots, chance(95) ? sizes : nullptr, n, m, error); break;
            default: g = ApiSetupPrimitivesGeometry(h, geoPrimirivesType(type), program(kIsec), slots, sizes, n, m, error); break;
            }
            if (g > 0)
                geometries.push_back(unsigned(g));
        },
        [&] {
            const unsigned nv = count(pool.size() / 12, fits), nf = count(pool.size() / 12, fits2);
            ApiUploadGeometryMeshFaces(handle(), id(geometries), array<trevix7_float3>(fits), nv, array<trevix7_uint3>(fits2), nf, error);
        },
        [&] {
            const unsigned n = count(pool.size() / 12, fits), ni = count(pool.size() / 12, fits2);
            ApiUploadGeometryMeshNormals(handle(), id(geometries), array<trevix7_float3>(fits), n, array<trevix7_uint3>(fits2), ni, error);
        },
        [&] {
            const unsigned n = count(pool.size() / 8, fits), ni = count(pool.size() / 12, fits2);
            ApiUploadGeometryMeshTexCoords(handle(), id(geometries), array<trevix7_float2>(fits), n, array<trevix7_uint3>(fits2), ni, error);
        },
        [&] { const unsigned n = count(pool.size() / 4, fits); ApiUploadGeometryBSplineIdx(handle(), id(geometries), array<unsigned>(fits), n, error); },
        [&] {
            // Element sizes are at most 16 bytes: 4096 elements fit in the pool.
            const unsigned n = count(pool.size() / 16, fits);
            unsigned slots[3] = {slot(), slot(), slot()};
            void* data[3] = {array<void>(fits), array<void>(fits), array<void>(fits)};
            ApiUploadGeometryBuffers(handle(), id(geometries), n, chance(95) ? slots : nullptr, chance(95) ? data : nullptr, below(4), error);
        },
        [&] { ApiDownloadGeometryBuffer(handle(), pick<unsigned>({0u, 4242u}), below(9), below(5), pool.data(), error); },
        [&] { ApiFreeGeometryBuffer(handle(), id(geometries), slot()); },
        [&] { ApiDeleteGeometry(handle(), id(geometries), error); },
        [&] { ApiSetupConstColor(handle(), id(geometries), vec3()); ApiSetupGeometryMaterial(handle(), id(geometries), id(materials)); },
        [&] {
            const char* names[] = {"flags", "base_roughness", "base_color", "refraction_index"};
            unsigned flags[] = {unsigned(rng()), 2u};
            float floats[] = {number(), number()};
            trevix7_float3 f3[] = {vec3(), vec3()};
            trevix7_float4 f4[] = {{number(), number(), number(), number()}};
            unsigned ids[3] = {id(textures), id(textures), id(textures)};
            const unsigned long texCount = pick<unsigned long>({0ul, 1ul, 3ul, 1ul << 32});
            const unsigned h = handle();
            if (chance(60)) {
                const unsigned m = ApiSetupMaterial(h, program(kHit), program(kHit), names, flags, below(2), names + 1, floats, below(2), names + 2, f3, below(3), names + 2, f4, below(2),
                                                    ids, below(4), ids, below(2), chance(95) ? ids : nullptr, below(2), ids, below(4), texCount, error);
                if (m)
                    materials.push_back(m);
            } else {
                ApiUpdateMaterial(h, id(materials), names, flags, below(2), names + 1, floats, below(2), nullptr, nullptr, chance(95) ? 0 : 1, names + 2, f4, below(2),
                                  ids, below(4), ids, below(2), ids, below(2), ids, below(4), texCount, error);
            }
        },
        [&] {
            unsigned ids[2] = {id(textures), id(textures)};
            const unsigned c = ApiSetupCamera(handle(), program(kCamera), vec3(), vec3(), vec3(), number(), number(), {number(), number()}, number(),
                                              number(), number(), number(), number(), number(), chance(50), chance(95) ? ids : nullptr, below(3));
            if (c)
                cameras.push_back(c);
        },
        [&] { ApiSetCurrentCamera(handle(), id(cameras), chance(50) ? error : nullptr); ApiUpdateCamera(handle()); },
        [&] {
            const unsigned h = handle(), c = id(cameras);
            trevix7_float3 out;
            ApiGetCameraGLock(h, c);
            ApiSetCameraGLock(h, c, chance(50));
            ApiGetCameraEye(h, c, chance(90) ? &out : nullptr);
            ApiGetCameraTarget(h, c, &out);
            ApiGetCameraUp(h, c, &out);
        },
        [&] {
            const unsigned h = handle(), c = id(cameras);
            switch (below(9)) {
            case 0: ApiSetCameraEye(h, c, vec3(), chance(50)); break;
            case 1: ApiSetCameraTarget(h, c, vec3(), chance(50)); break;
            case 2: ApiSetCameraUp(h, c, vec3(), chance(50)); break;
            case 3: ApiSetCameraFocus(h, c, number(), chance(50)); break;
            case 4: ApiSetCameraFov(h, c, number(), chance(50)); break;
            case 5: ApiSetCameraRxy(h, c, number(), chance(50)); break;
            case 6: ApiSetCameraAperture(h, c, number(), chance(50)); break;
            case 7: ApiSetCameraCxy(h, c, {number(), number()}, chance(50)); break;
            default: (chance(50) ? ApiRotateCameraEye : ApiRotateCameraTarget)(h, c, number(), number(), chance(50)); break;
            }
        },
        [&] { ApiSetReadbackMode(handle(), readbackMode(int(below(9)) - 1)); ApiReadbackCudaPtr(handle(), error); },
        [&] {
            void* data = nullptr;
            unsigned size = 0;
            int isize = 0;
            const unsigned h = handle();
            ApiGetOutputBuffer(h, chance(95) ? &data : nullptr, &size, error);
            ApiGetOutputBuffer2(h, readbackMode(int(below(9)) - 1), &data, chance(95) ? &size : nullptr, error);
            using Getter = bool (*)(unsigned, void**, int*, char*);
            const Getter getters[] = {ApiGetRawOutputBuffer, ApiGetHitPosBuffer, ApiGetIdBuffer, ApiGetAlbedoBuffer, ApiGetNormalBuffer};
            getters[below(5)](h, &data, &isize, error);
            // Whatever a getter hands out is readable to its last byte.
            if (data && isize > 0)
                std::vector<unsigned char>(static_cast<unsigned char*>(data), static_cast<unsigned char*>(data) + isize);
        },
        [&] {
            trevix7_float4 hit;
            unsigned ids[4];
            const unsigned x = pick<unsigned>({0u, 3u, 31u, 0xffffffffu}), y = pick<unsigned>({0u, 5u, 47u, 0x80000000u});
            ApiReadHitPosAtPoint(handle(), x, y, chance(95) ? &hit : nullptr);
            ApiReadGeomIdAtPoint(handle(), x, y, chance(95) ? ids : nullptr);
        },
        [&] { ApiAddPostprocessing(handle(), postprocAlgorithm(pick<int>({-1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 1000}))); },
        [&] {
            const trevix7_float3 low = vec3(), high = vec3();
            ApiSetPostprocGamma(handle(), number(), number());
            ApiSetPostprocLevels(handle(), chance(95) ? &low : nullptr, &high);
            ApiSetPostprocDenoiser(handle(), OptixDenoiserInputKind(pick<int>({0, 1, 3, 7, 0x2701, -1})), number(), below(8));
        },
        [&] {
            using Setter = bool (*)(unsigned, unsigned);
            const Setter setters[] = {ApiSetPostprocTonemapGrayTexture, ApiSetPostprocTonemapRedTexture, ApiSetPostprocTonemapGreenTexture,
                                      ApiSetPostprocTonemapBlueTexture, ApiSetPostprocAddTexture, ApiSetPostprocMulTexture};
            setters[below(6)](handle(), id(textures));
        },
        [&] {
            char arch[64];
            ApiSetupIncludeDir(chance(50) ? "/tmp" : nullptr);
            ApiSetupGpuArchitecture(pick<const char*>({nullptr, "auto", "sm_90", ""}));
            ApiGpuArchitectureCfg(chance(90) ? arch : nullptr);
            ApiCompileToPtx(program("dummy7_chit.cu"), error);
            ApiSetupLibraryDir(chance(90) ? TREVIX7_BUILD_DIR : "/nonexistent");
        },
    };
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    int done = 0;
    for (; done < calls && std::chrono::steady_clock::now() < until; ++done) {
        if (live.empty())
            create(16, 8);
        actions[below(unsigned(actions.size()))]();
    }
    while (!live.empty()) {
        EXPECT_TRUE(ApiDestroyPathTracer(live.back(), nullptr));
        live.pop_back();
    }
    testing::internal::GetCapturedStderr();
    testing::internal::GetCapturedStdout();
    ApiSetupLibraryDir(TREVIX7_BUILD_DIR);
    ApiSetupGpuArchitecture("auto");
    std::printf("%d calls of seed %u\n", done, seed());
    EXPECT_GT(done, 1000) << "enough calls within the time";
}

} // namespace
