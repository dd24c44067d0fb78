#!/usr/bin/env bash
# client.sh PREFIX COMPILER WAY FOLDER
# Builds the client next to this script with COMPILER against the installation in PREFIX and runs
# it. WAY is how it finds the libraries: cmake, plain or pkg-config. FOLDER is for what that makes.
set -euo pipefail
prefix=$1 compiler=$2 way=$3 folder=$4
client=$(cd "$(dirname "$0")" && pwd)/client

rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"

compile() {
    "$compiler" -std=c++20 -Wall -Wextra -Werror "$client"/*.cpp -o client "$@"
}

case $way in
cmake)
    cmake -G Ninja -S "$client" -B . -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$prefix"
    cmake --build .
    ./client
    ;;
plain)
    compile -I "$prefix/include" -L "$prefix/lib" -lVq -lOS
    LD_LIBRARY_PATH=$prefix/lib ./client
    ;;
pkg-config)
    flags=$(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --cflags --libs vq)
    # shellcheck disable=SC2086 # words of a command line
    compile $flags
    LD_LIBRARY_PATH=$prefix/lib ./client
    ;;
esac
