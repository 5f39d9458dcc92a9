#!/usr/bin/env bash
# Installs the build into a temporary prefix, checks what is there, then
# builds a small C host through find_package and another through
# pkg-config, and runs both and the installed trevix7-render on the
# simulated device, then the renderer on the CPU device.
# Usage: install_test.sh BUILD_DIR SIM_DIR SCENE
set -eu
build=$(realpath "$1") sim=$(realpath "$2") scene=$(realpath "$3")
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
passed=0 failed=0
check() { # check DESCRIPTION COMMAND...
    local what=$1
    shift
    if out=$("$@" 2>&1); then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        echo "[FAIL] $what"
        echo "$out" | tail -n 20 | sed 's/^/    /'
    fi
}

check "cmake --install" cmake --install "$build" --prefix "$prefix"
check "the library with its soname" bash -c \
    "[ \"\$(readlink '$prefix/lib/libtrevix7.so')\" = libtrevix7.so.0 ] &&
     readelf -d '$prefix/lib/libtrevix7.so.0' | grep -q 'SONAME.*\\[libtrevix7.so.0\\]'"
for f in include/trevix7/trevix7.h include/trevix7/trevix7_programs.h include/trevix7/trevix7_scene.h \
         share/trevix7/cuda/t7_hit.ptx share/trevix7/cuda/dummy7_chit.ptx bin/trevix7-render \
         lib/libtrevix7_scene.so lib/cmake/trevix7/trevix7Config.cmake lib/pkgconfig/trevix7.pc \
         lib/trevix7/cpu/libtrevix7.so.0 lib/trevix7/cpu/libtrevix7_cpu.so lib/trevix7/cpu/libnvoptix.so.1 \
         lib/cmake/trevix7/trevix7Targets.cmake share/trevix7/scenes/demo.json share/trevix7/docs/scene-format.md \
         share/trevix7/LICENSE share/trevix7/python/trevix7/__init__.py; do
    check "installed $f" test -e "$prefix/$f"
done

export LD_LIBRARY_PATH=$sim # the installed library's soname, simulated
check "find_package: configure and build" bash -c \
    "cmake -S '$here' -B '$work/cmake' -DCMAKE_PREFIX_PATH='$prefix' -DCMAKE_BUILD_TYPE=Release &&
     cmake --build '$work/cmake'"
check "find_package: the host renders" bash -c "'$work/cmake/consumer' '$scene' | grep -q 'rendered 16 x 8'"

export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
check "pkg-config: build" bash -c \
    "cc -std=c99 -o '$work/pc' '$here/consumer.c' \$(pkg-config --cflags --libs trevix7-scene) \
        -DPROGRAM_DIR=\\\"\$(pkg-config --variable=programdir trevix7)\\\""
check "pkg-config: the host renders" bash -c "'$work/pc' '$scene' | grep -q 'rendered 16 x 8'"
check "pkg-config: the host finds the installed library by itself" bash -c \
    "LD_LIBRARY_PATH= ldd '$work/pc' | grep -q 'libtrevix7.so.0 => $prefix/lib/.*libtrevix7.so.0 '"
check "pkg-config: the same host renders on the CPU device" bash -c \
    "LD_LIBRARY_PATH=\$(pkg-config --variable=cpudir trevix7) '$work/pc' '$scene' >'$work/pc.txt' &&
     grep -q 'CPU device' '$work/pc.txt' && grep -q 'rendered 16 x 8' '$work/pc.txt'"

check "the installed renderer finds its programs" bash -c \
    "cd '$work' && '$prefix/bin/trevix7-render' '$scene' -o x.png --size 8x8 --frames 1 && test -s x.png"

# Without a GPU the installed renderer finds the CPU device in its private
# folder, which nothing else sees.
check "the installed renderer renders on the CPU device" bash -c \
    "cd '$work' && LD_LIBRARY_PATH= '$prefix/bin/trevix7-render' '$scene' -o c.png --size 8x8 --frames 1 >c.txt &&
     grep -q 'Rendering on the CPU device (no usable GPU).' c.txt && test -s c.png"
check "the installed Python package finds the libraries and renders on the CPU device" env -u TREVIX7_LIBRARY_PATH \
    LD_LIBRARY_PATH= PYTHONPATH="$prefix/share/trevix7/python" /usr/bin/python3 -c \
    "import trevix7; r = trevix7.Renderer('$scene', width=8, height=8, frames=1); r.render()
assert (trevix7.device(), trevix7.library().program_dir) == ('cpu', '$prefix/share/trevix7')"
check "no OptiX library on the loader's paths" bash -c "! ls '$prefix/lib' | grep -q nvoptix"

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
