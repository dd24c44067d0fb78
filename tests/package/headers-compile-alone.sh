#!/usr/bin/env bash
# headers-compile-alone.sh INCLUDE_ROOT COMPILER
# Every public header is enough for itself: a file that holds nothing but its #include compiles
# without a warning.
set -euo pipefail
root=$1 compiler=$2

compile_alone() {
    "$compiler" -std=c++20 -fsyntax-only -I "$root" \
        -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -x c++ - <<<"#include \"$1\""
}
export -f compile_alone
export root compiler

cd "$root"
headers=(Vq/*.h OS/LinuxPlatform.h VqTest/*.h)
root=$PWD
printf '%s\0' "${headers[@]}" |
    xargs -0 -P "$(nproc)" -I {} \
        bash -c 'compile_alone {} || { echo "{} does not compile alone"; exit 1; }'
echo "${#headers[@]} headers compile alone"
