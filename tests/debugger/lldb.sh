#!/usr/bin/env bash
# lldb.sh DOCUMENT PREFIX COMPILER FOLDER
# LLDB shows what DOCUMENT says, with the summaries of PREFIX.
set -euo pipefail
document=$1 prefix=$2 compiler=$3 folder=$4
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source-path=SCRIPTDIR source=gdb.sh
. "$here/gdb.sh"

rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"
block "$document" cpp >clips.cpp
block "$document" lldb >expected.txt
[ -s expected.txt ]
# What the document asks for: of Clang, that the program describes the library's types itself.
options=()
case $compiler in
*clang*) options=(-fstandalone-debug) ;;
esac
compile "$compiler" clips.cpp clips "${options[@]}"

{
    echo "settings set target.disable-aslr false"
    echo "settings set target.env-vars LD_LIBRARY_PATH=$prefix/lib"
    echo "command source -s true $prefix/share/vq/vq.lldb"
    echo "breakpoint set --file clips.cpp --line $(stop_line clips.cpp)"
    echo run
    sed -n 's/^(lldb) //p' expected.txt
    echo kill
} >questions.lldb
# What it complains about on standard error is its Python.
LC_ALL=C.UTF-8 lldb --no-lldbinit --batch --source questions.lldb clips >log 2>complaints </dev/null
if ! grep -q 'stop reason = breakpoint 1' log; then
    echo "LLDB did not get the program to the breakpoint; may processes be traced here (ptrace)?"
    cat log complaints
    exit 1
fi
sed -n '/^(lldb) frame variable/,/^(lldb) kill/p' log | sed '$d' >answers.txt
diff -u expected.txt answers.txt
