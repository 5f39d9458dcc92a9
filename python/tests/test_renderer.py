"""The Python package on the simulated device (the CPU device with the tests'
layer, standing in for a GPU), rendering the furnace: a white diffuse ball
in a white sky, where every pixel is 1. A child process renders it on the
CPU device, as a machine without a GPU does."""

import gc
import os
import re
import signal
import subprocess
import sys
import time
import unittest

import numpy as np

sys.path.insert(0, os.path.join(os.path.dirname(__file__), ".."))
import trevix7  # noqa: E402

SOURCE = os.path.join(os.path.dirname(__file__), "..", "..")
SCENES = os.environ.get("TREVIX7_SCENES", os.path.join(SOURCE, "scenes"))

# Run as a child without the simulated device: which device auto chose, and
# the furnace's mean and spread.
_ON_CPU = """
import sys, trevix7
r = trevix7.Renderer(sys.argv[1], width=16, height=8, frames=2, device=sys.argv[2])
image = r.render()[..., :3]
print(trevix7.device(), trevix7.device_count(), image.mean(), image.std())
try:
    trevix7.Renderer(sys.argv[1], device="gpu")
except trevix7.TrevixError as e:
    print(e)
"""


# A long render in a child, stopped by Ctrl-C: the frames it holds and their mean.
_INTERRUPTED = """
import sys, trevix7
r = trevix7.Renderer(sys.argv[1], width=32, height=32, device="cpu")
print("started", flush=True)
try:
    r.render(frames=10**6)
except KeyboardInterrupt:
    print("interrupted", r.image[..., 0].mean(), flush=True)
"""


def setUpModule():
    trevix7.library("gpu")  # the simulated device


class RendererTest(unittest.TestCase):
    def test_images_are_top_down_views_of_the_library_memory(self):
        with trevix7.Renderer(os.path.join(SCENES, "furnace.json"), width=8, height=4, frames=2,
                              devices=[0], aovs=("albedo", "normal")) as r:
            image = r.render()
            self.assertEqual(image.shape, (4, 8, 4))
            self.assertEqual(image.dtype, np.float32)
            np.testing.assert_allclose(image[..., :3], 1.0, atol=1e-4)
            np.testing.assert_allclose(r.albedo[..., :3], 1.0, atol=1e-6)
            # The ball (id 1) in the middle, the sky (0) at the corners; hit
            # positions on the ball lie on its surface.
            ids = r.geometry_ids
            self.assertTrue(ids[0, 0] == 0 and ids[2, 4] != 0)
            on_ball = ids != 0
            radius = np.linalg.norm(r.position[on_ball][:, :3], axis=1)
            np.testing.assert_allclose(radius, 1.0, atol=1e-4)
            self.assertEqual(r.normal.shape, (4, 8, 4))
            # Zero copy: a later render shows through the same array.
            r.render(1)
            np.testing.assert_array_equal(image[..., 3], r.image[..., 3])
            self.assertFalse(image.flags.owndata)

    def test_arrays_outlive_close_and_keep_the_memory(self):
        r = trevix7.Renderer(os.path.join(SCENES, "furnace.json"), width=8, height=4, frames=1)
        image, ids = r.render(), r.geometry_ids
        r.close()
        self.assertEqual(r.handle, 0)
        with self.assertRaisesRegex(trevix7.TrevixError, "closed"):
            r.render(1)
        gc.collect()
        # The instance went nowhere: its arrays still read what was rendered.
        np.testing.assert_allclose(image[..., :3], 1.0, atol=1e-4)
        self.assertNotEqual(ids[2, 4], 0)
        del r
        gc.collect()
        np.testing.assert_allclose(image[..., 0], 1.0, atol=1e-4)

    def test_frames_are_whole_and_positive(self):
        r = trevix7.Renderer(os.path.join(SCENES, "furnace.json"), width=4, height=4, frames=1)
        for bad, error in ((-1, ValueError), (0, ValueError), (2**32, ValueError), (1.5, TypeError),
                           (True, TypeError)):
            with self.assertRaises(error):
                r.render(frames=bad)
        with self.assertRaises(ValueError):
            trevix7.Renderer(os.path.join(SCENES, "furnace.json"), frames=-1)
        r.close()

    def test_constants_match_the_c_headers(self):
        def header(name):
            for folder in ("api", os.path.join("tools", "scene"), "core"):
                path = os.path.join(SOURCE, folder, name)
                if os.path.exists(path):
                    with open(path) as f:
                        return f.read()
            raise FileNotFoundError(name)

        def value(text, name):
            return int(re.search(r"\b%s\s*=?\s*(0x[0-9A-Fa-f]+|\d+)u?\b" % name, text).group(1), 0)

        api, programs = header("trevix7.h"), header("trevix7_programs.h")
        for name, key in (("LDR", "ldr"), ("HDR", "hdr"), ("UP2", "up2")):
            self.assertEqual(trevix7.renderer.DENOISERS[key], value(api, "POSTPROC_DENOISER_" + name))
        self.assertEqual(trevix7.renderer.ID_MASK, value(programs, "TREVIX7_ID_MASK"))
        self.assertEqual(trevix7.renderer.ID_KIND_SHIFT, value(programs, "TREVIX7_ID_KIND_SHIFT"))
        self.assertEqual(trevix7.renderer.ID_FRONT, value(programs, "TREVIX7_ID_FRONT"))
        self.assertEqual(trevix7.renderer.ID_BACK, value(programs, "TREVIX7_ID_BACK"))
        optix = header("optix7.h")
        self.assertEqual(trevix7._probe._OPTIX_ABI, value(optix, "OPTIX_ABI_VERSION"))
        self.assertEqual(trevix7._probe._OPTIX_TABLE_SIZE,
                         int(re.search(r"sizeof\(OptixFunctionTable\) == (\d+)", optix).group(1)))
        # The settings structure, field by field.
        body = re.search(r"typedef struct trevix7_scene_settings \{(.*?)\} trevix7_scene_settings;",
                         header("trevix7_scene.h"), re.S).group(1)
        body = re.sub(r"/\*.*?\*/", "", body, flags=re.S)
        fields = [name for declaration in body.split(";")
                  for name in re.findall(r"(\w+)\s*(?=,|$)", declaration.strip())]
        self.assertEqual([f for f, _ in trevix7._library.Settings._fields_], fields)

    def test_ctrl_c_stops_between_batches(self):
        environment = dict(os.environ, LD_LIBRARY_PATH="", PYTHONPATH=os.path.join(os.path.dirname(__file__), ".."))
        child = subprocess.Popen([sys.executable, "-c", _INTERRUPTED, os.path.join(SCENES, "furnace.json")],
                                 env=environment, stdout=subprocess.PIPE, universal_newlines=True)
        try:
            while child.stdout.readline().strip() not in ("started", ""):
                pass  # the library's start-up lines
            time.sleep(0.5)
            child.send_signal(signal.SIGINT)
            out, _ = child.communicate(timeout=60)
        finally:
            child.kill()
            child.wait()
            child.stdout.close()
        self.assertEqual(child.returncode, 0, out)
        word, mean = out.split()[-2:]
        self.assertEqual(word, "interrupted")
        self.assertAlmostEqual(float(mean), 1.0, delta=1e-4)

    def test_a_view_keeps_its_renderer(self):
        image = trevix7.Renderer(os.path.join(SCENES, "furnace.json"), width=8, height=4,
                                 frames=1).render()
        gc.collect()
        owner = image  # down the views to the library's memory and its renderer
        while not hasattr(owner, "instance"):
            owner = owner.obj if isinstance(owner, memoryview) else owner.base
        self.assertNotEqual(owner.instance.handle, 0)
        np.testing.assert_allclose(image[..., 0], 1.0, atol=1e-4)

    def test_bad_input_raises_with_the_message(self):
        with self.assertRaisesRegex(trevix7.TrevixError, 'cannot open scene file "nothing.json"'):
            trevix7.Renderer("nothing.json")
        with self.assertRaisesRegex(ValueError, "denoise must be one of"):
            trevix7.Renderer(os.path.join(SCENES, "furnace.json"), denoise="best")
        r = trevix7.Renderer(os.path.join(SCENES, "furnace.json"), width=4, height=4)
        r.close()
        with self.assertRaisesRegex(trevix7.TrevixError, "closed"):
            r.render(1)

    def test_device_count(self):
        self.assertGreaterEqual(trevix7.device_count(), 1)
        self.assertEqual(trevix7.device(), "gpu")
        with self.assertRaisesRegex(ValueError, "device must be one of"):
            trevix7.Renderer(os.path.join(SCENES, "furnace.json"), device="tpu")

    def test_without_a_gpu_it_renders_on_the_cpu_device(self):
        environment = dict(os.environ, LD_LIBRARY_PATH="",
                           PYTHONPATH=os.path.join(os.path.dirname(__file__), ".."))
        for device in ("auto", "cpu"):
            child = subprocess.run([sys.executable, "-c", _ON_CPU, os.path.join(SCENES, "furnace.json"),
                                    device], env=environment, stdout=subprocess.PIPE,
                                   universal_newlines=True, check=True)
            lines = child.stdout.splitlines()
            name, count, mean, spread = lines[-2].split()
            self.assertEqual((name, count), ("cpu", "1"), child.stdout)
            self.assertAlmostEqual(float(mean), 1.0, delta=1e-4)
            self.assertLess(float(spread), 1e-4)
            self.assertEqual(lines[-1], "this process renders on the CPU device: the device is chosen "
                                        "once, by the first renderer")


if __name__ == "__main__":
    unittest.main()
