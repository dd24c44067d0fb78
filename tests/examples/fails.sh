#!/usr/bin/env bash
# fails.sh STATUS MESSAGE PROGRAM ARGUMENT...
# PROGRAM ends with STATUS and says MESSAGE on standard error.
set -euo pipefail
wanted=$1 message=$2
shift 2

status=0
said=$("$@" 2>&1 >/dev/null) || status=$?
if [ "$status" -ne "$wanted" ] || [ "$said" != "$message" ]; then
    echo "$*: status $status instead of $wanted, and said: $said"
    exit 1
fi
