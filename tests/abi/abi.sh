#!/usr/bin/env bash
# abi.sh BUILD [--update]
# Compares libVq and libOS, built in BUILD as they are packaged, with the descriptions in this
# folder of their binary interfaces. --update writes the descriptions anew.
set -euo pipefail
build=$1
shift
here=$(cd "$(dirname "$0")" && pwd)
sources=$(cd "$here/../.." && pwd)

"$sources/packaging/configure.sh" "$build"
cmake --build "$build" --target Vq -- --quiet | sed '/^ninja: no work to do\.$/d'

failed=0
for name in Vq OS; do
    "$here/compare.sh" "$@" "$build/ole/$name/lib$name.so" "$here/lib$name.abi" \
        --headers-dir "$sources/ole/Vq" --header-file "$sources/ole/OS/LinuxPlatform.h" \
        --suppressions "$here/ignored.ini" || failed=1
done
exit "$failed"
