#!/usr/bin/env bash
# run.sh EXPECTED PROGRAM MODE PLUGIN
# What PROGRAM prints and what it leaves in its pool log are the text of EXPECTED, but for times.
# --update in front of EXPECTED writes that file.
set -euo pipefail
update=0
if [ "$1" = --update ]; then
    update=1
    shift
fi
expected=$1 program=$2 mode=$3 plugin=$4
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
logs=$folder/data/$(basename "$program")/Logs
mkdir -p "$logs"

XDG_DATA_HOME=$folder/data TZ=UTC0 "$program" "$mode" "$plugin" >"$folder/output"
{
    # The stamp takes nine columns and a colon.
    sed -E 's/^-?[0-9]+\.[0-9]{3} *: //' "$folder/output"
    echo
    echo "PooledObjects.log:"
    # The header has the one date that is not the start of time.
    sed -E 's/^(-{59}) [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]{2} [0-9:]{8} [0-9]{4}$/\1 <date>/' \
        "$logs/PooledObjects.log"
} >"$folder/all"
if [ "$update" = 1 ]; then
    cp "$folder/all" "$expected"
else
    diff -u --label "$expected" "$expected" --label "happened now" "$folder/all"
fi
