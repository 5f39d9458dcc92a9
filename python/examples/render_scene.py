#!/usr/bin/env python3
"""Renders a scene file and saves the picture as a PPM (no image library needed),
on a GPU if one is usable, else on the CPU device.

    python3 render_scene.py scenes/demo.json out.ppm [frames]
"""

import sys

import numpy as np

import trevix7


def main():
    if len(sys.argv) < 3:
        print(__doc__.strip())
        return 2
    frames = int(sys.argv[3]) if len(sys.argv) > 3 else None
    with trevix7.Renderer(sys.argv[1], frames=frames) as renderer:
        image = renderer.render()
        rgb = (np.clip(image[..., :3], 0, 1) * 255 + 0.5).astype(np.uint8)
        with open(sys.argv[2], "wb") as out:
            out.write(b"P6 %d %d 255\n" % (renderer.width, renderer.height))
            out.write(rgb.tobytes())
        print("wrote %s (%d x %d) on the %s" % (sys.argv[2], renderer.width, renderer.height,
                                                 "GPU" if trevix7.device() == "gpu" else "CPU device"))
    return 0


if __name__ == "__main__":
    sys.exit(main())
