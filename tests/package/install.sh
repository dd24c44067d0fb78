#!/usr/bin/env bash
# install.sh BUILD FOLDER
# Installs BUILD and leaves it in FOLDER/moved, which is not where it was installed to. Nothing that
# is installed may name a place of the build or of the first installation.
set -euo pipefail
build=$1 folder=$2

rm -rf "$folder"
cmake --install "$build" --prefix "$folder/first" >/dev/null
mv "$folder/first" "$folder/moved"
cd "$folder/moved"
for wanted in include/Vq/Platform.h include/OS/LinuxPlatform.h lib/libVq.so lib/libOS.so \
    lib/cmake/Vq/VqConfig.cmake lib/cmake/Vq/VqConfigVersion.cmake lib/pkgconfig/vq.pc; do
    [ -e "$wanted" ] || { echo "not installed: $wanted"; exit 1; }
done
if grep -rlF -e "$build" -e "$folder" include lib/cmake lib/pkgconfig; then
    echo "These files hold a path of the build."
    exit 1
fi
for object in lib/*.so bin/*; do
    [ -e "$object" ] || continue
    if readelf -d "$object" | grep -E 'R(UN)?PATH' | grep -v '\[.ORIGIN'; then
        echo "$object is not free to move."
        exit 1
    fi
done
