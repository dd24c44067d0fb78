#!/usr/bin/env bash
# alone.sh EXAMPLES PREFIX COMPILER FOLDER
# The examples build in FOLDER on their own, without a warning, against the installation in PREFIX;
# and each is under 60 lines.
set -euo pipefail
examples=$1 prefix=$2 compiler=$3 folder=$4

rm -rf "$folder"
cmake -G Ninja -S "$examples" -B "$folder" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_COMPILE_WARNING_AS_ERROR=ON \
    -DCMAKE_CXX_FLAGS="-Wall -Wextra -Wpedantic -Wconversion -Wshadow"
cmake --build "$folder"

long=$(find "$examples" -name '*.cpp' \
    -exec awk 'END { if (NR >= 60) print FILENAME ": " NR }' {} \;)
[ -z "$long" ] || { echo "60 lines or more: $long"; exit 1; }
