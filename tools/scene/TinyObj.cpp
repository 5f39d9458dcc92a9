// The OBJ reader's implementation, compiled once for the scene reader.
#define TINYOBJLOADER_IMPLEMENTATION
#include <tiny_obj_loader.h>
