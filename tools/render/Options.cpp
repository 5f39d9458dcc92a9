#include "Options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>

#ifndef TREVIX7_VERSION
#define TREVIX7_VERSION "unknown"
#endif

namespace render {

namespace {

int fail(const std::string& message)
{
    std::fprintf(stderr, "trevix7-render: %s\n", message.c_str());
    return 2;
}

std::string extension(const std::string& path)
{
    const size_t dot = path.rfind('.'), slash = path.rfind('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return "";
    std::string ext = path.substr(dot + 1);
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return ext;
}

// The image format follows the output's extension; options may not contradict it.
int checkFormat(Options& o)
{
    const std::string ext = extension(o.output);
    if (ext != "png" && ext != "exr")
        return fail("-o: the image file's name must end in .png or .exr, not \"" + o.output + "\"");
    if (o.exr && ext != "exr")
        return fail("--exr asks for an EXR image, but \"" + o.output + "\" is a PNG file name");
    if (o.bits != 8 && ext != "png")
        return fail("--bits " + std::to_string(o.bits) + " is for PNG images; \"" + o.output +
                    "\" is an EXR file (32-bit float)");
    if (o.display && ext != "exr")
        return fail("--display is for EXR images; PNG images always pass the display stages");
    o.exr = ext == "exr";
    return -1;
}

} // namespace

bool Options::wants(const char* aov) const
{
    return std::count(aovs.begin(), aovs.end(), aov) > 0;
}

bool parseSize(const std::string& text, unsigned& width, unsigned& height)
{
    const size_t x = text.find('x');
    if (x == std::string::npos || x == 0 || x + 1 == text.size() || text.find('x', x + 1) != std::string::npos)
        return false;
    auto number = [](const std::string& digits, unsigned& out) {
        if (digits.empty() || digits.size() > 9 || digits.find_first_not_of("0123456789") != std::string::npos)
            return false;
        out = unsigned(std::stoul(digits));
        return out > 0;
    };
    return number(text.substr(0, x), width) && number(text.substr(x + 1), height);
}

int parse(int argc, char** argv, Options& o)
{
    CLI::App app{"trevix7-render: renders a scene file (JSON, or glTF .gltf/.glb) to an image file."};
    std::string size;
    app.set_version_flag("--version", std::string("trevix7-render ") + TREVIX7_VERSION);
    app.add_option("scene", o.scene, "the scene file")->required();
    app.add_option("-o,--output", o.output, "the image file: .png (8 or 16 bits, after the display stages) "
                                            "or .exr (32-bit float, linear radiance)");
    app.add_option("--frames,--spp", o.frames, "frames to accumulate, each one sample per pixel "
                                               "(default: the scene's)")
        ->check(CLI::PositiveNumber);
    app.add_option("--time", o.seconds, "a time budget in seconds: stop after the batch that reaches it")
        ->check(CLI::PositiveNumber);
    app.add_option("--size", size, "image size WIDTHxHEIGHT (default: the scene's)");
    app.add_option("--devices", o.devices, "GPU ordinals, such as 0,1")->delimiter(',');
    app.add_option("--device", o.device, "auto (a GPU if one works, else the CPU device), gpu or cpu")
        ->check(CLI::IsMember({"auto", "gpu", "cpu"}));
    app.add_option("--camera", o.camera, "a glTF file's camera, by its index (default: the first)")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--denoise", o.denoise, "the denoiser: none, ldr, hdr or up2")
        ->check(CLI::IsMember({"none", "ldr", "hdr", "up2"}));
    app.add_option("--aov", o.aovs, "auxiliary images: albedo, normal, position, id")
        ->delimiter(',')
        ->check(CLI::IsMember({"albedo", "normal", "position", "id"}));
    app.add_flag("--exr", o.exr, "write OpenEXR (the default for an .exr file name)");
    app.add_flag("--display", o.display, "pass an EXR image through the scene's display stages too "
                                         "(gamma, levels, tone maps, overlays)");
    app.add_option("--bits", o.bits, "PNG bits per channel: 8 or 16")->check(CLI::IsMember({8u, 16u}));
    app.add_option("--programs", o.programs, "the directory holding cuda/*.ptx (found by default)");
    app.add_flag("--check", o.check, "read and check the scene, start no device, render nothing");
    app.add_flag("-q,--quiet", o.quiet, "no progress line");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        return fail(e.what());
    }
    if (!std::isfinite(o.seconds))
        return fail("--time: expected a number of seconds, not " + std::to_string(o.seconds));
    const std::string sceneExt = extension(o.scene);
    if (o.camera >= 0 && sceneExt != "gltf" && sceneExt != "glb")
        return fail("--camera picks a glTF file's camera; \"" + o.scene + "\" is a JSON scene, whose camera is its own");
    if (!size.empty() && !parseSize(size, o.width, o.height))
        return fail("--size: expected WIDTHxHEIGHT with whole numbers above 0, such as 1920x1080, not \"" +
                    size + "\"");
    return checkFormat(o);
}

} // namespace render
