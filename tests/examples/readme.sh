#!/usr/bin/env bash
# readme.sh README PREFIX COMPILER FOLDER
# README's first program, built as README's CMake lines say against the installation in PREFIX,
# prints what README says it does.
set -euo pipefail
readme=$1 prefix=$2 compiler=$3 folder=$4

# The first fenced block of a language.
block() {
    awk -v open="\`\`\`$1" '/^```/ { if (inside) exit; inside = $0 == open; next } inside' "$readme"
}

rm -rf "$folder"
mkdir -p "$folder"
block cpp >"$folder/clips.cpp"
block text >"$folder/expected"
{
    echo 'cmake_minimum_required(VERSION 3.25)'
    echo 'project(Clips LANGUAGES CXX)'
    block cmake
} >"$folder/CMakeLists.txt"
[ -s "$folder/expected" ]

cd "$folder"
cmake -G Ninja -S . -B build -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$prefix"
cmake --build build
build/clips | diff -u expected -
