#!/usr/bin/env python3
"""Writes the example scenes' assets with the standard library only:
tiles.png (a 64 x 64 tile pattern), vase.obj (a vase turned about the y
axis, with normals and texture coordinates) and boxes.gltf (a glTF scene in
one file: one box mesh on two nodes with a metallic-roughness texture, a
checkered floor, a camera, a point light and a spot light)."""

import base64
import json
import math
import os
import struct
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))


def png_bytes(width, height, rgb):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    rows = b"".join(b"\0" + bytes(rgb[y * width * 3:(y + 1) * width * 3]) for y in range(height))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(rows, 9)) + chunk(b"IEND", b""))


def png(path, width, height, rgb):
    with open(path, "wb") as out:
        out.write(png_bytes(width, height, rgb))


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


def look_at(eye, target):
    """A glTF node matrix (columns) that puts a camera or a spot light at
    eye, its -z towards target and its +y up."""
    f = [t - e for t, e in zip(target, eye)]
    n = math.sqrt(sum(c * c for c in f))
    back = [-c / n for c in f]
    right = [back[2], 0.0, -back[0]]  # up (0, 1, 0) x back
    n = math.sqrt(sum(c * c for c in right))
    right = [c / n for c in right]
    up = [back[1] * right[2] - back[2] * right[1], back[2] * right[0] - back[0] * right[2],
          back[0] * right[1] - back[1] * right[0]]
    return right + [0.0] + up + [0.0] + back + [0.0] + list(eye) + [1.0]


def boxes():
    data = b""
    views, accessors = [], []

    def add(values, fmt, kind, count, target):
        nonlocal data
        data += b"\0" * (-len(data) % 4)
        raw = struct.pack("<%d%s" % (len(values), fmt), *values)
        views.append({"buffer": 0, "byteOffset": len(data), "byteLength": len(raw), "target": target})
        data += raw
        accessors.append({"bufferView": len(views) - 1, "componentType": 5126 if fmt == "f" else 5123,
                          "count": count, "type": kind})
        return len(accessors) - 1

    def mesh(positions, normals, uvs, indices):
        n = len(positions) // 3
        p = add(positions, "f", "VEC3", n, 34962)
        accessors[p]["min"] = [min(positions[i::3]) for i in range(3)]
        accessors[p]["max"] = [max(positions[i::3]) for i in range(3)]
        return {"POSITION": p, "NORMAL": add(normals, "f", "VEC3", n, 34962),
                "TEXCOORD_0": add(uvs, "f", "VEC2", n, 34962)}, add(indices, "H", "SCALAR", len(indices), 34963)

    # A unit cube about the origin: four vertices for each face.
    positions, normals, uvs, indices = [], [], [], []
    for axis in range(3):
        for sign in (1, -1):
            nrm = [0, 0, 0]
            nrm[axis] = sign
            u, v = [0, 0, 0], [0, 0, 0]
            u[(axis + 1) % 3], v[(axis + 2) % 3] = sign, 1
            base = len(positions) // 3
            for a, b in ((-1, -1), (1, -1), (1, 1), (-1, 1)):
                positions += [0.5 * (nrm[k] + a * u[k] + b * v[k]) for k in range(3)]
                normals += nrm
                uvs += [(a + 1) / 2, (1 - b) / 2]
            indices += [base, base + 1, base + 2, base, base + 2, base + 3]
    box = mesh(positions, normals, uvs, indices)
    floor = mesh([-5, 0, 5, 5, 0, 5, 5, 0, -5, -5, 0, -5], [0, 1, 0] * 4, [0, 4, 4, 4, 4, 0, 0, 0],
                 [0, 1, 2, 0, 2, 3])

    checker = []
    for y in range(8):
        for x in range(8):
            checker += [200, 200, 200] if (x + y) % 2 == 0 else [60, 60, 70]
    stripes = []  # green: roughness, blue: metalness, in bands
    for y in range(16):
        for x in range(16):
            stripes += [0, 60, 255] if (y // 4) % 2 == 0 else [0, 230, 0]
    images = [{"uri": "data:image/png;base64," + base64.b64encode(png_bytes(w, h, rgb)).decode()}
              for w, h, rgb in ((8, 8, checker), (16, 16, stripes))]

    gltf = {
        "asset": {"version": "2.0", "generator": "make_assets.py"},
        "extensionsUsed": ["KHR_lights_punctual"],
        "extensions": {"KHR_lights_punctual": {"lights": [
            {"type": "point", "color": [1, 0.95, 0.9], "intensity": 40},
            {"type": "spot", "color": [0.6, 0.7, 1], "intensity": 120,
             "spot": {"innerConeAngle": 0.25, "outerConeAngle": 0.4}}]}},
        "scene": 0,
        "scenes": [{"nodes": [0, 1, 2, 3, 4, 5]}],
        "nodes": [
            {"name": "floor", "mesh": 1},
            {"name": "left box", "mesh": 0, "translation": [-1.2, 0.5, 0],
             "rotation": [0, math.sin(math.radians(15)), 0, math.cos(math.radians(15))]},
            {"name": "right box", "mesh": 0, "translation": [1.2, 0.75, -0.5], "scale": [1.5, 1.5, 1.5],
             "rotation": [0, math.sin(math.radians(-10)), 0, math.cos(math.radians(-10))]},
            {"name": "camera", "camera": 0, "matrix": look_at([0, 2.5, 6], [0, 0.6, 0])},
            {"name": "lamp", "translation": [2.5, 4, 3], "extensions": {"KHR_lights_punctual": {"light": 0}}},
            {"name": "spot", "matrix": look_at([-3, 4, 2], [-1.2, 0.5, 0]),
             "extensions": {"KHR_lights_punctual": {"light": 1}}},
        ],
        "cameras": [{"type": "perspective", "perspective": {"yfov": 0.7, "aspectRatio": 1.5, "znear": 0.1}}],
        "meshes": [
            {"name": "box", "primitives": [{"attributes": box[0], "indices": box[1], "material": 0}]},
            {"name": "floor", "primitives": [{"attributes": floor[0], "indices": floor[1], "material": 1}]},
        ],
        "materials": [
            {"name": "banded gold", "pbrMetallicRoughness": {
                "baseColorFactor": [1, 0.78, 0.34, 1], "metallicFactor": 1, "roughnessFactor": 1,
                "metallicRoughnessTexture": {"index": 1}}},
            {"name": "checker", "pbrMetallicRoughness": {
                "baseColorTexture": {"index": 0}, "metallicFactor": 0, "roughnessFactor": 1}},
        ],
        "samplers": [{"magFilter": 9728, "wrapS": 10497, "wrapT": 10497}],
        "textures": [{"source": 0, "sampler": 0}, {"source": 1}],
        "images": images,
        "buffers": [{"byteLength": len(data),
                     "uri": "data:application/octet-stream;base64," + base64.b64encode(data).decode()}],
        "bufferViews": views,
        "accessors": accessors,
    }
    with open(os.path.join(HERE, "boxes.gltf"), "w") as out:
        json.dump(gltf, out, indent=1)
        out.write("\n")


if __name__ == "__main__":
    tiles()
    vase()
    boxes()
