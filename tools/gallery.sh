#!/usr/bin/env bash
# Renders the shipped scenes on the CPU device into docs/images/ (small
# PNG files, to be committed) and writes docs/gallery.md around them. Uses
# build/ (tools/run.sh builds it), or BUILD_DIR. About two minutes on two cores.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${BUILD_DIR:-build}
render=$build/tools/trevix7-render
[ -x "$render" ] || { echo "build first: tools/run.sh" >&2; exit 2; }
mkdir -p docs/images

# scene, size, frames, caption
shots=(
    "scenes/first.json|360x240|256|The first scene: a ball on a floor, a sphere light and a blue sky."
    "scenes/materials.json|480x240|256|Materials: diffuse, diffuse under a clear coat, rough copper, a mirror, glass, an emitter."
    "scenes/lights.json|480x240|512|Lights: a point light (left, unseen), a spot light, a parallelogram light facing down (its thin front edge in view), a sphere light, and an emissive panel (green), whose light is found only by chance: see its noise."
    "scenes/camera.json|360x240|256|The thin lens: focused on the second ball, with a hexagonal aperture that shapes the out-of-focus sparks."
    "scenes/assets/boxes.gltf|360x240|256|A glTF file: one box mesh on two nodes with a banded metallic-roughness texture, a textured floor, the file's camera, point light and spot light."
    "scenes/demo.json|320x240|256|The demo box: every geometry kind and material."
    "scenes/example.json|400x300|256|The scene-format example: a glass ball, a copper vase from an OBJ file, a tiled floor."
    "scenes/kinds.json|200x200|16|The geometry kinds, in a grey sky."
    "scenes/point-light.json|200x200|16|A point light over a diffuse floor: the analytic check's scene."
    "scenes/furnace.json|200x200|16|The furnace: a white ball in a white sky, where every pixel is 1."
)

{
    echo "# Gallery"
    echo
    echo "The shipped scenes, rendered on the CPU device by \`tools/gallery.sh\`"
    echo "(no denoiser; the frame counts are given). Each picture is linked to its scene."
    echo
} >docs/gallery.md
for shot in "${shots[@]}"; do
    IFS='|' read -r scene size frames caption <<<"$shot"
    name=$(basename "${scene%.*}")
    line=$("$render" "$scene" -o "docs/images/$name.png" --size "$size" --frames "$frames" --device cpu -q |
           tail -n 1)
    echo "$name: $line"
    {
        echo "## $name"
        echo
        echo "[![$name](images/$name.png)](../$scene)"
        echo
        echo "$caption On the CPU device ($(nproc) cores): $line."
        echo
    } >>docs/gallery.md
done
