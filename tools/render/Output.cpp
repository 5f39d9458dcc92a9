#include "Output.h"

#include "ImageFiles.h"
#include "trevix7.h"
#include "trevix7_programs.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

namespace render {

std::string sideFile(const std::string& output, const std::string& aov, const std::string& ext)
{
    const size_t dot = output.rfind('.');
    const size_t slash = output.rfind('/');
    const std::string stem =
        dot == std::string::npos || (slash != std::string::npos && dot < slash) ? output : output.substr(0, dot);
    return stem + "." + aov + ext;
}

namespace {

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

// The size of an image of `pixels`: the picture's, or half of it in each
// direction (the auxiliary images of the upscaling denoiser).
bool imageSize(size_t pixels, unsigned width, unsigned height, unsigned& w, unsigned& h)
{
    for (unsigned f : {1u, 2u})
        if (pixels == size_t(width / f) * (height / f)) {
            w = width / f;
            h = height / f;
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
bool fetch(unsigned h, Getter get, size_t pixelBytes, unsigned width, unsigned height,
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
    if (!imageSize(size_t(size) / pixelBytes, width, height, w, ht)) {
        problem = "the image for \"" + path + "\" has an unexpected size";
        return false;
    }
    return true;
}

} // namespace

bool writeImages(unsigned h, unsigned width, unsigned height, const Options& o, std::string& problem)
{
    const std::string ext = o.exr ? ".exr" : ".png";
    auto written = [](const std::string& path, unsigned w, unsigned ht) {
        std::printf("wrote %s (%u x %u)\n", path.c_str(), w, ht);
        return true;
    };
    auto image = [&](Getter get, const std::string& path, bool bottomUp, bool asExr, bool isNormal) {
        const void* data = nullptr;
        unsigned w = 0, ht = 0;
        return fetch(h, get, 16, width, height, path, data, w, ht, problem) &&
               write(path, w, ht, floats(data, w, ht, bottomUp), asExr, o.bits, isNormal, problem) &&
               written(path, w, ht);
    };
    // The geometry id of each surface pixel, as a 16-bit grey image.
    auto ids = [&](const std::string& path) {
        const void* data = nullptr;
        unsigned w = 0, ht = 0;
        if (!fetch(h, ApiGetIdBuffer, 8, width, height, path, data, w, ht, problem))
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
    return image(ApiGetRawOutputBuffer, o.output, true, o.exr, false) &&
           (!o.wants("albedo") ||
            image(ApiGetAlbedoBuffer, sideFile(o.output, "albedo", ext), true, o.exr, false)) &&
           (!o.wants("normal") ||
            image(ApiGetNormalBuffer, sideFile(o.output, "normal", ext), true, o.exr, true)) &&
           (!o.wants("position") ||
            image(ApiGetHitPosBuffer, sideFile(o.output, "position", ".exr"), false, true, false)) &&
           (!o.wants("id") || ids(sideFile(o.output, "id", ".png")));
}

} // namespace render
