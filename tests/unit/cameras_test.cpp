// Cameras, the trackball and lights: the blend value and the trackball's
// arithmetic on the host, then the camera frame and the lights through the
// entry points into the launch parameters of two simulated devices (860, 860).

#include "core/PathTracer.h"
#include "support.h"

#include <cmath>
#include <cstring>

PathTracer* findPathTracer(unsigned int handle);

namespace {

using namespace t7test;

void expectNear(float3 a, float3 b, const char* what)
{
    EXPECT_NEAR(a.x, b.x, 1e-5f) << what;
    EXPECT_NEAR(a.y, b.y, 1e-5f) << what;
    EXPECT_NEAR(a.z, b.z, 1e-5f) << what;
}

bool same(float3 a, float3 b) { return a.x == b.x && a.y == b.y && a.z == b.z; }

// Looking from (0, 0, 5) at the origin, up +y, 60 degrees, square.
Camera lookAt(bool glock)
{
    Camera c{};
    c.eye = make_float3(0, 0, 5);
    c.target = make_float3(0, 0, 0);
    c.up = make_float3(0, 1, 0);
    c.fov = 60;
    c.rxy = 1;
    c.aspect = 1;
    c.setGLock(glock);
    return c;
}

TEST(CameraFrame, LensValueFourInsideZeroToOneIsTheBlendElseTheExactMean)
{
    const float cases[][2] = {{0.25f, 0.25f}, {0.999f, 0.999f}, {0.0f, 1.0f}, {1.0f, 1.0f},
                              {1.5f, 1.0f},   {-0.5f, 1.0f},    {NAN, 1.0f}};
    for (const auto& c : cases) {
        Camera camera{};
        camera.lens4 = c[0];
        EXPECT_EQ(camera.blend(), c[1]) << c[0];
    }
}

// A trackball on the camera of lookAt: U = +x, V = +z (target to eye), W = +y.
struct Tracked {
    explicit Tracked(bool glock) : camera(lookAt(glock))
    {
        ball.setCamera(&camera);
        ball.reinitOrientationFromCamera();
    }
    Camera camera;
    Trackball ball;
};

TEST(Trackball, DragsStopShortOfThePoleAndUpFollowsThemOnlyWithoutGLock)
{
    Tracked t(true);
    t.ball.updateTracking(0, 400, 640, 480);
    EXPECT_FLOAT_EQ(t.ball.latitude(), 1.553343f) << "clamped to 89 degrees";
    const float3 eye = t.camera.eye;
    expectNear(eye, make_float3(0, 5 * std::sin(1.553343f), 5 * std::cos(1.553343f)), "eye");
    t.ball.updateTracking(0, 400, 640, 480);
    EXPECT_TRUE(same(t.camera.eye, eye) && eye.z > 0) << "no flip over the pole";
    EXPECT_TRUE(same(t.camera.up, make_float3(0, 1, 0))) << "GLock keeps up";

    t.ball.updateTracking(0, -1000, 0, 0);
    EXPECT_FLOAT_EQ(t.ball.latitude(), -1.553343f);

    // Longitude goes through fmod, keeping the sign: 400 degrees wrap to 40,
    // 40 - 380 stays -340, and -10 stays -10, not 350.
    Tracked l(true);
    l.ball.updateTracking(-800, 0, 0, 0);
    EXPECT_NEAR(l.ball.longitude(), 40 * M_PI / 180, 1e-5);
    l.ball.updateTracking(760, 0, 0, 0);
    EXPECT_NEAR(l.ball.longitude(), -340 * M_PI / 180, 1e-5);
    l.ball.updateTracking(-660, 0, 0, 0);
    EXPECT_NEAR(l.ball.longitude(), -10 * M_PI / 180, 1e-5);
    expectNear(l.camera.eye, make_float3(5 * std::sin(-10 * M_PI / 180), 0, 5 * std::cos(10 * M_PI / 180)), "eye");

    // Without GLock up turns with the view and the next drag starts from it.
    Tracked f(false);
    f.ball.updateTracking(0, 60, 0, 0); // 30 degrees up
    const float s = 0.5f, c = std::sqrt(3.0f) / 2;
    expectNear(f.camera.eye, make_float3(0, 5 * s, 5 * c), "eye");
    expectNear(f.camera.up, make_float3(0, c, -s), "up");
    EXPECT_EQ(f.ball.latitude(), 0.0f);

    // Mode 0 turns the target around a fixed eye.
    Tracked m(true);
    m.ball.setMode(0);
    m.ball.updateTracking(0, 60, 0, 0);
    EXPECT_TRUE(same(m.camera.eye, make_float3(0, 0, 5)));
    expectNear(m.camera.target, make_float3(0, -5 * s, 5 - 5 * c), "target");
}

TEST(Trackball, ZoomMovesAndRolls)
{
    struct Case {
        const char* what;
        void (*apply)(Trackball&);
        float3 eye, target, up;
    };
    const float3 o = {0, 0, 0}, y = {0, 1, 0};
    const Case cases[] = {
        {"zoom(1)", [](Trackball& b) { b.zoom(1); EXPECT_FLOAT_EQ(b.distance(), 5 / 1.1f); }, {0, 0, 5 / 1.1f}, o, y},
        {"zoom(0)", [](Trackball& b) { b.zoom(0); }, {0, 0, 5 * 1.1f}, o, y},
        {"wheel(-3)", [](Trackball& b) { EXPECT_TRUE(b.wheelEvent(-3)); }, {0, 0, 5 * 1.1f}, o, y},
        {"forward", [](Trackball& b) { b.moveForward(2); }, {0, 0, 3}, {0, 0, -2}, y},
        {"backward", [](Trackball& b) { b.moveBackward(2); }, {0, 0, 7}, {0, 0, 2}, y},
        {"left", [](Trackball& b) { b.moveLeft(1); }, {-1, 0, 5}, {-1, 0, 0}, y},
        {"right", [](Trackball& b) { b.moveRight(1); }, {1, 0, 5}, {1, 0, 0}, y},
        {"up", [](Trackball& b) { b.moveUp(1); }, {0, 1, 5}, y, y},
        {"down", [](Trackball& b) { b.moveDown(1); }, {0, -1, 5}, {0, -1, 0}, y},
        {"roll left 90", [](Trackball& b) { b.rollLeft(90); }, {0, 0, 5}, o, {-1, 0, 0}},
        {"roll right 90", [](Trackball& b) { b.rollRight(90); }, {0, 0, 5}, o, {1, 0, 0}},
    };
    for (const Case& c : cases) {
        Tracked t(true);
        c.apply(t.ball);
        expectNear(t.camera.eye, c.eye, c.what);
        expectNear(t.camera.target, c.target, c.what);
        expectNear(t.camera.up, c.up, c.what);
    }
    // The reference frame gives the angles of the eye seen from the target.
    Tracked t(true);
    t.camera.eye = make_float3(0, 5, 5);
    t.ball.setReferenceFrame(make_float3(1, 0, 0), make_float3(0, 0, 1), make_float3(0, 1, 0));
    EXPECT_NEAR(t.ball.latitude(), M_PI / 4, 1e-6);
    EXPECT_NEAR(t.ball.longitude(), 0, 1e-6);
}

// An instance on two devices with a 640 x 480 output and the miss program.
class Cameras : public InstanceTest {
protected:
    void SetUp() override
    {
        InstanceTest::SetUp();
        if (HasFatalFailure())
            return;
        ASSERT_TRUE(ApiResize(h, 640, 480, nullptr));
        ASSERT_TRUE(ApiSetMissProgram(h, "dummy7_miss.cu::__miss__dummy", nullptr));
        pt = findPathTracer(h);
        ASSERT_EQ(pt->states().size(), 2u);
    }
    unsigned camera(const char* program = kCamera, std::vector<unsigned> textures = {},
                    float lens4 = 0.6f, bool glock = false)
    {
        return ApiSetupCamera(h, program, {0, 0, 5}, {0, 0, 0}, {0, 1, 0}, 60, 1, {0.25f, -0.5f},
                              0.2f, 0.1f, 0.3f, 0.4f, 0.5f, lens4, glock, textures.data(),
                              unsigned(textures.size()));
    }
    PathTracer* pt = nullptr;
};

TEST_F(Cameras, TheCurrentCameraReachesEveryCameraFieldOfEveryDevice)
{
    const unsigned id = camera();
    ASSERT_NE(id, 0u);
    EXPECT_TRUE(ApiSetCurrentCamera(h, id, nullptr));
    EXPECT_EQ(ApiLaunch(h, 1, 10, nullptr), 0);

    const float half = float(std::tan(M_PI / 6) * 5);
    const auto launches = sim::records().launches;
    ASSERT_GE(launches.size(), 2u);
    for (size_t d = 0; d < 2; ++d) {
        // What the device read at the launch.
        const Params& p = launches[launches.size() - 2 + d].params;
        expectNear(p.U, make_float3(half * 4 / 3, 0, 0), "U");
        expectNear(p.V, make_float3(0, half, 0), "V");
        EXPECT_TRUE(same(p.eye, make_float3(0, 0, 5)) && same(p.W, make_float3(0, 0, -5)) &&
                    same(p.nU, make_float3(-1, 0, 0)) && same(p.nV, make_float3(0, -1, 0)) &&
                    same(p.nW, make_float3(0, 0, 1)));
        EXPECT_FLOAT_EQ(p.fov, float(M_PI / 3));
        EXPECT_TRUE(p.center.x == 0.25f && p.center.y == -0.5f && p.lens1 == 0.1f &&
                    p.aperture == 0.2f && p.focus_distance == 0.3f && p.lens2 == 0.4f &&
                    p.lens3 == 0.5f && p.camera_tex0 == 0 && p.camera_tex1 == 0);
    }

    // A degenerate view publishes NaN axes and nothing fails.
    EXPECT_TRUE(ApiSetCameraTarget(h, id, {0, 0, 5}, true));
    EXPECT_TRUE(std::isnan(pt->states()[1].params.U.x) && std::isnan(pt->states()[1].params.nW.z));
    EXPECT_TRUE(ApiSetCameraTarget(h, id, {0, 0, 0}, false) && ApiSetCameraRxy(h, id, 0, true));
    EXPECT_TRUE(std::isinf(pt->states()[0].params.U.x));
}

TEST_F(Cameras, SwitchingCamerasSwitchesProgramsOnlyByName)
{
    const unsigned a = camera(), b = camera(), c = camera("dummy7_camera.cu::__raygen__other");
    EXPECT_TRUE(b == a + 1 && c == a + 2);
    EXPECT_EQ(pt->currentCamera(), 0u) << "set-up does not make a camera current";
    EXPECT_FALSE(ApiUpdateCamera(h)) << "no current camera";
    EXPECT_TRUE(ApiSetCurrentCamera(h, a, nullptr));
    EXPECT_EQ(ApiLaunch(h, 2, 10, nullptr), 0);
    EXPECT_FALSE(pt->pipelineDirty());

    char error[kErrorSize] = "stale";
    EXPECT_TRUE(ApiSetCurrentCamera(h, a, error));
    EXPECT_STREQ(error, "");
    EXPECT_EQ(pt->accumFrames(), 2u) << "the current camera is not published again";
    EXPECT_TRUE(ApiSetCurrentCamera(h, b, nullptr));
    EXPECT_EQ(pt->accumFrames(), 0u);
    EXPECT_FALSE(pt->pipelineDirty()) << "the same program";
    EXPECT_FLOAT_EQ(pt->trackball().speed(), 10.0f);
    EXPECT_TRUE(ApiSetCurrentCamera(h, c, nullptr));
    EXPECT_TRUE(pt->pipelineDirty() && pt->cameraDirty() && pt->currentCamera() == c);

    // A program name without "::" switches the camera all the same; it
    // changes no program.
    const unsigned bad = camera("dummy7_camera.cu");
    EXPECT_TRUE(ApiSetCurrentCamera(h, bad, nullptr));
    EXPECT_EQ(pt->currentCamera(), bad);
    EXPECT_TRUE(pt->pipelineDirty());

    // Ids are process-wide.
    const Created other = create();
    EXPECT_EQ(ApiSetupCamera(other.handle, kCamera, {}, {0, 0, -1}, {0, 1, 0}, 45, 1, {}, 0, 0, 0,
                             0, 0, 0, false, nullptr, 0),
              bad + 1);
    EXPECT_TRUE(ApiDestroyPathTracer(other.handle, nullptr));
}

// Drags move the camera the trackball is attached to, whichever id they
// name: with GLock the latitude limit then holds over every drag, and a drag
// naming another camera cannot re-base the trackball to pass over the pole.
TEST_F(Cameras, DragsStayOnTheAttachedCamera)
{
    const unsigned a = camera(), b = camera();
    ASSERT_TRUE(ApiSetCameraGLock(h, a, true));
    ASSERT_TRUE(ApiSetCurrentCamera(h, a, nullptr));
    trevix7_float3 bEye;
    ASSERT_TRUE(ApiGetCameraEye(h, b, &bEye));
    for (unsigned id : {a, b, a})
        ASSERT_TRUE(ApiRotateCameraEye(h, id, 0, 100, true));
    trevix7_float3 eye, target, now;
    ASSERT_TRUE(ApiGetCameraEye(h, a, &eye) && ApiGetCameraTarget(h, a, &target));
    const float3 d = t7_normalize(make_float3(eye.x - target.x, eye.y - target.y, eye.z - target.z));
    EXPECT_NEAR(std::asin(std::fabs(t7_dot(d, make_float3(0, 1, 0)))) * 180 / 3.14159265358979, 89.0, 1e-3)
        << "stopped at the pole after 150 degrees of drags";
    ASSERT_TRUE(ApiGetCameraEye(h, b, &now));
    EXPECT_TRUE(now.x == bEye.x && now.y == bEye.y && now.z == bEye.z) << "b never moved";
}

TEST_F(Cameras, SettersGettersAndTheUpdateFlag)
{
    const unsigned id = camera(kCamera, {}, 0, true);
    constexpr unsigned kNone = 4000000;
    trevix7_float3 out = {7, 7, 7};
    EXPECT_FALSE(ApiGetCameraEye(h, kNone, &out) || ApiGetCameraTarget(h, kNone, &out) ||
                 ApiGetCameraUp(h, kNone, &out));
    EXPECT_TRUE(out.x == 7 && out.y == 7 && out.z == 7) << "untouched";
    EXPECT_FALSE(ApiGetCameraEye(h, id, nullptr));
    EXPECT_TRUE(!ApiGetCameraGLock(h, kNone) && ApiGetCameraGLock(h, id));
    EXPECT_FALSE(ApiSetCurrentCamera(h, kNone, nullptr));
    EXPECT_EQ(ApiSetupCamera(h, nullptr, {}, {}, {}, 1, 1, {}, 0, 0, 0, 0, 0, 0, false, nullptr, 0), 0u);
    EXPECT_EQ(ApiSetupCamera(h, kCamera, {}, {}, {}, 1, 1, {}, 0, 0, 0, 0, 0, 0, false, nullptr, 2), 0u);

    // Each setter: false for an unknown id; with the flag, the update's result.
    using Setter = std::function<bool(unsigned, bool)>;
    const std::pair<const char*, Setter> setters[] = {
        {"eye", [&](unsigned c, bool u) { return ApiSetCameraEye(h, c, {0, 0, 4}, u); }},
        {"target", [&](unsigned c, bool u) { return ApiSetCameraTarget(h, c, {0, 0, -1}, u); }},
        {"up", [&](unsigned c, bool u) { return ApiSetCameraUp(h, c, {0, 2, 0}, u); }},
        {"focus", [&](unsigned c, bool u) { return ApiSetCameraFocus(h, c, 9, u); }},
        {"fov", [&](unsigned c, bool u) { return ApiSetCameraFov(h, c, 90, u); }},
        {"rxy", [&](unsigned c, bool u) { return ApiSetCameraRxy(h, c, 2, u); }},
        {"aperture", [&](unsigned c, bool u) { return ApiSetCameraAperture(h, c, 3, u); }},
        {"cxy", [&](unsigned c, bool u) { return ApiSetCameraCxy(h, c, {1, 2}, u); }},
        {"glock", [&](unsigned c, bool) { return ApiSetCameraGLock(h, c, true); }},
        {"rotate eye", [&](unsigned c, bool u) { return ApiRotateCameraEye(h, c, 0, 10, u); }},
        {"rotate target", [&](unsigned c, bool u) { return ApiRotateCameraTarget(h, c, 0, -10, u); }},
    };
    for (const auto& s : setters) {
        EXPECT_FALSE(s.second(kNone, true)) << s.first;
        EXPECT_TRUE(s.second(id, false)) << s.first;
    }
    EXPECT_FALSE(ApiSetCameraFov(h, id, 60, true)) << "set, but there is no current camera";
    // The drags of 5 degrees up, then down with the target, from the eye at 4.
    EXPECT_TRUE(ApiGetCameraEye(h, id, &out));
    EXPECT_TRUE(out.x == 0 && std::fabs(out.y - 5 * std::sin(M_PI / 36)) < 1e-5f &&
                std::fabs(out.z - (5 * std::cos(M_PI / 36) - 1)) < 1e-5f);
    EXPECT_TRUE(ApiGetCameraUp(h, id, &out));
    EXPECT_TRUE(out.x == 0 && out.y == 2 && out.z == 0) << "GLock kept up through the drags";

    ASSERT_TRUE(ApiSetCurrentCamera(h, id, nullptr));
    EXPECT_EQ(ApiLaunch(h, 1, 10, nullptr), 0);
    EXPECT_TRUE(ApiSetCameraFocus(h, id, 5, false));
    EXPECT_EQ(pt->accumFrames(), 1u) << "without the flag nothing is published";
    EXPECT_EQ(pt->states()[0].params.focus_distance, 9.0f);
    EXPECT_TRUE(ApiSetCameraFocus(h, id, 5, true));
    EXPECT_TRUE(pt->accumFrames() == 0 && pt->states()[1].params.focus_distance == 5.0f);
    EXPECT_NEAR(pt->states()[0].params.U.x, std::tan(M_PI / 6) * 5 * 4 / 3 / 2, 1e-5f)
        << "fov 60, rxy 2, 4:3 at distance 5";

    // Drags are truncated to whole pixels, and host values need no care.
    EXPECT_TRUE(ApiRotateCameraEye(h, id, 0.9f, 400.7f, true) &&
                ApiRotateCameraEye(h, id, NAN, INFINITY, true));
    EXPECT_FLOAT_EQ(pt->trackball().latitude(), 1.553343f);
}

TEST_F(Cameras, CameraTexturesReachEveryDeviceAndFollowARecreatedTexture)
{
    std::vector<unsigned char> pixels(8 * 8 * 4, 9);
    const unsigned tex = ApiSetupTexture(h, 4, 4, 4, 8, 0, pixels.data(), nullptr);
    ASSERT_NE(tex, 0u);
    const unsigned id = camera(kCamera, {0, tex});
    ASSERT_TRUE(ApiSetCurrentCamera(h, id, nullptr));
    for (const PathTracerState& s : pt->states())
        EXPECT_TRUE(s.params.camera_tex0 == 0 && s.params.camera_tex1 == s.textures.at(tex).sampler());
    const unsigned long long before = pt->states()[0].params.camera_tex1;
    ASSERT_TRUE(ApiUpdateTexture(h, tex, 8, 8, pixels.data(), nullptr));
    for (const PathTracerState& s : pt->states())
        EXPECT_EQ(s.params.camera_tex1, s.textures.at(tex).sampler());
    EXPECT_NE(pt->states()[0].params.camera_tex1, before) << "a resize makes a new sampler";

    const unsigned missing0 = camera(kCamera, {tex + 100});
    const unsigned missing1 = camera(kCamera, {tex, tex + 100});
    char error[kErrorSize];
    EXPECT_EQ(printed([&] { EXPECT_FALSE(ApiSetCurrentCamera(h, missing0, error)); }),
              "Camera texture 0 not found.\n");
    EXPECT_STREQ(error, "Camera texture 0 not found.");
    EXPECT_EQ(printed([&] { EXPECT_FALSE(ApiSetCurrentCamera(h, missing1, error)); }),
              "Camera texture 1 not found.\n");
}

TEST_F(Cameras, LightsAreMirroredAtTheNextLaunchAndReallocatedOnlyForANewCount)
{
    ASSERT_TRUE(ApiSetCurrentCamera(h, camera(), nullptr));
    LightData lights[4];
    for (unsigned i = 0; i < 80; ++i)
        lights[i / 20].raw.u[i % 20] = i;
    // Every device holds `n` records equal to `from`, where its last launch read them.
    auto expectLights = [&](unsigned n, const LightData* from) {
        for (const PathTracerState& s : pt->states()) {
            std::vector<LightData> out(n);
            cudaSetDevice(s.device_idx);
            cudaMemcpy(out.data(), s.params.lights, n * sizeof(LightData), cudaMemcpyDeviceToHost);
            EXPECT_TRUE(s.params.num_lights == n &&
                        std::memcmp(out.data(), from, n * sizeof(LightData)) == 0 &&
                        sim::records().launches.at(size_t(s.device_idx)).params.lights == s.params.lights);
        }
    };
    auto launch = [&] {
        sim::clearRecords();
        return ApiLaunch(h, 1, 10, nullptr);
    };

    EXPECT_TRUE(ApiSetupLights(h, lights, 3));
    EXPECT_TRUE(pt->lightsDirty() && pt->states()[0].params.num_lights == 0) << "not before the launch";
    EXPECT_EQ(launch(), 0);
    EXPECT_FALSE(pt->lightsDirty());
    LightData* const array = pt->states()[1].params.lights;
    expectLights(3, lights);

    // Three others: a copy into the same arrays.
    sim::clearJournal();
    EXPECT_TRUE(ApiSetupLights(h, lights + 1, 3));
    EXPECT_EQ(pt->accumFrames(), 0u);
    EXPECT_EQ(launch(), 0);
    EXPECT_EQ(journalCount("cudaMalloc "), 0u);
    EXPECT_TRUE(journalCount("cudaMemcpyAsync bytes=240 ") == 2u &&
                pt->states()[1].params.lights == array);
    expectLights(3, lights + 1);

    // Four: new arrays.
    sim::clearJournal();
    EXPECT_TRUE(ApiSetupLights(h, lights, 4));
    EXPECT_EQ(launch(), 0);
    EXPECT_EQ(journalCount("cudaFree "), 2u);
    EXPECT_EQ(journalCount("cudaMalloc device=0 bytes=320 ") + journalCount("cudaMalloc device=1 bytes=320 "), 2u);
    expectLights(4, lights);

    // None: the arrays go and nothing is copied.
    const size_t allocations = sim::counts().deviceAllocations;
    sim::clearJournal();
    EXPECT_TRUE(ApiSetupLights(h, nullptr, 0));
    EXPECT_FALSE(ApiSetupLights(h, nullptr, 2)) << "lights must not be null";
    EXPECT_EQ(launch(), 0);
    EXPECT_TRUE(sim::counts().deviceAllocations == allocations - 2 && journalCount("bytes=0 ") == 0 &&
                pt->states()[0].params.lights == nullptr && pt->states()[1].params.num_lights == 0);

    // A failed allocation leaves no lights and is retried at the next launch.
    EXPECT_TRUE(ApiSetupLights(h, lights, 2));
    sim::failNext("cudaMalloc", int(cudaErrorMemoryAllocation));
    printed([&] { EXPECT_EQ(launch(), 0x900); });
    EXPECT_TRUE(pt->lightsDirty() && pt->states()[0].params.lights == nullptr);
    EXPECT_EQ(ApiBreakLaunch(h), 0) << "the failed launch is not running";
    EXPECT_EQ(launch(), 0);
    expectLights(2, lights);
}

} // namespace
