#!/usr/bin/env bash
# includes-installed.sh INCLUDE_ROOT
# An installed header includes only what is installed beside it, always by its full path, and the
# headers of the language and the system, never those of the build.
set -euo pipefail
cd "$1"

failed=0
while IFS=: read -r header include; do
    included=$(sed -E 's/.*#[[:space:]]*include[[:space:]]*["<]([^">]*)[">].*/\1/' <<<"$include")
    case $include in
    *'"'*) [ -f "$included" ] && continue ;;
    *) [[ $included != Vq* && $included != OS/* ]] && continue ;;
    esac
    echo "$header includes $included, which is not installed or not quoted"
    failed=1
done < <(grep -rE '^[[:space:]]*#[[:space:]]*include' --include='*.h' Vq OS VqTest)
exit "$failed"
