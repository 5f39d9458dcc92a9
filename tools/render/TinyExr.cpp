// The EXR writer's implementation (over zlib), compiled once for the renderer.
#define TINYEXR_IMPLEMENTATION
#define TINYEXR_USE_MINIZ 0
#define TINYEXR_USE_THREAD 0
#include <zlib.h>
#include <tinyexr.h>
