// The glTF reader's implementation, compiled once for the scene reader, on
// the image decoder compiled in StbImage.cpp; it writes nothing.
#define TINYGLTF_IMPLEMENTATION
#define TINYGLTF_NO_INCLUDE_STB_IMAGE
#include <stb/stb_image.h>
#include <tiny_gltf.h>
