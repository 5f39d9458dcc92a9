#include "ImageFiles.h"

#include <png.h>
#include <tinyexr.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace render {

bool writePng(const std::string& path, unsigned width, unsigned height, unsigned channels,
              unsigned bits, const void* pixels, std::string& error)
{
    std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "wb"), std::fclose);
    if (!file) {
        error = "cannot write \"" + path + "\": " + std::strerror(errno);
        return false;
    }
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        error = "cannot write \"" + path + "\": the PNG encoder failed";
        return false;
    }
    static const int kColor[] = {0, PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA,
                                 PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGB_ALPHA};
    png_init_io(png, file.get());
    png_set_IHDR(png, info, width, height, int(bits), kColor[channels], PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    if (bits == 16)
        png_set_swap(png); // PNG stores 16-bit values big-endian
    const size_t row = size_t(width) * channels * bits / 8;
    for (unsigned y = 0; y < height; ++y)
        png_write_row(png, static_cast<png_const_bytep>(pixels) + y * row);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

bool writeExr(const std::string& path, unsigned width, unsigned height, const float* rgba,
              std::string& error)
{
    const char* message = nullptr;
    if (SaveEXR(rgba, int(width), int(height), 4, 0, path.c_str(), &message) == TINYEXR_SUCCESS)
        return true;
    error = "cannot write \"" + path + "\": " + (message ? message : "the EXR encoder failed");
    FreeEXRErrorMessage(message);
    return false;
}

} // namespace render
