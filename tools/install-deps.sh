#!/usr/bin/env bash
# Installs what a fresh Debian machine lacks to build and test trevix7. The CUDA
# toolkit is not a Debian package: it must already be at /usr/local/cuda.
set -euo pipefail

need=()
command -v cmake >/dev/null || need+=(cmake)
command -v ninja >/dev/null || need+=(ninja-build)
command -v g++ >/dev/null || need+=(g++)
command -v nm >/dev/null || need+=(binutils)
[ -f /usr/include/gtest/gtest.h ] || need+=(libgtest-dev)

if [ ${#need[@]} -gt 0 ]; then
    echo "installing: ${need[*]}"
    sudo=""
    [ "$(id -u)" -eq 0 ] || sudo=sudo
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${need[@]}"
fi

if ! command -v nvcc >/dev/null && [ ! -x /usr/local/cuda/bin/nvcc ]; then
    echo "The CUDA 13 toolkit (nvcc) is required at /usr/local/cuda." >&2
    exit 1
fi
