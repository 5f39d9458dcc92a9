"""A renderer instance made from a scene file, with its images as numpy arrays.

The arrays are views of the library's memory: the next render() writes into
them, and close() (or leaving a with block) ends them. Copy what you keep.
A view keeps its renderer alive."""

import ctypes

import numpy as np

from ._library import Settings, TrevixError, library

_DENOISERS = {"none": 0, "ldr": 7, "hdr": 8, "up2": 9}
_ID_MASK = 0x3FFFFFFF


class Renderer:
    """Loads `scene` (a JSON scene file); every keyword left None takes the file's value.

    aovs: any of "albedo" and "normal", kept while rendering (positions and
    ids are always kept).
    device: "auto" (a GPU if one is usable, else the CPU device), "gpu" or
    "cpu"; the first renderer of a process chooses for all of them.
    devices: GPU ordinals, such as [0, 1].
    """

    def __init__(self, scene, width=None, height=None, frames=None, devices=None, denoise=None,
                 aovs=(), device=None):
        self.handle = 0
        for aov in aovs:
            if aov not in ("albedo", "normal"):
                raise ValueError("aovs are 'albedo' and 'normal', not %r" % (aov,))
        self._lib = library(device)
        settings = Settings()
        self._lib.SceneDefaultSettings(ctypes.byref(settings))
        settings.width, settings.height, settings.frames = width or 0, height or 0, frames or 0
        if devices is not None:
            self._devices = (ctypes.c_uint * len(devices))(*devices)
            settings.devices, settings.device_count = self._devices, len(devices)
        if denoise is not None:
            if denoise not in _DENOISERS:
                raise ValueError("denoise must be one of %s, not %r" % (", ".join(_DENOISERS), denoise))
            settings.denoise = _DENOISERS[denoise]
        error = self._lib.error_buffer()
        self.handle = self._lib.SceneLoadFile(str(scene).encode(), ctypes.byref(settings), error)
        if not self.handle:
            raise TrevixError(error.value.decode(errors="replace"))
        self.width, self.height, self.frames = settings.width, settings.height, settings.frames
        self.camera = settings.camera
        self._lib.ApiSetSaveAlbedoState(self.handle, "albedo" in aovs)
        self._lib.ApiSetSaveNormalsState(self.handle, "normal" in aovs)

    def render(self, frames=None):
        """Accumulates `frames` more frames (default: the scene's count); gives the image."""
        error = self._lib.error_buffer()
        count = self.frames if frames is None else frames
        if self._lib.ApiLaunch(self._live(), count, 0xFFFFFFFF, error) < 0 or error.value:
            raise TrevixError(error.value.decode(errors="replace"))
        return self.image

    def _live(self):
        if not self.handle:
            raise TrevixError("the renderer is closed")
        return self.handle

    def _buffer(self, getter, ctype, channels, bottom_up):
        data, size = ctypes.c_void_p(), ctypes.c_int()
        error = self._lib.error_buffer()
        if not getter(self._live(), ctypes.byref(data), ctypes.byref(size), error) or not data.value:
            return None
        count = size.value // ctypes.sizeof(ctype)
        memory = (ctype * count).from_address(data.value)
        memory.renderer = self  # the instance lives as long as any view of its memory
        # The auxiliary images of the upscaling denoiser are half the size.
        for scale in (1, 2):
            height, width = self.height // scale, self.width // scale
            if count == height * width * channels:
                array = np.ctypeslib.as_array(memory).reshape(height, width, channels)
                return array[::-1] if bottom_up else array  # a view, top row first
        raise TrevixError("an image of %d values does not fit %d x %d" % (count, self.width, self.height))

    @property
    def image(self):
        """RGBA float32 (height, width, 4), after the post-processing stages."""
        return self._buffer(self._lib.ApiGetRawOutputBuffer, ctypes.c_float, 4, True)

    @property
    def albedo(self):
        return self._buffer(self._lib.ApiGetAlbedoBuffer, ctypes.c_float, 4, True)

    @property
    def normal(self):
        return self._buffer(self._lib.ApiGetNormalBuffer, ctypes.c_float, 4, True)

    @property
    def position(self):
        """First hit (x, y, z) and its distance from the eye (w), per pixel."""
        return self._buffer(self._lib.ApiGetHitPosBuffer, ctypes.c_float, 4, False)

    @property
    def ids(self):
        """Two uint32 words per pixel: the id word and the primitive (trevix7_programs.h)."""
        return self._buffer(self._lib.ApiGetIdBuffer, ctypes.c_uint32, 2, False)

    @property
    def geometry_ids(self):
        """The geometry id seen through each pixel (0: none)."""
        ids = self.ids
        if ids is None:
            return None
        kind = ids[..., 0] >> 30  # 1 front, 2 back; 0 background, 3 a light
        return np.where((kind == 1) | (kind == 2), ids[..., 0] & _ID_MASK, 0)

    def close(self):
        if self.handle:
            self._lib.ApiDestroyPathTracer(self.handle, None)
            self.handle = 0

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __del__(self):
        self.close()
