#!/usr/bin/env bash
# states.sh PREFIX COMPILER FOLDER
# gdb shows one object in each state as states.txt says, in a process and in a core file, with the
# printers that it finds beside the library in PREFIX.
set -euo pipefail
prefix=$1 compiler=$2 folder=$3
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source-path=SCRIPTDIR source=gdb.sh
. "$here/gdb.sh"

rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"
compile "$compiler" "$here/states.cpp" states

# answers LOG: from the first question on.
answers() { sed -n '/^+/,$p' "$1" | stable; }

debug -iex "add-auto-load-safe-path $prefix" -ex "set environment LD_LIBRARY_PATH $prefix/lib" \
    -ex 'break stopHere' -ex run -ex 'generate-core-file states.core' -ex 'up-silently' \
    -x "$here/states.gdb" states >process.log
require_stop process.log
answers process.log >process.txt
diff -u "$here/states.txt" process.txt

debug -iex "add-auto-load-safe-path $prefix" -iex "set solib-search-path $prefix/lib" \
    -ex 'up-silently' -x "$here/states.gdb" states states.core >core.log
rm states.core
answers core.log >core.txt
diff -u "$here/states.txt" core.txt
