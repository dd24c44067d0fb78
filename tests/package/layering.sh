#!/usr/bin/env bash
# layering.sh SOURCE_ROOT
# What a folder may include. Dependencies run one way: libVq knows the platform by the interfaces in
# its own headers, the platform implements them, and the fills know neither.
set -euo pipefail
cd "$1"
failed=0

# only FOLDER PATTERN: what FOLDER includes by quotes, or from this project, matches PATTERN.
only() {
    local folder=$1 allowed=$2 wrong
    [ -d "$folder" ] || return 0
    wrong=$(grep -rn --include='*.h' --include='*.cpp' '^ *# *include' "$folder" |
        grep -E '"|<(Vq|OS|VqIPP)/' |
        grep -vE "include[[:space:]]*\"$allowed\"") || return 0
    echo "$folder may not include:"
    echo "$wrong"
    failed=1
}

only ole/Vq 'Vq/.*'
only ole/OS '(Vq|OS)/.*'
only ole/VqIPP 'VqIPP/.*'
only tools '(Vq/[^/]*|OS/LinuxPlatform\.h|[^/]*)'
only examples '(Vq/[^/]*|OS/LinuxPlatform\.h)'
exit "$failed"
