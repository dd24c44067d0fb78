#!/usr/bin/env bash
# border.sh PREFIX PROGRAM_COMPILER PLUGIN_COMPILER FOLDER
# Builds the program and the plugin of border/ against the installation in PREFIX, each with its
# compiler, and runs the program with the plugin's names kept to itself and made known to all.
set -euo pipefail
prefix=$1 program_compiler=$2 plugin_compiler=$3 folder=$4
sources=$(cd "$(dirname "$0")" && pwd)/border

rm -rf "$folder"
mkdir -p "$folder"
flags=(-std=c++20 -O2 -Wall -Wextra -Werror -I "$prefix/include" -L "$prefix/lib"
    -Xlinker -rpath -Xlinker "$prefix/lib")
"$plugin_compiler" "${flags[@]}" -fPIC -shared -fvisibility=hidden "$sources/plugin.cpp" \
    -o "$folder/plugin.so" -lVq -lOS
"$program_compiler" "${flags[@]}" -pthread "$sources/main.cpp" -o "$folder/main" -lVq -lOS -ldl
for binding in local global; do
    "$folder/main" "$folder/plugin.so" "$binding"
done
