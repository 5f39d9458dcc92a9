#!/usr/bin/env bash
# Installs what this machine lacks to build trevix7 (with --tests, to build
# and test it). Packages carried in .debs/ count as present, so a machine
# without apt that has them needs nothing. The CUDA toolkit is not a Debian
# package: it must already be at /usr/local/cuda.
set -euo pipefail
source "$(dirname "$0")/deps.sh"
t7_use_carried || true

mapfile -t need < <(t7_missing "${1:-}")
if [ ${#need[@]} -gt 0 ]; then
    if ! command -v apt-get >/dev/null || ! apt-get --version >/dev/null 2>&1; then
        echo "missing, and no apt-get to install them: ${need[*]}" >&2
        echo "(on a machine with a network, tools/gpu-debs.sh fetches them into .debs/ to carry here)" >&2
        exit 1
    fi
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
