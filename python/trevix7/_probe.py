"""What the package must know before it loads the libraries: where the scene
reader lies, and whether a GPU with OptiX is usable.

Both are asked in a child process (run this file as a script): the GPU
library and the CPU device's library share the name libtrevix7.so.0, and a
process keeps the first it loads, so the parent loads nothing until it has
chosen."""

import ctypes
import json
import os
import sys

SCENE_LIBRARY = "libtrevix7_scene.so.0"
_OPTIX_ABI = 68
_OPTIX_TABLE_SIZE = 376  # sizeof(OptixFunctionTable) at ABI 68


_HERE = os.path.dirname(os.path.abspath(__file__))
# Where the libraries lie beside the package: installed (<prefix>/share/trevix7/python/trevix7
# and <prefix>/lib), or in the source tree next to a build folder.
_BESIDE = [os.path.join(_HERE, "..", "..", "..", "..", lib) for lib in ("lib", "lib64", "lib/x86_64-linux-gnu")]
_BESIDE.append(os.path.join(_HERE, "..", "..", "build", "tools"))


def open_library(name, mode=ctypes.DEFAULT_MODE):
    """`name` from the directories of TREVIX7_LIBRARY_PATH, else from beside
    the package, else from the loader's paths."""
    directories = list(filter(None, os.environ.get("TREVIX7_LIBRARY_PATH", "").split(":"))) + _BESIDE
    for directory in directories:
        path = os.path.join(directory, name)
        if os.path.exists(path):
            return ctypes.CDLL(os.path.normpath(path), mode=mode)
    return ctypes.CDLL(name, mode=mode)


def loaded_path(name):
    """Where the loader found a library this process has open."""
    with open("/proc/self/maps") as maps:
        for line in maps:
            path = line.split()[-1]
            if os.path.basename(path).startswith(name):
                return path
    return ""


def gpu_usable():
    """A CUDA device, and an OptiX that accepts our ABI: what the library needs."""
    try:
        cuda = ctypes.CDLL("libcuda.so.1")
        count = ctypes.c_int()
        if cuda.cuInit(0) != 0 or cuda.cuDeviceGetCount(ctypes.byref(count)) != 0 or count.value < 1:
            return False
        query = ctypes.CDLL("libnvoptix.so.1").optixQueryFunctionTable
        query.argtypes = [ctypes.c_int, ctypes.c_uint, ctypes.c_void_p, ctypes.c_void_p,
                          ctypes.c_void_p, ctypes.c_size_t]
        table = ctypes.create_string_buffer(_OPTIX_TABLE_SIZE)
        return query(_OPTIX_ABI, 0, None, None, table, _OPTIX_TABLE_SIZE) == 0
    except (OSError, AttributeError):
        return False


def main():
    try:
        open_library(SCENE_LIBRARY, mode=os.RTLD_LAZY)
        scene = loaded_path("libtrevix7_scene.so")
    except OSError as e:
        print(json.dumps({"scene": "", "gpu": False, "error": str(e)}))
        return
    print(json.dumps({"scene": scene, "gpu": gpu_usable() if "--gpu" in sys.argv else False}))


if __name__ == "__main__":
    main()
