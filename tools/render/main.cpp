// trevix7-render: renders a scene file to an image file.
//
//   trevix7-render SCENE.json -o out.png [--frames N] [--size WxH] [--devices 0,1]
//                  [--device auto|gpu|cpu] [--denoise ldr|hdr|up2]
//                  [--aov albedo,normal,position,id] [--exr] [--bits 16]
//
// Exit status: 0 done, 1 a bad scene or a failed render, 2 bad options,
// 3 no device to render on.

#include "Device.h"
#include "ImageFiles.h"
#include "Progress.h"
#include "trevix7.h"
#include "trevix7_programs.h"
#include "trevix7_scene.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <vector>

namespace {

struct Options {
    std::string scene, output = "out.png", size, denoise, programs, device = "auto";
    unsigned frames = 0, bits = 8;
    std::vector<unsigned> devices;
    std::vector<std::string> aovs;
    bool exr = false, quiet = false;
};

int fail(const std::string& message, int status = 1)
{
    std::fprintf(stderr, "trevix7-render: %s\n", message.c_str());
    return status;
}

// Where the program files are: beside an installed renderer
// (<prefix>/share/trevix7/cuda), or in the build tree (<build>/cuda).
std::string programDir(const std::string& given)
{
    if (!given.empty())
        return given;
    char exe[4096] = {};
    const ssize_t n = readlink("/proc/self/exe", exe, sizeof(exe) - 1);
    std::string dir = n > 0 ? std::string(exe, size_t(n)) : std::string();
    dir = dir.substr(0, dir.rfind('/') + 1);
    for (const std::string& candidate : {dir + "../share/trevix7", dir + ".."})
        if (std::ifstream(candidate + "/cuda/t7_hit.ptx"))
            return candidate;
    return dir + "../share/trevix7";
}

// The file name of an auxiliary image: out.png -> out.albedo.png.
std::string sideFile(const std::string& output, const std::string& aov, const std::string& ext)
{
    const size_t dot = output.rfind('.');
    const size_t slash = output.rfind('/');
    const std::string stem =
        dot == std::string::npos || (slash != std::string::npos && dot < slash) ? output : output.substr(0, dot);
    return stem + "." + aov + ext;
}

bool endsWith(const std::string& s, const char* tail)
{
    const size_t n = std::strlen(tail);
    return s.size() >= n && s.compare(s.size() - n, n, tail) == 0;
}

// RGBA floats of a library image, top row first; `bottomUp` images are
// stored bottom row first.
std::vector<float> floats(const void* data, unsigned w, unsigned h, bool bottomUp)
{
    std::vector<float> out(size_t(w) * h * 4);
    const float* in = static_cast<const float*>(data);
    for (unsigned y = 0; y < h; ++y)
        std::memcpy(&out[size_t(y) * w * 4], in + size_t(bottomUp ? h - 1 - y : y) * w * 4,
                    size_t(w) * 16);
    return out;
}

// The size of an image of `pixels`: the render's, or half of it in each
// direction (the auxiliary images of the upscaling denoiser).
bool imageSize(size_t pixels, const trevix7_scene_settings& s, unsigned& w, unsigned& h)
{
    for (unsigned f : {1u, 2u})
        if (pixels == size_t(s.width / f) * (s.height / f)) {
            w = s.width / f;
            h = s.height / f;
            return true;
        }
    return false;
}

// A float image as 8- or 16-bit RGBA, clamped to [0, 1]; unit normals as (n + 1) / 2.
std::vector<unsigned char> quantise(std::vector<float> f, unsigned bits, bool normal)
{
    const size_t bytes = bits / 8;
    std::vector<unsigned char> out(f.size() * bytes);
    for (size_t i = 0; normal && i < f.size(); i += 4) {
        const float n = std::sqrt(f[i] * f[i] + f[i + 1] * f[i + 1] + f[i + 2] * f[i + 2]);
        for (size_t k = 0; k < 3 && n > 0; ++k)
            f[i + k] /= n;
    }
    for (size_t i = 0; i < f.size(); ++i) {
        float v = normal && i % 4 != 3 ? (f[i] + 1) / 2 : f[i];
        v = std::min(1.0f, std::max(0.0f, v));
        if (bits == 8)
            out[i] = (unsigned char)(v * 255 + 0.5f);
        else {
            const unsigned short s = (unsigned short)(v * 65535 + 0.5f);
            std::memcpy(&out[i * 2], &s, 2);
        }
    }
    return out;
}

bool write(const std::string& path, unsigned w, unsigned h, const std::vector<float>& rgba,
           bool exr, unsigned bits, bool normal, std::string& error)
{
    if (exr)
        return render::writeExr(path, w, h, rgba.data(), error);
    const std::vector<unsigned char> q = quantise(rgba, bits, normal);
    return render::writePng(path, w, h, 4, bits, q.data(), error);
}

using Getter = bool (*)(unsigned, void**, int*, char*);

// A library image of `pixelBytes` a pixel and its size, or false with the reason.
bool fetch(unsigned h, Getter get, size_t pixelBytes, const trevix7_scene_settings& s,
           const std::string& path, const void*& data, unsigned& w, unsigned& ht,
           std::string& problem)
{
    char error[4096] = {};
    void* p = nullptr;
    int size = 0;
    if (!get(h, &p, &size, error) || !p) {
        problem = "cannot read the image for \"" + path + "\": " + error;
        return false;
    }
    data = p;
    if (!imageSize(size_t(size) / pixelBytes, s, w, ht)) {
        problem = "the image for \"" + path + "\" has an unexpected size";
        return false;
    }
    return true;
}

// The picture, then each auxiliary image the options ask for in its own file.
bool writeImages(unsigned h, const trevix7_scene_settings& s, const Options& o, std::string& problem)
{
    const bool exr = o.exr || endsWith(o.output, ".exr");
    const std::string ext = exr ? ".exr" : ".png";
    auto wanted = [&](const char* aov) { return std::count(o.aovs.begin(), o.aovs.end(), aov) > 0; };
    auto written = [](const std::string& path, unsigned w, unsigned ht) {
        std::printf("wrote %s (%u x %u)\n", path.c_str(), w, ht);
        return true;
    };
    auto image = [&](Getter get, const std::string& path, bool bottomUp, bool asExr, bool isNormal) {
        const void* data = nullptr;
        unsigned w = 0, ht = 0;
        return fetch(h, get, 16, s, path, data, w, ht, problem) &&
               write(path, w, ht, floats(data, w, ht, bottomUp), asExr, o.bits, isNormal, problem) &&
               written(path, w, ht);
    };
    // The geometry id of each surface pixel, as a 16-bit grey image.
    auto ids = [&](const std::string& path) {
        const void* data = nullptr;
        unsigned w = 0, ht = 0;
        if (!fetch(h, ApiGetIdBuffer, 8, s, path, data, w, ht, problem))
            return false;
        std::vector<unsigned short> grey(size_t(w) * ht);
        for (size_t i = 0; i < grey.size(); ++i) {
            const unsigned word = static_cast<const unsigned*>(data)[2 * i];
            const unsigned kind = word >> TREVIX7_ID_KIND_SHIFT;
            grey[i] = kind == TREVIX7_ID_FRONT || kind == TREVIX7_ID_BACK
                          ? (unsigned short)std::min(word & TREVIX7_ID_MASK, 65535u)
                          : 0;
        }
        return render::writePng(path, w, ht, 1, 16, grey.data(), problem) && written(path, w, ht);
    };
    return image(ApiGetRawOutputBuffer, o.output, true, exr, false) &&
           (!wanted("albedo") ||
            image(ApiGetAlbedoBuffer, sideFile(o.output, "albedo", ext), true, exr, false)) &&
           (!wanted("normal") ||
            image(ApiGetNormalBuffer, sideFile(o.output, "normal", ext), true, exr, true)) &&
           (!wanted("position") ||
            image(ApiGetHitPosBuffer, sideFile(o.output, "position", ".exr"), false, true, false)) &&
           (!wanted("id") || ids(sideFile(o.output, "id", ".png")));
}

int run(const Options& o, char** argv)
{
    if (!std::ifstream(o.scene))
        return fail("cannot open scene file \"" + o.scene + "\": " + std::strerror(errno));
    std::string why;
    if (const int status = render::chooseDevice(o.device, argv, why); status >= 0)
        return fail(why, status);
    ApiSetupLibraryDir(programDir(o.programs).c_str());

    trevix7_scene_settings s;
    SceneDefaultSettings(&s);
    if (!o.size.empty() && (std::sscanf(o.size.c_str(), "%ux%u", &s.width, &s.height) != 2 ||
                            !s.width || !s.height))
        return fail("--size: expected WIDTHxHEIGHT, such as 1920x1080, not \"" + o.size + "\"", 2);
    s.frames = o.frames;
    s.devices = o.devices.empty() ? nullptr : o.devices.data();
    s.device_count = unsigned(o.devices.size());
    if (!o.denoise.empty())
        s.denoise = o.denoise == "none"  ? 0
                    : o.denoise == "ldr" ? int(POSTPROC_DENOISER_LDR)
                    : o.denoise == "hdr" ? int(POSTPROC_DENOISER_HDR)
                                         : int(POSTPROC_DENOISER_UP2);
    char error[4096] = {};
    const unsigned h = SceneLoadFile(o.scene.c_str(), &s, error);
    if (!h)
        return fail(error);
    if (render::onCpu() && s.denoise > 0)
        std::printf("The CPU device has no denoiser: the image is not denoised.\n");
    if (std::count(o.aovs.begin(), o.aovs.end(), "albedo"))
        ApiSetSaveAlbedoState(h, true);
    if (std::count(o.aovs.begin(), o.aovs.end(), "normal"))
        ApiSetSaveNormalsState(h, true);

    // Batches that take about a quarter of a second each, for the progress line.
    render::Progress progress(s.frames, double(s.width) * s.height, !o.quiet && isatty(2));
    unsigned done = 0, batch = 1;
    while (done < s.frames) {
        const unsigned n = std::min(batch, s.frames - done);
        const double before = progress.seconds();
        if (ApiLaunch(h, n, 0xFFFFFFFFu, error) < 0 || error[0]) {
            const std::string message = error;
            ApiDestroyPathTracer(h, nullptr);
            const bool tooOld = message.find("PTX") != std::string::npos ||
                                message.find("ABI") != std::string::npos;
            return fail("rendering failed: " + message +
                        (tooOld ? "\n(the NVIDIA driver may be too old for these programs, which "
                                  "were built with CUDA 13: update it to version 580 or newer)"
                                : ""));
        }
        done += n;
        progress.update(done);
        const double took = progress.seconds() - before;
        batch = took < 0.1 ? std::min(batch * 2, 256u) : took > 0.5 && batch > 1 ? batch / 2 : batch;
    }
    progress.finish(done);

    std::string problem;
    const bool ok = writeImages(h, s, o, problem);
    std::printf("%u frames of %u x %u in %.2f s, %.3g samples/s\n", done, s.width, s.height,
                progress.seconds(), double(done) * s.width * s.height / progress.seconds());
    ApiDestroyPathTracer(h, nullptr);
    return ok ? 0 : fail(problem);
}

} // namespace

int main(int argc, char** argv)
{
    Options o;
    CLI::App app{"trevix7-render: renders a scene file (JSON) to an image file."};
    app.add_option("scene", o.scene, "the scene file")->required();
    app.add_option("-o,--output", o.output, "the image file (.png, or .exr)");
    app.add_option("--frames", o.frames, "frames to accumulate (default: the scene's)");
    app.add_option("--size", o.size, "image size WIDTHxHEIGHT (default: the scene's)");
    app.add_option("--devices", o.devices, "GPU ordinals, such as 0,1")->delimiter(',');
    app.add_option("--device", o.device,
                   "auto (a GPU if one works, else the CPU device), gpu or cpu")
        ->check(CLI::IsMember({"auto", "gpu", "cpu"}));
    app.add_option("--denoise", o.denoise, "the denoiser: none, ldr, hdr or up2")
        ->check(CLI::IsMember({"none", "ldr", "hdr", "up2"}));
    app.add_option("--aov", o.aovs, "auxiliary images: albedo, normal, position, id")
        ->delimiter(',')
        ->check(CLI::IsMember({"albedo", "normal", "position", "id"}));
    app.add_flag("--exr", o.exr, "write 32-bit float OpenEXR instead of PNG");
    app.add_option("--bits", o.bits, "PNG bits per channel: 8 or 16")->check(CLI::IsMember({8u, 16u}));
    app.add_option("--programs", o.programs, "the directory holding cuda/*.ptx (found by default)");
    app.add_flag("-q,--quiet", o.quiet, "no progress line");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        return fail(e.what(), 2);
    }
    return run(o, argv);
}
