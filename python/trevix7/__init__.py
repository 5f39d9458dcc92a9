"""trevix7 for Python: render scene files and read the images as numpy arrays.

A pure-Python layer (ctypes) over the library's C interface and the scene
reader, libtrevix7_scene.so. The arrays share the library's zero-copy host
memory: they are views, which the next render() writes into; an array keeps
that memory alive after close(), so copy what you keep.

    import trevix7
    with trevix7.Renderer("scenes/demo.json", width=320, height=240) as r:
        image = r.render(frames=16)       # (height, width, 4) float32, top row first

Without a usable GPU it renders on the CPU device (installed in
lib/trevix7/cpu); Renderer(..., device="cpu") or device="gpu" chooses.
The libraries are found by the system's loader (an installed prefix, or
LD_LIBRARY_PATH), or in the directories of TREVIX7_LIBRARY_PATH (colon
separated). The program files are found beside the scene reader (an
installed share/trevix7, or a build tree), or in TREVIX7_PROGRAM_DIR.
"""

from ._library import TrevixError, device, device_count, library
from .renderer import Renderer

__all__ = ["Renderer", "TrevixError", "device", "device_count", "library"]
