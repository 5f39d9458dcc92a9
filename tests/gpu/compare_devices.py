#!/usr/bin/env python3
"""The GPU and the CPU device render the same scene with the same programs:
their images agree within the noise, 8 x 8 tile by tile.

    compare_devices.py BUILD_DIR SCENE [WIDTHxHEIGHT] [FRAMES]

Each device renders in a child process of its own (a process renders on one
device). Prints one line per device with its time, and a last line
"[pass] ..." or "[FAIL] ..."; the status is 0 on a pass."""

import os
import subprocess
import sys
import tempfile

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
PYTHON_DIR = os.path.join(HERE, "..", "..", "python")


def render(device, scene, width, height, frames, out):
    sys.path.insert(0, PYTHON_DIR)
    import time
    import trevix7
    with trevix7.Renderer(scene, width=width, height=height, frames=frames, device=device) as r:
        start = time.time()
        image = r.render()
        seconds = time.time() - start
        np.save(out, image[..., :3].astype(np.float64))
        print("%s: %d frames of %d x %d in %.2f s" % (device, frames, width, height, seconds))


def main():
    if len(sys.argv) > 1 and sys.argv[1] == "--render":
        device, scene, width, height, frames, out = sys.argv[2:8]
        render(device, scene, int(width), int(height), int(frames), out)
        return 0
    if len(sys.argv) < 3:
        print(__doc__.strip())
        return 2
    build, scene = sys.argv[1], sys.argv[2]
    width, height = (int(v) for v in (sys.argv[3] if len(sys.argv) > 3 else "160x120").split("x"))
    frames = int(sys.argv[4]) if len(sys.argv) > 4 else 256
    environment = dict(os.environ, TREVIX7_LIBRARY_PATH=os.path.join(build, "tools"))
    images = {}
    with tempfile.TemporaryDirectory() as work:
        for device in ("gpu", "cpu"):
            out = os.path.join(work, device + ".npy")
            child = subprocess.run([sys.executable, __file__, "--render", device, scene, str(width), str(height),
                                    str(frames), out], env=environment, stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, universal_newlines=True)
            lines = [line for line in child.stdout.splitlines() if line.startswith(device + ":")]
            print(lines[-1] if lines else child.stdout.strip()[-2000:])
            if child.returncode != 0:
                print("[FAIL] the %s did not render %s" % (device, scene))
                return 1
            images[device] = np.load(out)
    tiles = {d: image[: height // 8 * 8, : width // 8 * 8].reshape(height // 8, 8, width // 8, 8, 3)
             .mean(axis=(1, 3, 4)) for d, image in images.items()}
    worst = float(np.max(np.abs(tiles["gpu"] - tiles["cpu"]) / (tiles["gpu"] + 0.05)))
    ok = worst < 0.05 and np.isfinite(images["cpu"]).all() and np.isfinite(images["gpu"]).all()
    print("[%s] the GPU and the CPU device agree on %s within the noise (largest tile difference %.4f)"
          % ("pass" if ok else "FAIL", os.path.basename(scene), worst))
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main())
