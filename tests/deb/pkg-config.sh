#!/usr/bin/env bash
# pkg-config.sh SYSTEM COMPILER SOURCES FOLDER
# Builds the client that uses all of the interface, and the tests on the test platform, against
# SYSTEM by its pkg-config files alone, and runs both.
set -euo pipefail
system=$1 compiler=$2 sources=$3 folder=$4

rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"
# Linker and loader find what libVq needs, as they do in the system's folder by themselves.
export LD_LIBRARY_PATH=$system/usr/lib/x86_64-linux-gnu
# build NAME PACKAGES SOURCE...
build() {
    local name=$1 packages=$2 flags
    shift 2
    # shellcheck disable=SC2086 # words of a command line
    flags=$(PKG_CONFIG_PATH=$LD_LIBRARY_PATH/pkgconfig pkg-config --cflags --libs $packages)
    # shellcheck disable=SC2086
    "$compiler" -std=c++20 -Wall -Wextra -Werror "$@" -o "$name" $flags
    "./$name"
}
build client vq "$sources"/tests/package/client/*.cpp &
build tested "vq-test-platform gtest_main" "$sources/tests/package/tested/tested.cpp" &
wait -n
wait -n
