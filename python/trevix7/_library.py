"""Loading the two shared libraries and declaring the calls the package uses."""

import ctypes
import os

_ERROR_SIZE = 4096


class Settings(ctypes.Structure):
    """trevix7_scene_settings (trevix7_scene.h)."""

    _fields_ = [
        ("width", ctypes.c_uint),
        ("height", ctypes.c_uint),
        ("frames", ctypes.c_uint),
        ("devices", ctypes.POINTER(ctypes.c_uint)),
        ("device_count", ctypes.c_uint),
        ("denoise", ctypes.c_int),
        ("camera", ctypes.c_uint),
    ]


_U, _I, _B, _P, _S = ctypes.c_uint, ctypes.c_int, ctypes.c_bool, ctypes.c_void_p, ctypes.c_char_p
_SIGNATURES = {
    "ApiGetDeviceCount": (_I, []),
    "ApiSetupLibraryDir": (None, [_S]),
    "ApiDestroyPathTracer": (_B, [_U, _S]),
    "ApiLaunch": (_I, [_U, _U, _U, _S]),
    "ApiSetSaveAlbedoState": (_B, [_U, _B]),
    "ApiSetSaveNormalsState": (_B, [_U, _B]),
    "ApiGetRawOutputBuffer": (_B, [_U, ctypes.POINTER(_P), ctypes.POINTER(_I), _S]),
    "ApiGetAlbedoBuffer": (_B, [_U, ctypes.POINTER(_P), ctypes.POINTER(_I), _S]),
    "ApiGetNormalBuffer": (_B, [_U, ctypes.POINTER(_P), ctypes.POINTER(_I), _S]),
    "ApiGetHitPosBuffer": (_B, [_U, ctypes.POINTER(_P), ctypes.POINTER(_I), _S]),
    "ApiGetIdBuffer": (_B, [_U, ctypes.POINTER(_P), ctypes.POINTER(_I), _S]),
    "SceneDefaultSettings": (None, [ctypes.POINTER(Settings)]),
    "SceneLoadFile": (_U, [_S, ctypes.POINTER(Settings), _S]),
}

_loaded = None


def _open(name):
    for directory in filter(None, os.environ.get("TREVIX7_LIBRARY_PATH", "").split(":")):
        path = os.path.join(directory, name)
        if os.path.exists(path):
            return ctypes.CDLL(path)
    return ctypes.CDLL(name)


def _loaded_path(name):
    """Where the loader found a library this process has open."""
    with open("/proc/self/maps") as maps:
        for line in maps:
            path = line.split()[-1]
            if os.path.basename(path).startswith(name):
                return path
    return ""


def _program_dir(scene_library):
    if os.environ.get("TREVIX7_PROGRAM_DIR"):
        return os.environ["TREVIX7_PROGRAM_DIR"]
    here = os.path.dirname(scene_library)
    candidates = (os.path.join(here, "..", "share", "trevix7"),  # <prefix>/lib
                  os.path.join(here, "..", "..", "share", "trevix7"),  # <prefix>/lib/<arch>
                  os.path.join(here, ".."))  # a build tree
    for candidate in candidates:
        if os.path.exists(os.path.join(candidate, "cuda", "t7_hit.ptx")):
            return os.path.normpath(candidate)
    return os.path.join(here, "..", "share", "trevix7")


class _Library:
    """Both libraries' calls as attributes, with their C signatures."""

    def __init__(self):
        # The scene reader brings the library with it; both are reached
        # through its handle, so there is one copy of the library's instances.
        scene = _open("libtrevix7_scene.so.0")
        for name, (result, arguments) in _SIGNATURES.items():
            function = getattr(scene, name)
            function.restype, function.argtypes = result, arguments
            setattr(self, name, function)
        self.program_dir = _program_dir(_loaded_path("libtrevix7_scene.so"))
        self.ApiSetupLibraryDir(self.program_dir.encode())

    @staticmethod
    def error_buffer():
        return ctypes.create_string_buffer(_ERROR_SIZE)


def library():
    """The loaded libraries (loaded on first use)."""
    global _loaded
    if _loaded is None:
        _loaded = _Library()
    return _loaded


def device_count():
    """The number of GPUs the library can render on (0 or less: none)."""
    return library().ApiGetDeviceCount()
