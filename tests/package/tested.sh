#!/usr/bin/env bash
# tested.sh PREFIX COMPILER WAY FOLDER
# Builds tests of a client, which run on the installed platform for tests, and runs them. WAY is how
# they find it: cmake or pkg-config. FOLDER is for what that makes.
set -euo pipefail
prefix=$1 compiler=$2 way=$3 folder=$4
tests=$(cd "$(dirname "$0")" && pwd)/tested

rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"

case $way in
cmake)
    cmake -G Ninja -S "$tests" -B . -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$prefix"
    cmake --build .
    ./tested
    ;;
pkg-config)
    export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
    flags=$(pkg-config --cflags --libs vq-test-platform gtest_main)
    # shellcheck disable=SC2086 # words of a command line
    "$compiler" -std=c++20 -Wall -Wextra -Werror "$tests/tested.cpp" -o tested $flags
    LD_LIBRARY_PATH=$prefix/lib ./tested
    ;;
esac
