// Our own device programs on a GPU, or on the CPU device under the tests'
// layer: images of the small shipped scenes against their analytic
// answers, the id image of every geometry kind, one device against two,
// every shipped scene free of invalid samples, and the denoiser against a
// long render where the denoiser is real.

#include "path_checks.h"

#include <dirent.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace checks {

Instance::Instance(const std::string& path, const std::vector<unsigned>& devices, int denoise)
{
    trevix7_scene_settings s;
    SceneDefaultSettings(&s);
    s.width = W;
    s.height = H;
    s.devices = devices.data();
    s.device_count = unsigned(devices.size());
    s.denoise = denoise;
    try {
        loaded = scene::load(path, s);
    } catch (const std::exception& e) {
        message = e.what();
    }
    handle = loaded.handle;
}

bool Instance::render(unsigned passes)
{
    char error[4096] = {};
    const bool ok = ApiLaunch(handle, passes, 1u << 30, error) >= 0 && !error[0];
    message += error;
    return ok;
}

} // namespace checks

namespace {

using namespace checks;

void furnace(const Check& check)
{
    Instance in(shipped("furnace.json"));
    const bool made = in.handle && in.render(64);
    if (!check(made, "own programs: the furnace scene loads, links and renders " + in.message))
        return;
    double worst = 0;
    for (unsigned y = 0; y < H; ++y)
        for (unsigned x = 0; x < W; ++x)
            worst = std::fmax(worst, std::fabs(in.pixel(x, y).x - 1.0));
    check(worst < 0.01, "own programs: furnace, every pixel 1 (largest deviation " + std::to_string(worst) + ")");
}

void pointLight(const Check& check)
{
    Instance in(shipped("point-light.json"));
    const bool made = in.handle && in.render(4);
    if (!check(made, "own programs: the point-light scene renders " + in.message))
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

void kinds(const Check& check)
{
    Instance in(shipped("kinds.json"));
    const bool made = in.handle && in.render(1);
    if (!check(made, "own programs: every geometry kind loads, links and renders " + in.message))
        return;
    // The ten kinds, and a point of each.
    const char* names[10] = {"sphere", "parallelogram", "parallelepiped", "bezier", "mesh", "curve",
                             "textured sphere", "quadratic", "cubic", "catmull-rom"};
    const float at[10][3] = {{0, 0, 1},    {2, 0, 0},        {-2, 0, 0.5f},    {0, 1.775f, 0.1f},
                             {0, -2.07f, 0}, {2, 1.85f, 0},  {-2, 2, 0.4f},    {-2, -2.45f, 0.1f},
                             {2.05f, -2, 0.1f}, {-2.1f, 1.0125f, 0.1f}};
    unsigned ids[10] = {};
    for (int k = 0; k < 10; ++k)
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
    std::string seen;
    bool all = true;
    for (int k = 0; k < 10; ++k) {
        unsigned col, row;
        project(at[k][0], at[k][1], at[k][2], col, row);
        const uint2 w = words[row * W + col];
        all = all && ids[k] != 0 && (w.x & TREVIX7_ID_MASK) == ids[k];
        seen += " " + std::to_string(w.x & TREVIX7_ID_MASK) + "/" + std::to_string(ids[k]);
    }
    check(all, "own programs: the id image names each kind where it projects (seen/expected" + seen + ")");
}

// Means of the 8 x 8 tiles of the demo box rendered on `devices`.
bool tileMeans(const Check& check, const std::vector<unsigned>& devices, std::vector<double>& means)
{
    Instance in(shipped("demo.json"), devices);
    std::string list;
    for (unsigned d : devices)
        list += (list.empty() ? "{" : ", ") + std::to_string(d);
    if (!check(in.handle && in.render(256), "own programs: the demo box renders on " + list + "} " + in.message))
        return false;
    for (unsigned by = 0; by < H; by += 8)
        for (unsigned bx = 0; bx < W; bx += 8) {
            double sum = 0;
            for (unsigned y = by; y < by + 8; ++y)
                for (unsigned x = bx; x < bx + 8; ++x)
                    sum += in.pixel(x, y).x + in.pixel(x, y).y + in.pixel(x, y).z;
            means.push_back(sum / 192);
        }
    return true;
}

// {0, 0}: two states of ordinal 0, which take the same tile slots (the slot
// follows the ordinal), so half the 8 x 8 tiles, in a checkerboard, are
// rendered twice and the others stay empty. With a second device, {0, 1}
// renders every tile, device 1 on the relocated copies of the structures.
void twoDevices(const Check& check)
{
    std::vector<double> one, same, two;
    if (!tileMeans(check, {0}, one) || !tileMeans(check, {0, 0}, same))
        return;
    double worst = 0, empty = 0;
    for (size_t i = 0; i < one.size(); ++i) {
        if ((i / 8 + i % 8) % 2 == 0)
            worst = std::fmax(worst, std::fabs(one[i] - same[i]) / (one[i] + 0.05));
        else
            empty = std::fmax(empty, std::fabs(same[i]));
    }
    check(worst < 0.05 && empty == 0, "own programs: {0} and {0, 0} agree within the noise on the tiles of "
                                      "ordinal 0, the others empty (largest tile difference " +
                                          std::to_string(worst) + ", largest empty tile " + std::to_string(empty) + ")");
    if (ApiGetDeviceCount() < 2 || !tileMeans(check, {0, 1}, two))
        return;
    worst = 0;
    for (size_t i = 0; i < one.size(); ++i)
        worst = std::fmax(worst, std::fabs(one[i] - two[i]) / (one[i] + 0.05));
    check(worst < 0.05, "own programs: {0} and {0, 1} agree within the noise on every tile (largest tile "
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
void denoiser(const Check& check, bool denoises)
{
    const std::string demo = shipped("demo.json");
    Instance noisy(demo), denoised(demo, {0}, POSTPROC_DENOISER_HDR), reference(demo);
    const bool made = noisy.handle && denoised.handle && reference.handle && noisy.render(4) &&
                      denoised.render(4) && reference.render(denoises ? 4096 : 1);
    if (!check(made, "own programs: the demo box renders denoised " + noisy.message +
                         denoised.message + reference.message) || !denoises)
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
    Instance in(shipped("furnace.json"));
    const bool made = in.handle != 0;
    const unsigned camera = ApiSetupCamera(in.handle, "t7_camera.cu::__raygen__pinhol", {0, 0, 4},
                                           {0, 0, 0}, {0, 1, 0}, 40, 1, {0, 0}, 0, 0, 0, 0, 0, 0,
                                           false, nullptr, 0);
    check(made && ApiSetCurrentCamera(in.handle, camera, nullptr) && !in.render(1),
          "own programs: a misspelt entry function fails the launch");
}

// Every shipped scene, its invalid samples made glaring: each pixel finite
// and within what its lights give.
void everyScene(const Check& check)
{
    std::vector<std::string> files;
    if (DIR* dir = opendir(TREVIX7_SCENES_DIR)) {
        while (const dirent* e = readdir(dir))
            if (std::string name = e->d_name; name.size() > 5 && name.substr(name.size() - 5) == ".json")
                files.push_back(name);
        closedir(dir);
    }
    std::sort(files.begin(), files.end());
    for (const std::string& file : files) {
        Instance in(shipped(file.c_str()));
        const char* names[] = {"bad_color"};
        trevix7_float3 glaring = {1e9f, 1e9f, 1e9f};
        const bool made = in.handle &&
                          ApiUpdateVariables(in.handle, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr,
                                             nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0,
                                             names, &glaring, 1) &&
                          in.render(4);
        float largest = 0;
        bool finite = made;
        for (unsigned i = 0; made && i < W * H; ++i) {
            const float4 p = in.pixel(i % W, i / W);
            finite = finite && std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
            largest = std::fmax(largest, std::fmax(p.x, std::fmax(p.y, p.z)));
        }
        check(finite && largest < 1000, "own programs: " + file + " renders with no invalid sample "
                                        "(largest value " + std::to_string(largest) + ") " + in.message);
    }
}

} // namespace

void checkOwnPrograms(const Check& check, bool denoises)
{
    furnace(check);
    pointLight(check);
    kinds(check);
    twoDevices(check);
    everyScene(check);
    denoiser(check, denoises);
    misspelt(check);
}
