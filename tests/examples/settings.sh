#!/usr/bin/env bash
# settings.sh PROGRAM EDITOR_INI FOLDER
# The example changes the sample rate in a copy of EDITOR_INI and nothing else, and tells what it
# cannot do.
set -euo pipefail
program=$1 original=$2 folder=$3

rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"

# fails STATUS MESSAGE ARGUMENT...
fails() {
    local wanted=$1 message=$2 status=0
    shift 2
    "$program" "$@" >printed 2>errors || status=$?
    if [ "$status" -ne "$wanted" ] || [ "$(cat errors)" != "$message" ]; then
        echo "settings $*: status $status instead of $wanted, and said: $(cat errors)"
        exit 1
    fi
}

sed 's/^SampleRate=48000/SampleRate=96000/' "$original" >expected.ini
cp "$original" editor.ini
"$program" editor.ini >printed
cmp editor.ini expected.ini
[ "$(grep -c '^SampleRate=48000$' printed) $(grep -c '^SampleRate=96000$' printed)" = "1 1" ]

printf '[Video]\nWidth=1920\n' >silent.ini
fails 1 'settings: silent.ini: no SampleRate in section [Audio]' silent.ini
[ "$(cat silent.ini)" = $'[Video]\nWidth=1920' ]
fails 1 'settings: missing.ini: cannot be read, or is empty' missing.ini
fails 1 'settings: .: cannot be read, or is empty' .
fails 2 'usage: settings FILE'
