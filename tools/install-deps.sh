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
# The scene reader and trevix7-render: JSON, options, OBJ, images, EXR.
[ -f /usr/include/nlohmann/json.hpp ] || need+=(nlohmann-json3-dev)
[ -f /usr/include/CLI/CLI.hpp ] || need+=(libcli11-dev)
[ -f /usr/include/tiny_obj_loader.h ] || need+=(libtinyobjloader-dev)
[ -f /usr/include/stb/stb_image.h ] || need+=(libstb-dev)
[ -f /usr/include/tinyexr.h ] || need+=(libtinyexr-dev)
[ -f /usr/include/png.h ] || need+=(libpng-dev)
[ -f /usr/include/zlib.h ] || need+=(zlib1g-dev)
command -v pkg-config >/dev/null || need+=(pkg-config)
# The Python package and its tests, with Debian's interpreter.
/usr/bin/python3 -c 'import numpy' 2>/dev/null || need+=(python3 python3-numpy)

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
