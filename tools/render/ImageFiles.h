#pragma once
// Image files the renderer writes: PNG at 8 or 16 bits per channel and
// OpenEXR at 32-bit float. Rows run top to bottom.

#include <string>

namespace render {

// `pixels` holds width x height x channels values of bits/8 bytes each
// (16-bit values in host order). Gives false with the reason in `error`.
bool writePng(const std::string& path, unsigned width, unsigned height, unsigned channels,
              unsigned bits, const void* pixels, std::string& error);

// RGBA floats.
bool writeExr(const std::string& path, unsigned width, unsigned height, const float* rgba,
              std::string& error);

} // namespace render
