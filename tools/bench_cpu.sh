#!/usr/bin/env bash
# Benchmarks the CPU device: the demo scene at 320 x 240 on one worker and
# on every core, written as one Markdown table (to standard output and to
# bench-cpu.md, or to the file given). Uses build/ (tools/run.sh builds it).
set -euo pipefail
cd "$(dirname "$0")/.."
build=${BUILD_DIR:-build}
table=${1:-bench-cpu.md}
[ -x "$build/tools/trevix7_bench_demo" ] || { echo "build first: tools/run.sh" >&2; exit 2; }
cores=$(nproc)
processor=$(grep -m 1 'model name' /proc/cpuinfo | sed 's/.*: //')

# One row per worker count: "demo W x H on device 0: figures".
row() {
    TREVIX7_CPU_THREADS=$1 LD_LIBRARY_PATH="$build/cpu" \
        "$build/tools/trevix7_bench_demo" scenes/demo.json "$build" 320x240 |
        grep '^demo ' | sed -E "s/^demo ([^:]+) on device 0: (.*)$/| $1 | \\1 | \\2 |/"
}
{
    echo "CPU device on ${processor:-an unknown processor} ($cores cores), $(date -u +%Y-%m-%d)"
    echo
    echo "| workers | image | figures |"
    echo "|---|---|---|"
    row 1
    [ "$cores" -eq 1 ] || row "$cores"
} | tee "$table"
