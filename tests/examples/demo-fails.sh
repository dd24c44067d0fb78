#!/usr/bin/env bash
# demo-fails.sh DEMO BUILD FOLDER
# A demonstration whose tool does not do its work ends with a status of its own and with a message
# that names the command.
set -euo pipefail
demo=$1 build=$2 folder=$3

rm -rf "$folder"
mkdir -p "$folder"
printf '#!/bin/sh\nexit 1\n' >"$folder/vq"
chmod +x "$folder/vq"

if "$demo" "$folder/vq" "$build" >"$folder/printed" 2>"$folder/errors"; then
    echo "The demonstration went on with a tool that fails."
    exit 1
fi
grep 'status 1 instead of 0: vq ini list editor.ini' "$folder/errors"
