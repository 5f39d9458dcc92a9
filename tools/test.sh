#!/usr/bin/env bash
# Builds everything and runs the tests that need no GPU: unit and
# simulated-device tests, the same under AddressSanitizer + UBSan, and the
# product smoke test; and the break request, which comes from another thread,
# under ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh --tests
export PATH="/usr/local/cuda/bin:$PATH"
jobs=$(nproc)

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTREVIX7_TESTS=ON
cmake --build build -j "$jobs"
ctest --test-dir build --output-on-failure -j "$jobs"

# The simulated device turns every buffer into host memory, so the
# sanitizers see the library's own out-of-bounds accesses and leaks.
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTREVIX7_PRODUCT=OFF \
      -DTREVIX7_SANITIZE=ON
cmake --build build-asan -j "$jobs"
ctest --test-dir build-asan --output-on-failure -j "$jobs"

cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTREVIX7_PRODUCT=OFF -DTREVIX7_TSAN=ON
cmake --build build-tsan -j "$jobs" --target trevix7_unit_tests nvoptix_sim
ctest --test-dir build-tsan --output-on-failure -R '^unit[.]frame_break$'
