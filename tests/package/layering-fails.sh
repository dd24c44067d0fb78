#!/usr/bin/env bash
# layering-fails.sh SOURCE_ROOT FOLDER
# The check of the layers finds what it is there to find: each change to a copy of the sources makes
# it fail with a word about that.
set -euo pipefail
root=$1 folder=$2

# finds MESSAGE FILE LINE: LINE is added to the end of FILE for this once.
finds() {
    local message=$1 file=$folder/$2 line=$3 said
    [ ! -f "$file" ] || cp "$file" "$folder/kept"
    printf '%s\n' "$line" >>"$file"
    if said=$("$root/tests/package/layering.py" "$folder"); then
        echo "passes: '$line' in $2"
        exit 1
    fi
    grep -F -e "$message" <<<"$said" >/dev/null || {
        echo "for '$line' in $2 it says: $said"
        exit 1
    }
    rm "$file"
    [ ! -f "$folder/kept" ] || mv "$folder/kept" "$file"
}

rm -rf "$folder"
mkdir -p "$folder/docs"
cp "$root"/docs/{layers.txt,architecture.md} "$folder/docs"
cp -r "$root"/{ole,tools,examples} "$folder"
"$root/tests/package/layering.py" "$folder"

finds 'layer handles stands on lower ones, and that is of layer platform' \
    ole/Vq/Ptr.h '#include "Vq/Platform.h"'
finds 'layer bricks stands on lower ones, and that is of layer bricks' \
    ole/Vq/UUID.cpp '#  include "Vq/String.h"'
finds 'a cycle: ole/Vq/VqNamedObjects.h -> ole/Vq/detail/NamedObjectIndex.h -> ' \
    ole/Vq/detail/NamedObjectIndex.h '#include "Vq/VqNamedObjects.h"'
finds 'ole/OS/LinuxText.h -> ole/OS/LinuxText.h' ole/OS/LinuxText.h '#include "OS/LinuxText.h"'
finds 'ole/OS may include, besides its own files: layers to platform' \
    ole/OS/LinuxUuid.cpp '#include "Vq/UUID.h"'
finds 'ole/Vq may include, besides its own files: nothing' \
    ole/Vq/String.cpp '#include "OS/LinuxText.h"'
finds 'ole/VqIPP may include, besides its own files: nothing' \
    ole/VqIPP/VqIPP.cpp '#include "Vq/detail/Export.h"'
finds 'tools may include, besides its own files: public' \
    tools/vq/Lines.cpp '#include "Vq/detail/PairText.h"'
finds 'examples may include, besides its own files: public' \
    examples/settings.cpp '#include "OS/LinuxText.h"'
finds 'includes Vq/Ptr.h without quotes' ole/Vq/UUID.h '#include <Vq/Ptr.h>'
finds 'which is no file of the project' ole/Vq/UUID.h '#include "UUIDs.h"'
finds 'stands in no layer' ole/Vq/New.h '#pragma once'
finds 'there is no Gone in ole/Vq' docs/layers.txt 'layer last | what is not there | Gone'
finds 'does not show docs/layers.txt' docs/layers.txt 'folder more | a folder more | nothing'
