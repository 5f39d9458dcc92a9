// trevix7-render: renders a scene file to an image file.
//
//   trevix7-render SCENE.json|.gltf|.glb [-o out.png|out.exr] [--frames N | --spp N]
//                  [--time SECONDS] [--size WxH] [--device auto|gpu|cpu] [--devices 0,1]
//                  [--camera N] [--denoise ldr|hdr|up2] [--aov albedo,normal,position,id]
//                  [--bits 16] [--display] [--check] [--version]
//
// The scene is read and checked before any device starts. Exit status: 0
// done, 1 a bad scene or a failed render, 2 bad options, 3 no device to
// render on, 130 stopped by Ctrl-C (the image rendered so far written).

#include "Batches.h"
#include "Device.h"
#include "Options.h"
#include "Output.h"
#include "trevix7.h"
#include "trevix7_scene.h"

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>

namespace {

using render::Options;

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

using Scene = std::unique_ptr<trevix7_scene, void (*)(trevix7_scene*)>;

// The scene read with the options' overrides. On the CPU device, where the
// renderer started again, the first reading already printed its warnings.
Scene read(const Options& o, trevix7_scene_settings& s, std::string& error)
{
    SceneDefaultSettings(&s);
    s.width = o.width;
    s.height = o.height;
    s.frames = o.frames;
    s.devices = o.devices.empty() ? nullptr : o.devices.data();
    s.device_count = unsigned(o.devices.size());
    if (!o.denoise.empty())
        s.denoise = o.denoise == "none"  ? 0
                    : o.denoise == "ldr" ? int(POSTPROC_DENOISER_LDR)
                    : o.denoise == "hdr" ? int(POSTPROC_DENOISER_HDR)
                                         : int(POSTPROC_DENOISER_UP2);
    s.display = o.exr && !o.display ? 0 : 1; // EXR images hold linear radiance
    s.camera_index = o.camera;
    char message[4096] = {};
    Scene scene(nullptr, SceneFree);
    auto readIt = [&] { scene.reset(SceneRead(o.scene.c_str(), &s, message)); };
    if (render::onCpu())
        render::silenced(stderr, readIt);
    else
        readIt();
    error = message;
    return scene;
}

int run(const Options& o, char** argv)
{
    trevix7_scene_settings s;
    std::string why;
    const Scene scene = read(o, s, why);
    if (!scene)
        return fail(why);
    if (o.check) {
        char summary[256] = {};
        SceneSummary(scene.get(), summary, sizeof summary);
        std::printf("%s: %s\n", o.scene.c_str(), summary);
        return 0;
    }
    if (const int status = render::chooseDevice(o.device, argv, why); status >= 0)
        return fail(why, status);
    ApiSetupLibraryDir(programDir(o.programs).c_str());
    char error[4096] = {};
    const unsigned h = SceneBuild(scene.get(), &s, error);
    if (!h)
        return fail(error);
    if (render::onCpu() && s.denoise > 0)
        std::printf("The CPU device has no denoiser: the image is not denoised.\n");
    if (o.wants("albedo"))
        ApiSetSaveAlbedoState(h, true);
    if (o.wants("normal"))
        ApiSetSaveNormalsState(h, true);

    // The upscaling denoiser renders a quarter of the pixels.
    const unsigned f = s.denoise == int(POSTPROC_DENOISER_UP2) ? 2 : 1;
    const double samplesPerFrame = double(s.width / f) * (s.height / f);
    const unsigned frames = o.frames ? o.frames : o.seconds > 0 ? 0 : s.frames;
    const render::Interrupts interrupts; // until the images are written
    const render::Rendered r =
        render::renderBatches(h, frames, o.seconds, samplesPerFrame, !o.quiet && isatty(2));
    if (!r.error.empty()) {
        ApiDestroyPathTracer(h, nullptr);
        const bool tooOld = r.error.find("PTX") != std::string::npos || r.error.find("ABI") != std::string::npos;
        return fail("rendering failed: " + r.error +
                    (tooOld ? "\n(the NVIDIA driver may be too old for these programs, which "
                              "were built with CUDA 13: update it to version 580 or newer)"
                            : ""));
    }
    if (r.frames == 0) {
        ApiDestroyPathTracer(h, nullptr);
        std::printf("Interrupted before the first frame: nothing written.\n");
        return 130;
    }
    std::string problem;
    const bool ok = render::writeImages(h, s.width, s.height, o, problem);
    std::printf("%u frame%s of %u x %u in %.2f s, %.3g samples/s\n", r.frames, r.frames == 1 ? "" : "s", s.width,
                s.height, r.seconds, r.frames * samplesPerFrame / r.seconds);
    ApiDestroyPathTracer(h, nullptr);
    if (!ok)
        return fail(problem);
    if (r.interrupted) {
        std::printf("Interrupted: the image holds the %u frame%s rendered.\n", r.frames, r.frames == 1 ? "" : "s");
        return 130;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    Options o;
    if (const int status = render::parse(argc, argv, o); status >= 0)
        return status;
    return run(o, argv);
}
