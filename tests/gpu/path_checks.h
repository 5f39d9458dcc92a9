#pragma once
// Our own device programs rendering small scenes, against answers known
// without the renderer (path_checks.cpp, curve_checks.cpp).

#include "tools/scene/SceneLoader.h"
#include "trevix7.h"
#include "trevix7_programs.h"

#include <vector_types.h>

#include <functional>
#include <string>
#include <vector>

using Check = std::function<bool(bool, const std::string&)>;

// `denoises`: the device's denoiser is real (not the simulated one, which
// marks its inputs, nor the CPU device's, which passes them through).
void checkOwnPrograms(const Check& check, bool denoises);
// Round curves of every basis against swept spheres computed here.
void checkCurves(const Check& check);

namespace checks {

constexpr unsigned W = 64, H = 64;

// An instance made from a scene file at W x H on `devices`; destroyed when
// it goes.
struct Instance {
    explicit Instance(const std::string& path, const std::vector<unsigned>& devices = {0}, int denoise = 0);
    ~Instance() { ApiDestroyPathTracer(handle, nullptr); }
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

    bool render(unsigned passes);
    template <typename T> const T* image(bool (*get)(unsigned, void**, int*, char*))
    {
        void* data = nullptr;
        int size = 0;
        return get(handle, &data, &size, nullptr) ? static_cast<const T*>(data) : nullptr;
    }
    // Pixel (x, y) of the float image, whose row 0 is the sample rows' last.
    float4 pixel(unsigned x, unsigned y) { return image<float4>(ApiGetRawOutputBuffer)[(H - 1 - y) * W + x]; }

    scene::Loaded loaded;
    unsigned handle = 0;
    std::string message;
};

// A shipped scene file's path.
inline std::string shipped(const char* file) { return std::string(TREVIX7_SCENES_DIR "/") + file; }

} // namespace checks
