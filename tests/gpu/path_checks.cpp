// Our own device programs on a GPU: images of the demo's small scenes
// against their analytic answers, the id image of every geometry kind, and
// one device against two, and the denoiser against a long render. On the
// simulated device, whose launch runs a stand-in camera, only the loading and
// linking of every program is checked.

#include "path_checks.h"

#include "tools/scene/SceneLoader.h"

#include <cmath>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr unsigned W = 64, H = 64;

// An instance made from one of the scene files at W x H on `devices`;
// destroyed when it goes.
struct Instance {
    explicit Instance(const char* file, const std::vector<unsigned>& devices = {0}, int denoise = 0)
    {
        trevix7_scene_settings s;
        SceneDefaultSettings(&s);
        s.width = W;
        s.height = H;
        s.devices = devices.data();
        s.device_count = unsigned(devices.size());
        s.denoise = denoise;
        try {
            loaded = scene::load(std::string(TREVIX7_SCENES_DIR "/") + file, s);
        } catch (const std::exception& e) {
            message = e.what();
        }
        handle = loaded.handle;
    }
    ~Instance() { ApiDestroyPathTracer(handle, nullptr); }
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

    bool render(unsigned passes)
    {
        char error[4096] = {};
        const bool ok = ApiLaunch(handle, passes, 1u << 30, error) >= 0 && !error[0];
        message += error;
        return ok;
    }
    template <typename T> const T* image(bool (*get)(unsigned, void**, int*, char*))
    {
        void* data = nullptr;
        int size = 0;
        return get(handle, &data, &size, nullptr) ? static_cast<const T*>(data) : nullptr;
    }
    // Pixel (x, y) of the float image, whose row 0 is the sample rows' last.
    float4 pixel(unsigned x, unsigned y)
    {
        return image<float4>(ApiGetRawOutputBuffer)[(H - 1 - y) * W + x];
    }

    scene::Loaded loaded;
    unsigned handle = 0;
    std::string message;
};

using Check = std::function<bool(bool, const std::string&)>;

void furnace(const Check& check, bool simulated)
{
    Instance in("furnace.json");
    const bool made = in.handle && in.render(64);
    if (!check(made, "own programs: the furnace scene loads, links and renders " + in.message) || simulated)
        return;
    double worst = 0;
    for (unsigned y = 0; y < H; ++y)
        for (unsigned x = 0; x < W; ++x)
            worst = std::fmax(worst, std::fabs(in.pixel(x, y).x - 1.0));
    check(worst < 0.01, "own programs: furnace, every pixel 1 (largest deviation " + std::to_string(worst) + ")");
}

void pointLight(const Check& check, bool simulated)
{
    Instance in("point-light.json");
    const bool made = in.handle && in.render(4);
    if (!check(made, "own programs: the point-light scene renders " + in.message) || simulated)
        return;
    const float4* hits = in.image<float4>(ApiGetHitPosBuffer);
    double worst = 0;
    for (unsigned y = 0; y < H; ++y)
        for (unsigned x = 0; x < W; ++x) {
            const float4 p = hits[y * W + x];
            // The scene's light: intensity 8 at height 2 over a floor of albedo 0.5.
            const double h = 2, d = std::sqrt(p.x * p.x + p.y * p.y + h * h);
            const double want = 0.5 / M_PI * 8 * h / (d * d * d);
            worst = std::fmax(worst, std::fabs(in.pixel(x, y).y - want) / want);
        }
    check(worst < 1e-3, "own programs: point light over a diffuse floor, albedo / pi I cos / d^2 "
                        "(largest relative error " + std::to_string(worst) + ")");
}

// Where a point projects for the camera of kinds.json.
void project(float x, float y, float z, unsigned& col, unsigned& row)
{
    const float t = std::tan(22.5f * float(M_PI) / 180.0f);
    col = unsigned((x / (8 - z) / t + 1) * 0.5f * W);
    row = unsigned((1 - y / (8 - z) / t) * 0.5f * H);
}

void kinds(const Check& check, bool simulated)
{
    Instance in("kinds.json");
    const bool made = in.handle && in.render(1);
    if (!check(made, "own programs: every geometry kind loads, links and renders " + in.message) || simulated)
        return;
    unsigned ids[6] = {};
    const char* names[6] = {"sphere", "parallelogram", "parallelepiped", "bezier", "mesh", "curve"};
    for (int k = 0; k < 6; ++k)
        ids[k] = in.loaded.geometry[names[k]];
    const float4* hits = in.image<float4>(ApiGetHitPosBuffer);
    const uint2* words = in.image<uint2>(ApiGetIdBuffer);
    unsigned onSphere = 0, wrong = 0;
    for (unsigned i = 0; i < W * H; ++i)
        if ((words[i].x & TREVIX7_ID_MASK) == ids[0]) {
            const float4 p = hits[i];
            const float r = std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z);
            const float dist = std::sqrt(p.x * p.x + p.y * p.y + (8 - p.z) * (8 - p.z));
            onSphere += 1;
            wrong += std::fabs(r - 1) > 1e-4f || std::fabs(dist - p.w) > 1e-4f || p.z <= 0 ||
                     words[i].x >> TREVIX7_ID_KIND_SHIFT != TREVIX7_ID_FRONT;
        }
    check(onSphere > 50 && wrong == 0, "own programs: the unit sphere's hit positions lie on it, "
                                       "at their distance from the eye (" + std::to_string(onSphere) +
                                           " pixels, " + std::to_string(wrong) + " wrong)");
    const float at[6][3] = {{0, 0, 1}, {2, 0, 0}, {-2, 0, 0.5f}, {0, 1.775f, 0.1f}, {0, -2.07f, 0}, {2, 1.85f, 0}};
    std::string seen;
    bool all = true;
    for (int k = 0; k < 6; ++k) {
        unsigned col, row;
        project(at[k][0], at[k][1], at[k][2], col, row);
        const uint2 w = words[row * W + col];
        all = all && (w.x & TREVIX7_ID_MASK) == ids[k];
        seen += " " + std::to_string(w.x & TREVIX7_ID_MASK) + "/" + std::to_string(ids[k]);
    }
    check(all, "own programs: the id image names each kind where it projects (seen/expected" + seen + ")");
}

void twoDevices(const Check& check, bool simulated)
{
    std::vector<double> means[2];
    for (int k = 0; k < 2; ++k) {
        Instance in("demo.json", k == 0 ? std::vector<unsigned>{0} : std::vector<unsigned>{0, 0});
        if (!check(in.handle && in.render(simulated ? 2 : 256),
                   std::string("own programs: the demo box renders on ") + (k ? "{0, 0} " : "{0} ") + in.message))
            return;
        // Means of 8 x 8 blocks.
        for (unsigned by = 0; by < H; by += 8)
            for (unsigned bx = 0; bx < W; bx += 8) {
                double sum = 0;
                for (unsigned y = by; y < by + 8; ++y)
                    for (unsigned x = bx; x < bx + 8; ++x)
                        sum += in.pixel(x, y).x + in.pixel(x, y).y + in.pixel(x, y).z;
                means[k].push_back(sum / 192);
            }
    }
    if (simulated)
        return;
    double worst = 0;
    for (size_t i = 0; i < means[0].size(); ++i)
        worst = std::fmax(worst, std::fabs(means[0][i] - means[1][i]) / (means[0][i] + 0.05));
    check(worst < 0.05, "own programs: {0} and {0, 0} agree within the noise (largest block "
                        "difference " + std::to_string(worst) + ")");
}

// Root-mean-square difference of two float images over their colour.
double rms(const float4* a, const float4* b)
{
    double sum = 0;
    for (unsigned i = 0; i < W * H; ++i)
        sum += (a[i].x - b[i].x) * (a[i].x - b[i].x) + (a[i].y - b[i].y) * (a[i].y - b[i].y) +
               (a[i].z - b[i].z) * (a[i].z - b[i].z);
    return std::sqrt(sum / (3.0 * W * H));
}

// The HDR denoiser, guided by albedo and normals, brings a 4-pass render of
// the demo box closer to a 4096-pass reference. The same passes draw the
// same samples in every instance, so the noisy image is what was denoised.
void denoiser(const Check& check, bool simulated)
{
    Instance noisy("demo.json"), denoised("demo.json", {0}, POSTPROC_DENOISER_HDR), reference("demo.json");
    const bool made = noisy.handle && denoised.handle && reference.handle && noisy.render(4) &&
                      denoised.render(4) && reference.render(simulated ? 1 : 4096);
    if (!check(made, "own programs: the demo box renders denoised " + noisy.message +
                         denoised.message + reference.message) || simulated)
        return;
    const float4* truth = reference.image<float4>(ApiGetRawOutputBuffer);
    const double before = rms(noisy.image<float4>(ApiGetRawOutputBuffer), truth);
    const double after = rms(denoised.image<float4>(ApiGetRawOutputBuffer), truth);
    check(after < before, "own programs: 4 passes denoised are closer to 4096 passes than the "
                          "noisy ones (rms " + std::to_string(after) + " against " +
                              std::to_string(before) + ")");
}

// OptiX refuses an entry function that the program file lacks.
void misspelt(const Check& check)
{
    Instance in("furnace.json");
    const bool made = in.handle != 0;
    const unsigned camera = ApiSetupCamera(in.handle, "t7_camera.cu::__raygen__pinhol", {0, 0, 4},
                                           {0, 0, 0}, {0, 1, 0}, 40, 1, {0, 0}, 0, 0, 0, 0, 0, 0,
                                           false, nullptr, 0);
    check(made && ApiSetCurrentCamera(in.handle, camera, nullptr) && !in.render(1),
          "own programs: a misspelt entry function fails the launch");
}

} // namespace

void checkOwnPrograms(const Check& check, bool simulated)
{
    furnace(check, simulated);
    pointLight(check, simulated);
    kinds(check, simulated);
    twoDevices(check, simulated);
    denoiser(check, simulated);
    misspelt(check);
}
