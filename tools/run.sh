#!/usr/bin/env bash
# The main job: builds the library, its device programs, the scene reader and
# trevix7-render, then renders scenes/demo.json to demo.png on the GPU. On a
# machine without a GPU (or without OptiX) it says so in one line and stops
# there, successfully: everything is built.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh
source tools/deps.sh
t7_use_carried || true
export PATH="/usr/local/cuda/bin:$PATH"

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTREVIX7_TESTS=OFF \
    "${T7_CMAKE_ARGS[@]}" >/dev/null
cmake --build build -j "$(nproc)"

if ! status=$(build/tools/trevix7_info 2>&1); then
    echo "Built everything in build/; not rendering: $(echo "$status" | tail -n 1)"
    exit 0
fi
echo "$status"
build/tools/trevix7-render scenes/demo.json -o demo.png
echo "The demo scene is in $(pwd)/demo.png"
