#!/usr/bin/env bash
# configure.sh BUILD
# Configures BUILD to hold what Debian packages are made of: the release build for the system's
# places, with debug information.
set -euo pipefail
build=$1
sources=$(cd "$(dirname "$0")/.." && pwd)

cmake -G Ninja -C "$sources/packaging/settings.cmake" -S "$sources" -B "$build" \
    -DCMAKE_CXX_COMPILER=g++ >/dev/null
