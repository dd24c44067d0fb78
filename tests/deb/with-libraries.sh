#!/usr/bin/env bash
# with-libraries.sh SYSTEM COMMAND...
# Runs COMMAND with the libraries of SYSTEM, which the loader would find by itself if SYSTEM were it.
set -euo pipefail
export LD_LIBRARY_PATH=$1/usr/lib/x86_64-linux-gnu
shift
"$@"
