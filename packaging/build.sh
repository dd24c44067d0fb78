#!/usr/bin/env bash
# build.sh BUILD OUT
# Makes the Debian packages: compiles in BUILD what has changed there, leaves the packages in OUT
# instead of earlier ones, and prints their names.
set -euo pipefail
build=$1 out=$2
packages=(libvq14 libvq14-dbgsym libvq-dev vq-tools)

"$(dirname "$0")/configure.sh" "$build"
cmake --build "$build" -- --quiet | sed '/^ninja: no work to do\.$/d'

mkdir -p "$out"
out=$(cd "$out" && pwd)
rm -rf "$out/_CPack_Packages"
for package in "${packages[@]}"; do rm -f "$out/$package"_*.deb; done
if ! said=$(cpack --config "$build/CPackConfig.cmake" -B "$out" 2>&1); then
    echo "$said"
    exit 1
fi
rm -r "$out/_CPack_Packages"
for symbols in "$out"/*.ddeb; do
    mv "$symbols" "${symbols%.ddeb}.deb" # its name in Debian
done
for package in "${packages[@]}"; do (cd "$out" && ls "$package"_*.deb); done
