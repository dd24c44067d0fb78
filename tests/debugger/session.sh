#!/usr/bin/env bash
# session.sh DOCUMENT PREFIX BUILD COMPILER FOLDER
# gdb answers to the questions in DOCUMENT, about the program there, as DOCUMENT says, however the
# printers are found: beside the library in PREFIX or in BUILD, where gdb of the system looks, or by
# hand. Without any of these it does not. For a stripped library the program is compiled as DOCUMENT
# says, else it only has -g.
set -euo pipefail
document=$1 prefix=$2 build=$3 compiler=$4 folder=$5
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source-path=SCRIPTDIR source=gdb.sh
. "$here/gdb.sh"

rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"
block "$document" cpp >clips.cpp
block "$document" console >session.txt
[ -s session.txt ]
stable <session.txt >expected.txt
sed -n 's/^(gdb) \(.*\)/echo (gdb) \1\\n\n\1/p' session.txt >questions.gdb
compile "$compiler" clips.cpp clips

# answers WAY LIBRARIES ARGUMENT...: with the libraries of these folders.
answers() {
    local way=$1 libraries=$2
    shift 2
    debug "$@" -ex "set environment LD_LIBRARY_PATH $libraries" \
        -ex "break clips.cpp:$(stop_line clips.cpp)" -ex run -x questions.gdb clips >"$way.log"
    require_stop "$way.log"
    sed -n '/^(gdb) /,$p' "$way.log" | stable >"$way.txt"
}

as_documented() {
    answers "$@"
    diff -u expected.txt "$1.txt" || { echo "The printers do not work: $1"; exit 1; }
}

ole=$build/ole
as_documented prefix "$prefix/lib" -iex "add-auto-load-safe-path $prefix/lib"
as_documented build "$ole/Vq:$ole/OS:$ole/VqIPP" -iex "add-auto-load-safe-path $build"
as_documented source "$prefix/lib" -iex 'set auto-load no' \
    -ex "source $(echo "$prefix"/lib/libVq.so.*-gdb.py)"

# A root of its own with the layout of packages: stripped libraries and no printers beside them.
mkdir -p root/usr/lib "auto-load$PWD/root/usr/lib"
cp -a "$prefix"/lib/lib{Vq,OS,VqIPP}.so* root/usr/lib
mv root/usr/lib/*-gdb.py "auto-load$PWD/root/usr/lib"
strip root/usr/lib/lib*.so
packaged=(-iex "set auto-load scripts-directory $PWD/auto-load"
    -iex "set auto-load safe-path $PWD/auto-load")
answers stripped "$PWD/root/usr/lib" "${packaged[@]}"
grep -A 1 '(gdb) print marks$' stripped.txt | grep -qx '= <incomplete type>'
compile "$compiler" clips.cpp clips "$(all_types "$compiler")"
as_documented system "$PWD/root/usr/lib" "${packaged[@]}"

answers untrusted "$prefix/lib" -iex 'set auto-load safe-path /nowhere'
if diff -q expected.txt untrusted.txt >/dev/null; then
    echo "gdb has the printers from elsewhere, so this says nothing about the ways above."
    exit 1
fi
