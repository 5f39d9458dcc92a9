#!/usr/bin/env bash
# The main job: builds the library, its device programs, the CPU device, the
# scene reader and trevix7-render, then renders scenes/demo.json to demo.png
# on the GPU. On a machine without a GPU (or without OptiX) it says why, and
# renders the demo on the CPU device instead, with fewer frames.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh
source tools/deps.sh
t7_use_carried || true
export PATH="/usr/local/cuda/bin:$PATH"

# A build folder configured before (with tests, say) keeps its options.
[ -f build/CMakeCache.txt ] || T7_CMAKE_ARGS+=(-DTREVIX7_TESTS=OFF)
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "${T7_CMAKE_ARGS[@]}" >/dev/null
cmake --build build -j "$(nproc)"

if status=$(build/tools/trevix7_info 2>&1); then
    echo "$status"
    build/tools/trevix7-render scenes/demo.json -o demo.png --device gpu
else
    echo "Built everything in build/. $(echo "$status" | tail -n 1)"
    echo "Rendering the demo on the CPU device instead: 128 frames, under a minute on two cores."
    build/tools/trevix7-render scenes/demo.json -o demo.png --device cpu --frames 128
fi
echo "The demo scene is in $(pwd)/demo.png"
