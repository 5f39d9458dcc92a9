"""A renderer instance made from a scene file, with its images as numpy arrays.

The arrays are views of the library's memory, without copies: the next
render() writes into them. An array keeps that memory alive: close() (or
leaving a with block) ends the renderer at once, but its memory and the
library's instance go only when the last array of it goes. Copy what you
keep, so that the memory can go."""

import ctypes
import time

import numpy as np

from ._library import Settings, TrevixError, library

# Values from the C headers (trevix7.h, trevix7_programs.h); a test checks them.
DENOISERS = {"none": 0, "ldr": 7, "hdr": 8, "up2": 9}  # postprocAlgorithm POSTPROC_DENOISER_*
ID_MASK = 0x3FFFFFFF  # TREVIX7_ID_MASK
ID_KIND_SHIFT = 30  # TREVIX7_ID_KIND_SHIFT
ID_FRONT, ID_BACK = 1, 2  # trevix7_id_kind
_ALL_FRAMES = 0xFFFFFFFF


class _Instance:
    """A library instance, destroyed when nothing refers to it any more:
    neither its renderer nor any array of its memory."""

    def __init__(self, lib, handle):
        self.lib, self.handle = lib, handle

    def __del__(self):
        if self.handle:
            self.lib.ApiDestroyPathTracer(self.handle, None)
            self.handle = 0


def _count(frames, what):
    if isinstance(frames, bool) or not isinstance(frames, int):
        raise TypeError("%s must be a whole number, not %r" % (what, frames))
    if frames < 1 or frames > _ALL_FRAMES - 1:
        raise ValueError("%s must be from 1 to %d, not %d" % (what, _ALL_FRAMES - 1, frames))
    return frames


class Renderer:
    """Loads `scene` (a JSON scene file, or a glTF .gltf/.glb file); every
    keyword left None takes the file's value.

    aovs: any of "albedo" and "normal", kept while rendering (positions and
    ids are always kept).
    display: False leaves out the scene's display stages (gamma, levels,
    tone maps, overlays), so that the image is linear radiance.
    camera: a glTF file's camera, by its index (default: its first).
    device: "auto" (a GPU if one is usable, else the CPU device), "gpu" or
    "cpu"; the first renderer of a process chooses for all of them.
    devices: GPU ordinals, such as [0, 1].
    """

    def __init__(self, scene, width=None, height=None, frames=None, devices=None, denoise=None,
                 aovs=(), display=True, camera=None, device=None):
        self._instance = None
        for aov in aovs:
            if aov not in ("albedo", "normal"):
                raise ValueError("aovs are 'albedo' and 'normal', not %r" % (aov,))
        self._lib = library(device)
        settings = Settings()
        self._lib.SceneDefaultSettings(ctypes.byref(settings))
        settings.width, settings.height = width or 0, height or 0
        settings.frames = 0 if frames is None else _count(frames, "frames")
        if devices is not None:
            self._devices = (ctypes.c_uint * len(devices))(*devices)
            settings.devices, settings.device_count = self._devices, len(devices)
        if denoise is not None:
            if denoise not in DENOISERS:
                raise ValueError("denoise must be one of %s, not %r" % (", ".join(DENOISERS), denoise))
            settings.denoise = DENOISERS[denoise]
        settings.display = 1 if display else 0
        settings.camera_index = -1 if camera is None else camera
        error = self._lib.error_buffer()
        handle = self._lib.SceneLoadFile(str(scene).encode(), ctypes.byref(settings), error)
        if not handle:
            raise TrevixError(error.value.decode(errors="replace"))
        self._instance = _Instance(self._lib, handle)
        self.width, self.height, self.frames = settings.width, settings.height, settings.frames
        self.camera = settings.camera
        self._lib.ApiSetSaveAlbedoState(handle, "albedo" in aovs)
        self._lib.ApiSetSaveNormalsState(handle, "normal" in aovs)

    @property
    def handle(self):
        """The library's handle of the instance (0 once closed)."""
        return self._instance.handle if self._instance else 0

    def render(self, frames=None):
        """Accumulates `frames` more frames (default: the scene's count) and
        gives the image. It renders in batches of about a quarter of a
        second, so that Ctrl-C (KeyboardInterrupt) stops it between two:
        the image then holds the whole frames rendered so far."""
        count = self.frames if frames is None else _count(frames, "frames")
        handle, error = self._live(), self._lib.error_buffer()
        done, batch = 0, 1
        while done < count:
            n = min(batch, count - done)
            start = time.monotonic()
            if self._lib.ApiLaunch(handle, n, _ALL_FRAMES, error) < 0 or error.value:
                raise TrevixError(error.value.decode(errors="replace"))
            done += n
            took = time.monotonic() - start
            batch = min(batch * 2, 256) if took < 0.1 else max(batch // 2, 1) if took > 0.5 else batch
        return self.image

    def _live(self):
        if not self._instance:
            raise TrevixError("the renderer is closed")
        return self._instance.handle

    def _buffer(self, getter, ctype, channels, bottom_up):
        data, size = ctypes.c_void_p(), ctypes.c_int()
        error = self._lib.error_buffer()
        if not getter(self._live(), ctypes.byref(data), ctypes.byref(size), error) or not data.value:
            return None
        count = size.value // ctypes.sizeof(ctype)
        memory = (ctype * count).from_address(data.value)
        memory.instance = self._instance  # the instance lives as long as any view of its memory
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
        kind = ids[..., 0] >> ID_KIND_SHIFT  # 1 front, 2 back; 0 background, 3 a light
        return np.where((kind == ID_FRONT) | (kind == ID_BACK), ids[..., 0] & ID_MASK, 0)

    def close(self):
        """Ends the renderer; the instance goes with the last array of its memory."""
        self._instance = None

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()
