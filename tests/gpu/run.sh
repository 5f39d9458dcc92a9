#!/usr/bin/env bash
# Builds the library and runs the GPU checks on a machine with an NVIDIA GPU.
# Ends with the line "N passed, N failed".
set -u
cd "$(dirname "$0")/../.."

# The driver's OptiX library may live outside the loader's default paths.
if ! ldconfig -p | grep -q 'libnvoptix\.so\.1'; then
    dir=$(find /usr/local/nvidia /usr/lib /usr/lib64 -name 'libnvoptix.so.1' -printf '%h\n' 2>/dev/null | head -n 1)
    if [ -n "$dir" ]; then
        export LD_LIBRARY_PATH="$dir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
        echo "libnvoptix.so.1 found in $dir"
    else
        echo "libnvoptix.so.1 not found; ldconfig says:"
        ldconfig -p | grep -i -E 'optix|rtcore' || echo "  (nothing)"
    fi
fi
nvidia-smi --query-gpu=name,driver_version,compute_cap --format=csv,noheader 2>/dev/null || true

# Debian packages carried from a machine with a network (tools/gpu-debs.sh).
extra=()
if ls .debs/*.deb >/dev/null 2>&1; then
    mkdir -p .deps
    for deb in .debs/*.deb; do
        if command -v dpkg >/dev/null; then
            dpkg -x "$deb" .deps
        else
            (tmp=$(mktemp -d) && cd "$tmp" && ar x "$OLDPWD/$deb" && tar xf data.tar.* -C "$OLDPWD/.deps" && rm -rf "$tmp")
        fi
    done
    # The development link of zlib points at the packaging machine's exact version.
    z=.deps/usr/lib/x86_64-linux-gnu/libz.so
    if [ -L "$z" ] && [ ! -e "$z" ]; then
        ln -sf "$(ls /lib/x86_64-linux-gnu/libz.so.1 /usr/lib/x86_64-linux-gnu/libz.so.1 /usr/lib64/libz.so.1 2>/dev/null | head -n 1)" "$z"
    fi
    extra=(-DCMAKE_PREFIX_PATH="$PWD/.deps/usr" -DCMAKE_LIBRARY_ARCHITECTURE=x86_64-linux-gnu)
    export LD_LIBRARY_PATH="$PWD/.deps/usr/lib/x86_64-linux-gnu${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
    echo "unpacked $(ls .debs/*.deb | wc -l) carried packages into .deps"
fi

build=${BUILD_DIR:-build-gpu}
if ! cmake -S . -B "$build" -G Ninja -DTREVIX7_TESTS=OFF -DTREVIX7_GPU_TESTS=ON \
        -DCMAKE_BUILD_TYPE=RelWithDebInfo "${extra[@]}" >"$build.configure.log" 2>&1 ||
   ! cmake --build "$build" -j "$(nproc)" >"$build.build.log" 2>&1; then
    tail -n 40 "$build.configure.log" "$build.build.log" 2>/dev/null
    echo "0 passed, 1 failed"
    exit 1
fi

# Each program ends with its own totals; they are shown as subtotals and summed
# into the one final line. A program that dies or exits non-zero without
# reporting a failure counts as one.
passed=0
failed=0
run_checks() {
    local name log line rc
    name=$(basename "$1")
    log="$build/$name.log"
    "$@" 2>&1 | tee "$log" |
        sed -u -E "s/^([0-9]+ passed, [0-9]+ failed)\$/       ($name: \1)/"
    rc=${PIPESTATUS[0]}
    line=$(grep -E '^[0-9]+ passed, [0-9]+ failed$' "$log" | tail -n 1)
    if [ -z "$line" ]; then
        echo "[FAIL] $name ended without its totals (exit status $rc)"
        failed=$((failed + 1))
        return
    fi
    set -- $line
    passed=$((passed + $1))
    failed=$((failed + $3))
    if [ "$rc" -ne 0 ] && [ "$3" -eq 0 ]; then
        echo "[FAIL] $name exited with status $rc"
        failed=$((failed + 1))
    fi
}
run_checks "$build/tests/gpu/trevix7_gpu_checks" "$build/cuda" "$build/libtrevix7.so"
run_checks "$build/tests/gpu/trevix7_kernel_checks"
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
