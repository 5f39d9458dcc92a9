#pragma once
// Which image sizes can be rendered. The host reads each image's byte count
// as an int (16 bytes a pixel at most), so an image holds at most
// kMaxImagePixels pixels; and every size must leave a render size of at
// least one pixel. Checked before anything is allocated, in 64 bits.

#include <climits>
#include <cstddef>
#include <string>

constexpr size_t kMaxImagePixels = size_t(INT_MAX) / 16;

// Empty when width x height renders at 1 / scale of it; else why not.
inline std::string imageSizeProblem(unsigned long long width, unsigned long long height,
                                    unsigned scale)
{
    const std::string size = "Image size " + std::to_string(width) + " x " +
                             std::to_string(height) + " cannot be rendered: ";
    if (width == 0 || height == 0)
        return size + "width and height must be at least 1.";
    if (width * height > kMaxImagePixels) // each factor is below 2^32: no overflow
        return size + "more than " + std::to_string(kMaxImagePixels) + " pixels.";
    if (width / scale == 0 || height / scale == 0)
        return size + "2x upscaling needs at least 2 x 2.";
    return "";
}
