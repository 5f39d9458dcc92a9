#!/usr/bin/env bash
# Downloads the Debian packages that the build needs into .debs/, for a GPU
# machine that has no network: carry .debs (ignored by git) with the work
# tree, and the scripts unpack them into .deps/ inside it (tools/deps.sh).
set -euo pipefail
cd "$(dirname "$0")/.."
exclude=$(git rev-parse --git-path info/exclude)
mkdir -p "$(dirname "$exclude")"
grep -qx '/.debs/' "$exclude" 2>/dev/null || printf '/.debs/\n/.deps/\n' >>"$exclude"
mkdir -p .debs
cd .debs
apt-get update -qq
apt-get download nlohmann-json3-dev libcli11-dev libtinyobjloader-dev libstb-dev libtinyexr-dev \
    libpng-dev libpng16-16 zlib1g-dev libembree-dev libembree3-3 libtbb12 libtbbmalloc2 libtinygltf-dev
ls -l
