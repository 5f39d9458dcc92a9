# Sourced by the scripts under tools/ and tests/gpu/: what the build needs
# from Debian, found on the system or in the packages carried in .debs/
# (tools/gpu-debs.sh fetches them for a machine without a network).
#
#   t7_use_carried        unpacks .debs/*.deb into .deps/ and points CMake
#                         (T7_CMAKE_ARGS) and the loader at it
#   t7_missing [--tests]  the Debian packages still missing, one per line

T7_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
T7_DEPS=$T7_ROOT/.deps
T7_CMAKE_ARGS=()

t7_use_carried() {
    ls "$T7_ROOT"/.debs/*.deb >/dev/null 2>&1 || return 1
    if [ ! -d "$T7_DEPS/usr" ] || [ -n "$(find "$T7_ROOT/.debs" -newer "$T7_DEPS/usr" -name '*.deb')" ]; then
        mkdir -p "$T7_DEPS"
        local deb
        for deb in "$T7_ROOT"/.debs/*.deb; do
            if command -v dpkg >/dev/null; then
                dpkg -x "$deb" "$T7_DEPS"
            else
                (tmp=$(mktemp -d) && cd "$tmp" && ar x "$deb" && tar xf data.tar.* -C "$T7_DEPS" &&
                    rm -rf "$tmp")
            fi
        done
        touch "$T7_DEPS/usr"
    fi
    # Development links point at the packaging machine's exact versions.
    local link target
    for link in "$T7_DEPS"/usr/lib/x86_64-linux-gnu/*.so; do
        if [ -L "$link" ] && [ ! -e "$link" ]; then
            target=$(ls /lib/x86_64-linux-gnu/"$(basename "$link")".* /usr/lib/x86_64-linux-gnu/"$(basename "$link")".* 2>/dev/null | head -n 1)
            [ -n "$target" ] && ln -sf "$target" "$link"
        fi
    done
    T7_CMAKE_ARGS=(-DCMAKE_PREFIX_PATH="$T7_DEPS/usr" -DCMAKE_LIBRARY_ARCHITECTURE=x86_64-linux-gnu)
    export LD_LIBRARY_PATH="$T7_DEPS/usr/lib/x86_64-linux-gnu${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
}

# A header of a package, on the system or among the carried packages.
t7_have() { [ -e "/usr/include/$1" ] || [ -e "$T7_DEPS/usr/include/$1" ]; }

t7_missing() {
    command -v cmake >/dev/null || echo cmake
    command -v ninja >/dev/null || echo ninja-build
    command -v g++ >/dev/null || echo g++
    command -v nm >/dev/null || echo binutils
    t7_have nlohmann/json.hpp || echo nlohmann-json3-dev
    t7_have CLI/CLI.hpp || echo libcli11-dev
    t7_have tiny_obj_loader.h || echo libtinyobjloader-dev
    t7_have stb/stb_image.h || echo libstb-dev
    t7_have tinyexr.h || echo libtinyexr-dev
    t7_have tiny_gltf.h || echo libtinygltf-dev
    t7_have png.h || echo libpng-dev
    t7_have zlib.h || echo zlib1g-dev
    t7_have embree3/rtcore.h || echo libembree-dev # the CPU device's traversal
    if [ "${1:-}" = --tests ]; then
        t7_have gtest/gtest.h || echo libgtest-dev
        command -v pkg-config >/dev/null || echo pkg-config
        # The Python package's tests, with Debian's interpreter.
        /usr/bin/python3 -c 'import numpy' 2>/dev/null || printf 'python3\npython3-numpy\n'
    fi
}
