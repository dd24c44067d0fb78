#!/usr/bin/env bash
# loads-alone.sh LIBOS
# libOS works without libVq: nothing stays undefined when it is loaded alone, and it asks for no
# library of this project. What each thread has of it fits in the little room that the loader keeps
# for libraries which come late.
set -euo pipefail
libos=$1

report=$(ldd -r "$libos" 2>&1)
if grep -E 'undefined symbol|not found|libVq' <<<"$report"; then
    exit 1
fi

perThread=$(($(readelf -lW "$libos" | awk '$1 == "TLS" { print $6 }')))
if [ "$perThread" -gt 128 ]; then
    echo "Each thread has $perThread bytes of libOS at a fixed place."
    exit 1
fi
echo "libOS loads alone, with $perThread bytes in each thread"
