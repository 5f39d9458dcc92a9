#!/usr/bin/env bash
# Runs every benchmark on a machine with an NVIDIA GPU and writes their
# figures as one Markdown table (to standard output and to bench.md, or to
# the file given), headed by the device and the date. Builds into build-gpu
# unless BUILD_DIR names a tree already built (tests/gpu/session.sh does).
set -euo pipefail
cd "$(dirname "$0")/.."
build=${BUILD_DIR:-build-gpu}
table=${1:-bench.md}
source tools/deps.sh
if [ ! -x "$build/tools/trevix7_bench_frames" ]; then
    tools/install-deps.sh
    t7_use_carried || true
    export PATH="/usr/local/cuda/bin:$PATH"
    cmake -S . -B "$build" -G Ninja -DTREVIX7_TESTS=OFF -DTREVIX7_GPU_TESTS=ON \
        -DCMAKE_BUILD_TYPE=RelWithDebInfo "${T7_CMAKE_ARGS[@]}" >/dev/null
    cmake --build "$build" -j "$(nproc)" >/dev/null
fi
t7_use_carried || true
device=$(nvidia-smi --query-gpu=name,driver_version --format=csv,noheader 2>/dev/null | head -n 1 || true)

# One row per figure line "what: figures" of each benchmark.
rows() {
    local name=$1
    shift
    "$@" 2>&1 | grep ': ' | sed -E "s/^([^:]+): (.*)$/| $name | \\1 | \\2 |/"
}
{
    echo "Benchmarks on ${device:-an unknown device}, $(date -u +%Y-%m-%d)"
    echo
    echo "| benchmark | measure | figures |"
    echo "|---|---|---|"
    rows frames "$build/tools/trevix7_bench_frames" "$build/cuda"
    rows demo "$build/tools/trevix7_bench_demo" scenes/demo.json "$build"
} | tee "$table"
