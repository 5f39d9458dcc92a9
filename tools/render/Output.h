#pragma once
// The images trevix7-render writes after rendering: the picture (PNG, or
// EXR), and each auxiliary image the options ask for in its own file.

#include "Options.h"

#include <string>

namespace render {

// `width` x `height` is the picture's size. Prints a line for each file
// written; gives false with the reason in `problem`.
bool writeImages(unsigned handle, unsigned width, unsigned height, const Options& o, std::string& problem);

// The file name of an auxiliary image: out.png -> out.albedo.png.
std::string sideFile(const std::string& output, const std::string& aov, const std::string& ext);

} // namespace render
