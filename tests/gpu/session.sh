#!/usr/bin/env bash
# The whole proof on a GPU machine, in one run: the machine, the build with
# the carried Debian packages, every GPU check program, the benchmarks, the
# demo scene, and the demo on the GPU against the CPU device. Everything lands in OUTDIR (at most 8 files, so that a
# remote run brings all of it back):
#
#   summary.txt  the machine, each step with its time, and, last, "N passed, N failed"
#   build.log    configure and build
#   checks.log   every check program's output
#   bench.md     the benchmark table
#   render.log   trevix7-render on scenes/demo.json; the GPU against the CPU device
#   demo.png     the demo scene
#
# Usage: tests/gpu/session.sh OUTDIR      (tools/gpu-debs.sh fetches .debs/ beforehand)
set -u
cd "$(dirname "$0")/../.."
if ! ls .debs/*.deb >/dev/null 2>&1; then
    echo "No carried packages in .debs/: run tools/gpu-debs.sh on a machine with a network and carry .debs; stopping."
    exit 2
fi
[ $# -eq 1 ] || { echo "usage: $0 OUTDIR"; exit 2; }
mkdir -p "$1"
out=$(cd "$1" && pwd)
summary=$out/summary.txt
: >"$summary"
build=${BUILD_DIR:-build-gpu}
passed=0
failed=0

say() { echo "$*" | tee -a "$summary"; }
result() { # OK WHAT
    if [ "$1" -eq 0 ]; then passed=$((passed + 1)); say "[pass] $2"; else failed=$((failed + 1)); say "[FAIL] $2"; fi
}
finish() {
    say "$passed passed, $failed failed"
    [ "$failed" -eq 0 ]
    exit
}
# step NAME LOG COMMAND...: runs it with its output in LOG (- for none),
# noting its status and time.
step() {
    local name=$1 log=$2 start rc
    shift 2
    start=$(date +%s)
    if [ "$log" = - ]; then "$@"; else "$@" >>"$log" 2>&1; fi
    rc=$?
    say "  ($name: $(($(date +%s) - start)) s, status $rc)"
    return "$rc"
}

# --- The machine ---
say "GPU session of $(git rev-parse --short HEAD 2>/dev/null || echo '?') on $(hostname), $(date -u '+%Y-%m-%d %H:%M UTC'), $(nproc) cores"
if command -v nvidia-smi >/dev/null && smi=$(nvidia-smi --query-gpu=index,name,driver_version,compute_cap,memory.total --format=csv,noheader 2>&1); then
    say "GPUs (index, name, driver, capability, memory):"
    echo "$smi" | sed 's/^/  /' | tee -a "$summary"
else
    say "GPUs: no driver (nvidia-smi: ${smi:-not found})"
fi
[ -r /proc/driver/nvidia/version ] && say "driver: $(head -n 1 /proc/driver/nvidia/version)"

# OptiX comes with the driver: libnvoptix.so.1, or only a versioned
# libnvoptix.so.*, which gets the name the library asks for in a private folder.
driver_dirs=(/usr/local/nvidia/lib64 /usr/local/nvidia/lib /usr/lib/x86_64-linux-gnu /usr/lib64 /lib/x86_64-linux-gnu)
find_driver_file() { find "${driver_dirs[@]}" /usr/share/nvidia /usr/local/nvidia -maxdepth 2 -name "$1" 2>/dev/null | sort -u | head -n 1; }
optix=$(ldconfig -p 2>/dev/null | grep -o '/.*libnvoptix\.so\.1$' | head -n 1)
[ -n "$optix" ] || optix=$(find_driver_file 'libnvoptix.so.1')
if [ -z "$optix" ] && versioned=$(find_driver_file 'libnvoptix.so.*') && [ -n "$versioned" ]; then
    mkdir -p .gpu-lib
    ln -sf "$versioned" .gpu-lib/libnvoptix.so.1
    optix="$PWD/.gpu-lib/libnvoptix.so.1 -> $versioned"
    export LD_LIBRARY_PATH="$PWD/.gpu-lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
fi
if [ -n "$optix" ]; then
    dir=$(dirname "${optix%% ->*}")
    case ":${LD_LIBRARY_PATH:-}:" in *":$dir:"*) ;; *) export LD_LIBRARY_PATH="$dir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" ;; esac
fi
say "OptiX library: ${optix:-missing}"
rtcore=$(find_driver_file 'libnvidia-rtcore.so.*')
say "ray-tracing core (libnvidia-rtcore.so.*): ${rtcore:-missing}"
weights=$(find_driver_file 'nvoptix.bin')
say "denoiser weights (nvoptix.bin): ${weights:-missing}"
export OPTIX_CACHE_PATH=$PWD/.optix-cache
mkdir -p "$OPTIX_CACHE_PATH"
say "OPTIX_CACHE_PATH=$OPTIX_CACHE_PATH"

# --- The build, with the carried packages ---
source tools/deps.sh
t7_use_carried
say "unpacked $(ls .debs/*.deb | wc -l) carried packages into .deps"
missing=$(t7_missing | tr '\n' ' ')
[ -z "$missing" ] || say "still missing: $missing"
export PATH="/usr/local/cuda/bin:$PATH"
configure_and_build() {
    cmake -S . -B "$build" -G Ninja -DTREVIX7_TESTS=OFF -DTREVIX7_GPU_TESTS=ON \
        -DCMAKE_BUILD_TYPE=RelWithDebInfo "${T7_CMAKE_ARGS[@]}" &&
        cmake --build "$build" -j "$(nproc)"
}
: >"$out/build.log"
step build "$out/build.log" configure_and_build
rc=$?
result $rc "configure and build (build.log)"
if [ $rc -ne 0 ]; then
    tail -n 30 "$out/build.log" | sed 's/^/    /' | tee -a "$summary"
    finish
fi

# --- Is there a GPU to run on? ---
info=$(timeout 60 "$build/tools/trevix7_info" 2>&1)
rc=$?
echo "$info" | sed 's/^/  /' | tee -a "$summary"
if [ $rc -ne 0 ]; then
    result 1 "no driver or no usable GPU: nothing runs on a device"
    finish
fi

# --- Every check program, each under its own time limit ---
: >"$out/checks.log"
run_checks() { # LIMIT PROGRAM ARGS...
    local limit=$1 name line rc
    shift
    name=$(basename "$1")
    echo "=== $name" >>"$out/checks.log"
    timeout "$limit" "$@" >>"$out/checks.log.part" 2>&1
    rc=$?
    cat "$out/checks.log.part" >>"$out/checks.log"
    grep '^\[FAIL\]' "$out/checks.log.part" | sed "s/^/  $name: /" | tee -a "$summary"
    line=$(grep -E '^[0-9]+ passed, [0-9]+ failed$' "$out/checks.log.part" | tail -n 1)
    rm -f "$out/checks.log.part"
    if [ -z "$line" ]; then
        result 1 "$name ended without its totals (status $rc$([ $rc -eq 124 ] && echo ', out of time'))"
        return
    fi
    set -- $line
    passed=$((passed + $1))
    failed=$((failed + $3))
    say "  $name: $line"
    [ "$rc" -eq 0 ] || [ "$3" -ne 0 ] || result 1 "$name exited with status $rc"
}
step checks - run_checks 240 "$build/tests/gpu/trevix7_gpu_checks" "$build/cuda" "$build/libtrevix7.so"
step kernels - run_checks 120 "$build/tests/gpu/trevix7_kernel_checks"

# --- Benchmarks and the demo scene ---
export BUILD_DIR=$build
step bench /dev/null timeout 150 tools/bench.sh "$out/bench.md"
result $? "benchmarks (bench.md)"
: >"$out/render.log"
step demo "$out/render.log" timeout 120 "$build/tools/trevix7-render" scenes/demo.json -o "$out/demo.png" -q
result $? "the demo scene (demo.png, render.log)"
tail -n 1 "$out/render.log" | sed 's/^/  /' | tee -a "$summary"
# The same programs on the CPU device: the same image within the noise.
step compare "$out/render.log" timeout 150 python3 tests/gpu/compare_devices.py "$build" scenes/demo.json 160x120 256
result $? "the GPU and the CPU device agree on the demo (render.log)"
tail -n 3 "$out/render.log" | sed 's/^/  /' | tee -a "$summary"
finish
