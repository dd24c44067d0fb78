#!/usr/bin/env bash
# with-libraries.sh SYSTEM COMMAND...
# Runs COMMAND with the libraries of SYSTEM. On such a system the loader finds them by itself.
set -euo pipefail
export LD_LIBRARY_PATH=$1/usr/lib/x86_64-linux-gnu
shift
"$@"
