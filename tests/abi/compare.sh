#!/usr/bin/env bash
# compare.sh [--update] LIBRARY BASELINE ABIDW_OPTION...
# Is LIBRARY, which has debug information, a substitute for the one that BASELINE describes? More
# functions are; whatever else changed is not, until a maintainer says so. The options say what is
# public. --update writes BASELINE anew.
set -euo pipefail
update=
if [ "$1" = --update ]; then
    update=$1
    shift
fi
library=$1 baseline=$2
shift 2
name=$(basename "$baseline" .abi)

now=$(mktemp)
trap 'rm -f "$now"' EXIT
# Types are named by what they are rather than numbered, so that baselines differ where they do.
abidw --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed --no-parameter-names \
    --no-write-default-sizes --drop-private-types --exported-interfaces-only --type-id-style hash \
    "$@" --out-file "$now" "$library"
if ! grep -q '<class-decl\|<function-decl' "$now"; then
    echo "$library has no debug information"
    exit 1
fi
if [ -n "$update" ]; then
    cat "$now" >"$baseline"
    echo "$name: wrote the baseline"
    exit 0
fi

# Of its status, 1 and 2 are errors, 4 is a change, 8 one that surely breaks programs.
status=0
changes=$(abidiff --no-added-syms "$baseline" "$now" 2>&1) || status=$?
if [ $((status & 3)) -ne 0 ]; then
    echo "$changes"
    exit 2
elif [ "$status" -ne 0 ]; then
    echo "$changes"
    echo "$name: programs that run with the library of the baseline may not run with this one."
    echo "docs/abi.md says what to do."
    exit 1
fi
additions=$(abidiff "$baseline" "$now") ||
    echo "$additions"$'\n'"$name: there is more than in the baseline, which breaks nothing."
echo "$name: compatible with the baseline"
