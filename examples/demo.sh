#!/usr/bin/env bash
# demo.sh VQ BUILD
# Shows the tool VQ at work on copies of the files in settings/ and metadata/, then installs BUILD
# into a folder of its own and changes a settings file with a program that is built against that
# installation. Every command is shown before it runs; the first that does not end as it should ends
# the demonstration.
set -euo pipefail
tool=$(realpath "$1")
BUILD=$(realpath "$2")
EXAMPLES=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# The compiler that made the libraries.
CXX=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$BUILD/CMakeCache.txt")
export CXX CMAKE_GENERATOR=Ninja PATH="${tool%/*}:$PATH" LC_ALL=C.UTF-8

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
cp "$EXAMPLES"/settings/editor.ini "$EXAMPLES"/metadata/*.txt .

say() { printf '\n# %s\n' "$1"; }

# ends_with STATUS COMMAND: shows and runs COMMAND, which has to end with STATUS.
ends_with() {
    local wanted=$1 status=0
    printf '\n$ %s\n' "$2"
    eval "$2" || status=$?
    [ "$status" -eq "$wanted" ] || {
        echo "demo.sh: status $status instead of $wanted: $2" >&2
        return 1
    }
}

run() { ends_with 0 "$1"; }

# For commands that talk a lot: shows what they say only when they fail.
run_quietly() {
    printf '\n$ %s\n' "$1"
    eval "$1" >log 2>&1 || {
        cat log >&2
        return 1
    }
}

show_changes() { ends_with 1 "diff $1 $2 | tr -d '\\r'"; }

say 'A settings file of a video editor: its sections, the settings of one, single values.'
run 'vq ini list editor.ini'
run 'vq ini list editor.ini Video'
run 'vq ini get editor.ini User Name'
run 'vq ini get editor.ini Storage MediaFolder --all'
run 'vq ini get editor.ini --outside Language'

say 'Two changes, and what they do on the disk. Spaces around = stay as they were.'
run 'cp editor.ini before.ini'
run 'vq ini set editor.ini Video PlaybackQuality full'
run 'vq ini set editor.ini Video Scopes "waveform, vectorscope"'
run 'vq ini list editor.ini Video'
show_changes before.ini editor.ini

say 'What may not be meant as it is. With findings the status is 1.'
ends_with 1 'vq ini check editor.ini'

say 'What is known of a clip: a batch of records as they are stored, and as named fields.'
run 'cat clip.txt'
run 'vq meta clip.txt'
run 'vq meta clip.txt | sed -n "s/^  frameRate *//p"'

say 'A line that is no record is reported, the others are shown. The status is 1 then.'
ends_with 1 'vq meta damaged.txt 2>&1'

say 'Identifiers, new ones every time: their form, and what one of them says.'
run 'vq uuid new -n 3 | tr 0-9a-f x'
run 'vq uuid new | xargs vq uuid show | tail -n 2'
run 'vq uuid show "{3F2504E0-4F89-41D3-9A0C-0305E82C3301}"'

say 'Under which code a recording format is played out: text, or a number.'
run 'vq fourcc ai52 hdv3 "dvc " 1235 0x4d5 1236'

say 'The checksum of files, and the library that made it.'
run 'vq crc clip.txt damaged.txt'
run 'vq version'

say 'Settings in C++: examples/settings.cpp, built against an installation of the library.'
# shellcheck disable=SC2016 # shown as they are here, without the places of this machine
{
    run_quietly 'cmake --install "$BUILD" --prefix installed'
    run_quietly 'cmake -S "$EXAMPLES" -B build -DCMAKE_PREFIX_PATH="$PWD/installed"'
    run_quietly 'cmake --build build --target settings'
}
run 'cp editor.ini before.ini'
run 'build/settings editor.ini'
show_changes before.ini editor.ini
