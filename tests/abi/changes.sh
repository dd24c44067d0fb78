#!/usr/bin/env bash
# changes.sh COMPILER FOLDER
# The comparison of binary interfaces refuses what breaks programs, each such change to a library on
# its own, and lets pass what does not.
set -euo pipefail
compiler=$1 folder=$2
here=$(cd "$(dirname "$0")" && pwd)

rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"

# build NAME OPTION...
build() {
    local name=$1
    shift
    "$compiler" -std=c++20 -O2 -fPIC -shared -Wl,-soname,libsample.so.1 "$@" \
        "$here/sample/sample.cpp" -o "$name.so"
}

# compare [--update] NAME
compare() {
    "$here/compare.sh" "${@:1:$#-1}" "${!#}.so" sample.abi --header-file "$here/sample/sample.h"
}

# result CHANGE STATUS MESSAGE: what the comparison makes of a library with that change
result() {
    local change=$1 wanted=$2 message=$3 status=0
    build "$change" -g "-D$change"
    compare "$change" >"$change.said" 2>&1 || status=$?
    if [ "$status" -ne "$wanted" ] || ! grep -qF -e "$message" "$change.said"; then
        echo "$change: status $status rather than $wanted, or no word of: $message"
        cat "$change.said"
        exit 1
    fi
}

build unchanged -g
compare --update unchanged
[ "$(compare unchanged)" = "sample: compatible with the baseline" ]
result ADDED 0 "[A] 'function int third(const Point&)'"
result ADDED 0 "compatible with the baseline"
result INTERNAL 0 "compatible with the baseline"
result REMOVED 1 "[D] 'function int second(const Point&)'"
result LONGER 1 "type size changed from 64 to 128"
result REORDERED 1 "vtable offset of method virtual int Shape::"
result APPENDED 1 "virtual int Shape::faces() const"
result RETYPED 1 "return type changed"

build bare
if compare bare >bare.said 2>&1 || ! grep -q 'has no debug information' bare.said; then
    echo "a library without debug information passes"
    exit 1
fi
build other -g -Wl,-soname,libsample.so.2
if compare other >other.said 2>&1 || ! grep -q "SONAME changed" other.said; then
    echo "a library of another name passes"
    exit 1
fi
