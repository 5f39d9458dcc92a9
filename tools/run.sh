#!/usr/bin/env bash
# The main job: builds the library and its device programs, then reports the
# GPUs it can render on (saying plainly when there is no GPU or no OptiX).
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh
export PATH="/usr/local/cuda/bin:$PATH"

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTREVIX7_TESTS=OFF >/dev/null
cmake --build build -j "$(nproc)"
build/tools/trevix7_info
