"""The Python package on the simulated device, whose camera writes known values:
colour (x, y, device, frame) and hit position (x + 0.5, y + 0.5, ...) at pixel (x, y)."""

import gc
import os
import sys
import unittest

import numpy as np

sys.path.insert(0, os.path.join(os.path.dirname(__file__), ".."))
import trevix7  # noqa: E402

SCENES = os.environ.get("TREVIX7_SCENES", os.path.join(os.path.dirname(__file__), "..", "..", "scenes"))


class RendererTest(unittest.TestCase):
    def test_images_are_top_down_views_of_the_library_memory(self):
        with trevix7.Renderer(os.path.join(SCENES, "furnace.json"), width=8, height=4, frames=2,
                              devices=[0], aovs=("albedo", "normal")) as r:
            image = r.render()
            self.assertEqual(image.shape, (4, 8, 4))
            self.assertEqual(image.dtype, np.float32)
            ys, xs = np.mgrid[0:4, 0:8]
            np.testing.assert_array_equal(image[..., 0], xs)
            np.testing.assert_array_equal(image[..., 1], ys)
            np.testing.assert_array_equal(r.albedo[..., 0], xs / 2)
            np.testing.assert_array_equal(r.position[..., 1], ys + 0.5)
            np.testing.assert_array_equal(r.geometry_ids, xs)
            self.assertEqual(r.normal.shape, (4, 8, 4))
            # Zero copy: a later render shows through the same array.
            r.render(1)
            np.testing.assert_array_equal(image[..., 3], r.image[..., 3])
            self.assertFalse(image.flags.owndata)

    def test_a_view_keeps_its_renderer(self):
        image = trevix7.Renderer(os.path.join(SCENES, "furnace.json"), width=8, height=4,
                                 frames=1).render()
        gc.collect()
        owner = image  # down the views to the library's memory and its renderer
        while not hasattr(owner, "renderer"):
            owner = owner.obj if isinstance(owner, memoryview) else owner.base
        self.assertNotEqual(owner.renderer.handle, 0)
        np.testing.assert_array_equal(image[0, :, 0], np.arange(8))

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


if __name__ == "__main__":
    unittest.main()
