#!/usr/bin/env bash
# example.sh EXPECTED FOLDER PROGRAM ARGUMENT...
# The example PROGRAM, run in the empty folder FOLDER, succeeds and prints the text of EXPECTED.
set -euo pipefail
expected=$1 folder=$2
shift 2

rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"
TZ=UTC0 "$@" | diff -u --label "$expected" "$expected" --label "printed now" -
