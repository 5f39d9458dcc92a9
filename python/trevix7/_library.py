"""Loading the two shared libraries, for a GPU or the CPU device, and
declaring the calls the package uses."""

import ctypes
import json
import os
import subprocess
import sys

from . import _probe

_ERROR_SIZE = 4096
DEVICES = ("auto", "gpu", "cpu")


class TrevixError(RuntimeError):
    """A scene that cannot be loaded, or a render that failed: the library's message."""


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
        ("display", ctypes.c_int),
        ("camera_index", ctypes.c_int),
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


def _cpu_library(scene_library):
    """The CPU device's library: in lib/trevix7/cpu beside an installed
    reader, or in the cpu folder of a build tree."""
    here = os.path.dirname(scene_library)
    for candidate in (os.path.join(here, "trevix7", "cpu"), os.path.join(here, "..", "cpu")):
        path = os.path.join(candidate, "libtrevix7.so.0")
        if os.path.exists(path):
            return os.path.normpath(path)
    raise TrevixError("the CPU device is not installed beside %s (lib/trevix7/cpu)" % scene_library)


def _ask(gpu):
    """The scene reader's path, and whether a GPU is usable, from a child process."""
    command = [sys.executable, _probe.__file__] + (["--gpu"] if gpu else [])
    answer = json.loads(subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout)
    if not answer["scene"]:
        raise OSError(answer.get("error", "%s could not be loaded" % _probe.SCENE_LIBRARY))
    return answer


class _Library:
    """Both libraries' calls as attributes, with their C signatures."""

    def __init__(self, device):
        self.device = "gpu"
        if device != "gpu":
            answer = _ask(gpu=device == "auto")
            if device == "cpu" or not answer["gpu"]:
                # Loaded first, it is the libtrevix7.so.0 the reader links.
                ctypes.CDLL(_cpu_library(answer["scene"]), mode=ctypes.RTLD_GLOBAL)
                self.device = "cpu"
        # The scene reader brings the library with it; both are reached
        # through its handle, so there is one copy of the library's instances.
        scene = _probe.open_library(_probe.SCENE_LIBRARY)
        for name, (result, arguments) in _SIGNATURES.items():
            function = getattr(scene, name)
            function.restype, function.argtypes = result, arguments
            setattr(self, name, function)
        self.program_dir = _program_dir(_probe.loaded_path("libtrevix7_scene.so"))
        self.ApiSetupLibraryDir(self.program_dir.encode())

    @staticmethod
    def error_buffer():
        return ctypes.create_string_buffer(_ERROR_SIZE)


def library(device=None):
    """The loaded libraries, loaded on first use for `device`: "gpu", "cpu"
    or "auto" (a GPU if one is usable, else the CPU device; the default).
    A process renders on one device: a later call may not ask for the other."""
    global _loaded
    if device is not None and device not in DEVICES:
        raise ValueError("device must be one of %s, not %r" % (", ".join(DEVICES), device))
    if _loaded is None:
        _loaded = _Library(device or "auto")
    elif device not in (None, "auto", _loaded.device):
        raise TrevixError("this process renders on the %s: the device is chosen once, by the first "
                          "renderer" % ("GPU" if _loaded.device == "gpu" else "CPU device"))
    return _loaded


def device():
    """The device this process renders on: "gpu" or "cpu" (loading the libraries)."""
    return library().device


def device_count():
    """The number of devices the library can render on (0 or less: none)."""
    return library().ApiGetDeviceCount()
