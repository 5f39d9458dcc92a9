#!/usr/bin/env python3
"""Writes the example scene's assets with the standard library only:
tiles.png (a 64 x 64 tile pattern) and vase.obj (a vase turned about the
y axis, with normals and texture coordinates)."""

import math
import os
import struct
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))


def png(path, width, height, rgb):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    rows = b"".join(b"\0" + bytes(rgb[y * width * 3:(y + 1) * width * 3]) for y in range(height))
    with open(path, "wb") as out:
        out.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
                  + chunk(b"IDAT", zlib.compress(rows, 9)) + chunk(b"IEND", b""))


def tiles():
    rgb = []
    for y in range(64):
        for x in range(64):
            grout = x % 32 < 2 or y % 32 < 2
            light = (x // 32 + y // 32) % 2 == 0
            rgb += [40, 40, 40] if grout else ([200, 190, 170] if light else [150, 80, 60])
    png(os.path.join(HERE, "tiles.png"), 64, 64, rgb)


def vase(rings=16, sides=24):
    """A profile r(h) turned about y: radius and its slope give the normals."""
    def radius(h):
        return 0.35 + 0.25 * math.sin(math.pi * h * 1.4 + 0.3) * (1 - 0.3 * h)
    lines = ["# a vase turned about the y axis (make_assets.py)"]
    for i in range(rings + 1):
        h = i / rings
        r = radius(h)
        slope = (radius(h + 1e-3) - radius(h - 1e-3)) / 2e-3
        for j in range(sides + 1):
            a = 2 * math.pi * j / sides
            lines.append("v %.5f %.5f %.5f" % (r * math.cos(a), h * 1.5, r * math.sin(a)))
            n = (math.cos(a), -slope / 1.5, math.sin(a))
            length = math.sqrt(sum(c * c for c in n))
            lines.append("vn %.5f %.5f %.5f" % tuple(c / length for c in n))
            lines.append("vt %.5f %.5f" % (j / sides, h))
    for i in range(rings):
        for j in range(sides):
            a = i * (sides + 1) + j + 1
            b, c, d = a + 1, a + sides + 2, a + sides + 1
            lines.append("f %d/%d/%d %d/%d/%d %d/%d/%d %d/%d/%d" % (a, a, a, d, d, d, c, c, c, b, b, b))
    with open(os.path.join(HERE, "vase.obj"), "w") as out:
        out.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    tiles()
    vase()
