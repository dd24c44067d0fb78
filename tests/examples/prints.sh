#!/usr/bin/env bash
# prints.sh EXPECTED COMMAND...
# COMMAND succeeds, and what it prints is the text of EXPECTED.
set -euo pipefail
expected=$1
shift
"$@" | diff -u --label "$expected" "$expected" --label "printed now" -
