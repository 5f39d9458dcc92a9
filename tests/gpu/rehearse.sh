#!/usr/bin/env bash
# Runs a command (by default the GPU session script) on a machine without a
# GPU, in an environment like the GPU machine's: the Debian packages carried
# in .debs/ and GoogleTest are hidden from the system paths, and apt-get is
# gone. It runs as root in a private mount namespace, with overlays that
# white the packages' files out; nothing outside the namespace changes.
#
# Usage: tests/gpu/rehearse.sh [COMMAND...]     (after tools/gpu-debs.sh)
#        default: BUILD_DIR=build-rehearsal tests/gpu/session.sh rehearsal
set -eu
cd "$(dirname "$0")/../.."
[ $# -gt 0 ] || set -- env BUILD_DIR=build-rehearsal tests/gpu/session.sh rehearsal
layers=$(mktemp -d)
trap 'rm -rf "$layers"' EXIT

packages=(libgtest-dev libgmock-dev googletest)
for deb in .debs/*.deb; do packages+=("$(dpkg-deb -f "$deb" Package)"); done
roots=(/usr/include /usr/lib/x86_64-linux-gnu /usr/share /usr/src /usr/bin)
{
    dpkg -L "${packages[@]}" 2>/dev/null
    echo /usr/bin/apt-get
    echo /usr/bin/apt
} | while read -r file; do
    [ -e "$file" ] && [ ! -d "$file" ] || continue
    for root in "${roots[@]}"; do
        case "$file" in "$root"/*)
            upper=$layers/$(echo "$root" | tr / _)/upper
            mkdir -p "$(dirname "$upper${file#"$root"}")"
            mknod "$upper${file#"$root"}" c 0 0
            ;;
        esac
    done
done

unshare --mount --propagation private bash -c '
    for root in '"${roots[*]}"'; do
        layer='"$layers"'/$(echo "$root" | tr / _)
        [ -d "$layer/upper" ] || continue
        mkdir -p "$layer/work"
        mount -t overlay overlay -o "lowerdir=$root,upperdir=$layer/upper,workdir=$layer/work" "$root"
    done
    echo "hidden: '"${packages[*]}"'; apt-get: $(command -v apt-get || echo gone)"
    exec "$@"
' rehearse "$@"
