#!/usr/bin/env bash
# trevix7-render on the simulated device: each bad input gives its message
# and exit status, and a good scene writes its images.
# Usage: cli_test.sh RENDERER SIM_DIR SCENES_DIR OLD_OPTIX_DIR
set -u
render=$(realpath "$1") sim=$(realpath "$2") scenes=$(realpath "$3") old_optix=$(realpath "$4")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
passed=0 failed=0

# expect STATUS TEXT [ENV=VALUE...] -- ARGS...: the exit status, and TEXT in what it printed.
expect() {
    local status=$1 text=$2 envs=()
    shift 2
    while [ "$1" != "--" ]; do envs+=("$1"); shift; done
    shift
    local out rc
    out=$(cd "$work" && env "${envs[@]}" "$render" "$@" 2>&1)
    rc=$?
    if [ "$rc" -eq "$status" ] && [[ "$out" == *"$text"* ]]; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        echo "[FAIL] trevix7-render $*: status $rc (wanted $status), printed:"
        echo "$out" | sed 's/^/    /'
        echo "    wanted: $text"
    fi
}

printf '{"camera": {}, "render": {"size": [8, 8]}}\n[' >"$work/trailing.json"
printf '{"camera": {"eye": [0, 0, 5]}, "materials": {"m": {"colour": [1, 0, 0]}}}' >"$work/key.json"
printf '{"camera": {"fov": "wide"}}' >"$work/value.json"
printf 'v 0 0 0\nf 1 2 3\n' >"$work/broken.obj"
printf 'v 0 0 0\nv 1 0 0\nv 0 1 0\nvn 0 0 1\nf 1//1 2//1 3//2\n' >"$work/normals.obj"
printf '{"camera": {}, "geometry": [{"type": "mesh", "file": "normals.obj"}]}' >"$work/normals.json"
printf '{"camera": {}, "geometry": [{"type": "mesh", "file": "broken.obj"}]}' >"$work/obj.json"

sim_env=("LD_LIBRARY_PATH=$sim")
expect 2 "scene is required" "${sim_env[@]}" --
expect 2 "--bits" "${sim_env[@]}" -- "$scenes/furnace.json" --bits 12
expect 2 "--denoise" "${sim_env[@]}" -- "$scenes/furnace.json" --denoise best
# Sizes are two whole numbers above 0, and nothing else.
for size in 0x5 100x-5 8x8x8 0x10 x10 10x 10 8.5x8 " 8x8"; do
    expect 2 "--size: expected WIDTHxHEIGHT" "${sim_env[@]}" -- "$scenes/furnace.json" --size "$size"
done
# The format follows the extension; options may not contradict it.
expect 2 "must end in .png or .exr" "${sim_env[@]}" -- "$scenes/furnace.json" -o out.jpg
expect 2 "--exr asks for an EXR image" "${sim_env[@]}" -- "$scenes/furnace.json" -o out.png --exr
expect 2 "--bits 16 is for PNG images" "${sim_env[@]}" -- "$scenes/furnace.json" -o out.exr --bits 16
expect 2 "--display is for EXR images" "${sim_env[@]}" -- "$scenes/furnace.json" -o out.png --display
expect 2 "--frames" "${sim_env[@]}" -- "$scenes/furnace.json" --frames 0
expect 2 "--time" "${sim_env[@]}" -- "$scenes/furnace.json" --time -1
expect 0 "trevix7-render 0." LD_LIBRARY_PATH= -- --version
expect 2 "--time: expected a number of seconds" "${sim_env[@]}" -- "$scenes/furnace.json" --time nan
expect 2 "--camera picks a glTF file's camera" "${sim_env[@]}" -- "$scenes/furnace.json" --camera 0
# A budget shorter than a frame still renders one.
expect 0 "1 frame of 8 x 8" "${sim_env[@]}" -- "$scenes/furnace.json" -o brief.png --size 8x8 --time 1e-9
expect 1 'cannot open scene file "nothing.json": No such file or directory' "${sim_env[@]}" -- nothing.json
expect 1 "trailing.json:2:1: JSON error: syntax error" "${sim_env[@]}" -- trailing.json
expect 1 'key.json: materials.m: unknown key "colour"' "${sim_env[@]}" -- key.json
expect 1 "value.json: camera.fov: expected a number" "${sim_env[@]}" -- value.json
expect 1 'obj.json: geometry[0].file: the OBJ file "broken.obj" has a face past its 1 vertices' "${sim_env[@]}" -- obj.json
expect 1 'has a face past its 1 normals' "${sim_env[@]}" -- normals.json
# Asked for a GPU where there is none: why not.
expect 3 "No GPU: CUDA could not start on this machine" "${sim_env[@]}" TREVIX7_SIM_DEVICES= -- "$scenes/furnace.json" --device gpu
expect 3 "No GPU or no OptiX: CUDA did not start, or OptiX is not usable: libnvoptix.so.1 could not be loaded: libnvoptix.so.1: cannot open shared object file" LD_LIBRARY_PATH= -- "$scenes/furnace.json" --device gpu
expect 3 "optixQueryFunctionTable refused ABI 68 with 7801 (OPTIX_ERROR_UNSUPPORTED_ABI_VERSION" \
    "LD_LIBRARY_PATH=$old_optix:$sim" -- "$scenes/furnace.json" --device gpu
expect 2 "--device" "${sim_env[@]}" -- "$scenes/furnace.json" --device tpu
# Without a GPU, auto renders on the CPU device, and says so once.
expect 0 "Rendering on the CPU device (no usable GPU)." LD_LIBRARY_PATH= -- "$scenes/furnace.json" -o auto.png --size 8x8 --frames 1
expect 0 "Rendering on the CPU device." "${sim_env[@]}" -- "$scenes/furnace.json" -o cpu.png --size 8x8 --frames 1 --device cpu
expect 0 "The CPU device has no denoiser: the image is not denoised." "${sim_env[@]}" -- "$scenes/furnace.json" -o den.png --size 8x8 --frames 1 --device cpu --denoise hdr
# The CPU device's image does not depend on its number of workers.
for n in 1 3; do
    expect 0 "CPU device ($n thread" "${sim_env[@]}" TREVIX7_CPU_THREADS=$n -- "$scenes/demo.json" -o "threads$n.exr" \
        --size 40x24 --frames 2 --device cpu
done
if cmp -s "$work/threads1.exr" "$work/threads3.exr"; then passed=$((passed + 1)); else
    failed=$((failed + 1)); echo "[FAIL] the images of 1 and 3 workers differ"; fi
expect 1 'cannot write "/nonexistent/out.png"' "${sim_env[@]}" -- "$scenes/furnace.json" -o /nonexistent/out.png
expect 0 "wrote out.png (8 x 4)" "${sim_env[@]}" -- "$scenes/furnace.json" -o out.png --size 8x4 --frames 2 \
    --aov albedo,normal,position,id
for f in out.png out.albedo.png out.normal.png out.position.exr out.id.png; do
    if [ -s "$work/$f" ]; then passed=$((passed + 1)); else failed=$((failed + 1)); echo "[FAIL] no $f"; fi
done
expect 0 "wrote deep.exr (8 x 8)" "${sim_env[@]}" -- "$scenes/demo.json" -o deep.exr --size 8x8 --frames 1
expect 0 "1 frame of 8 x 8" "${sim_env[@]}" -- "$scenes/furnace.json" -o one.png --size 8x8 --spp 1
expect 0 "3 frames of 8 x 8" "${sim_env[@]}" -- "$scenes/furnace.json" -o three.png --size 8x8 --spp 3

# A glTF file's cameras, by index.
expect 0 "wrote cam0.png (8 x 8)" "${sim_env[@]}" -- "$scenes/assets/boxes.gltf" -o cam0.png --size 8x8 --frames 1 --camera 0
expect 1 'boxes.gltf": it has no camera 1 (it has 1)' "${sim_env[@]}" -- "$scenes/assets/boxes.gltf" --camera 1 --check

# --check reads the scene and starts no device: it works with none at all.
expect 0 "furnace.json: 64 x 64, 64 frames, 1 geometry, 1 material, 0 textures, 0 lights" \
    LD_LIBRARY_PATH= TREVIX7_SIM_DEVICES= -- "$scenes/furnace.json" --check
expect 1 'key.json: materials.m: unknown key "colour"' LD_LIBRARY_PATH= -- key.json --check
# A bad scene is found before any device: no device line is printed.
out=$(cd "$work" && LD_LIBRARY_PATH=$sim "$render" key.json 2>&1)
if [[ "$out" != *"Rendering on"* && "$out" != *"Selected devices"* ]]; then passed=$((passed + 1)); else
    failed=$((failed + 1)); echo "[FAIL] a bad scene started a device:"; echo "$out" | sed 's/^/    /'; fi

# A time budget ends the render, and samples per second count the samples
# rendered: a quarter of the pixels under the upscaling denoiser.
out=$(cd "$work" && LD_LIBRARY_PATH=$sim "$render" "$scenes/demo.json" -o timed.png --size 32x32 --time 0.3 \
      --device cpu --denoise up2 2>&1)
if echo "$out" | awk '/frames of 32 x 32 in/ { n = $1; t = $8; r = $10 }
                      END { k = r * t / n / 256; exit !(n > 0 && t >= 0.3 && t < 5 && k > 0.8 && k < 1.25) }'; then
    passed=$((passed + 1))
else
    failed=$((failed + 1)); echo "[FAIL] --time 0.3 with up2:"; echo "$out" | sed 's/^/    /'
fi

# Ctrl-C stops after the running batch and writes what was rendered.
# A background job of a script starts with SIGINT ignored: give it back its default.
(cd "$work" && exec env --default-signal=INT LD_LIBRARY_PATH="$sim" "$render" "$scenes/demo.json" -o stopped.png --size 64x64 \
     --frames 1000000 --device cpu >stopped.txt 2>&1) &
pid=$!
for _ in $(seq 100); do grep -q "Primary device" "$work/stopped.txt" 2>/dev/null && break; sleep 0.1; done
sleep 0.5
kill -INT "$pid"
wait "$pid"
rc=$?
if [ "$rc" -eq 130 ] && [ -s "$work/stopped.png" ] && grep -q "Interrupted: the image holds the [0-9]* frames rendered." "$work/stopped.txt"; then
    passed=$((passed + 1))
else
    failed=$((failed + 1)); echo "[FAIL] Ctrl-C: status $rc, printed:"; sed 's/^/    /' "$work/stopped.txt"
fi

# Every shipped scene loads and renders, glTF files too.
for scene in "$scenes"/*.json "$scenes"/assets/*.gltf; do
    name=$(basename "${scene%.*}")
    expect 0 "wrote $name.png" "${sim_env[@]}" -- "$scene" -o "$name.png" \
        --size 8x8 --frames 1
done

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
