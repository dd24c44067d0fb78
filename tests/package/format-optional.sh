#!/usr/bin/env bash
# format-optional.sh INCLUDE_ROOT COMPILER
# Vq/Format.h is empty where {fmt} is not installed: it compiles where no header of the system is to
# be found, and so holds nothing that would want one.
set -euo pipefail
root=$1 compiler=$2

compile() {
    "$compiler" -std=c++20 -nostdinc -nostdinc++ -fsyntax-only -I "$root" -Werror "${@:2}" \
        -x c++ - <<<"#include \"Vq/$1\""
}
compile Format.h
if compile UUID.h 2>/dev/null; then
    echo "This compiler finds headers of the system all the same, so nothing was shown."
    exit 1
fi

# And it is not empty where there is something of that name.
found=$(mktemp -d)
trap 'rm -rf "$found"' EXIT
mkdir "$found/fmt"
: >"$found/fmt/format.h"
if compile Format.h -I "$found" 2>/dev/null; then
    echo "Vq/Format.h is empty although {fmt} is there."
    exit 1
fi
