#!/usr/bin/env bash
# loads-alone.sh LIBOS
# libOS works without libVq: nothing stays undefined when it is loaded alone, and it asks for no
# library of this project.
set -euo pipefail
libos=$1

report=$(ldd -r "$libos" 2>&1)
if grep -E 'undefined symbol|not found|libVq' <<<"$report"; then
    exit 1
fi
echo "libOS loads alone"
