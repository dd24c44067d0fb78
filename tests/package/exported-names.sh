#!/usr/bin/env bash
# exported-names.sh LIBVQ FOLDER [--update]
# The exported interface of libVq is what FOLDER/exported-names.txt says, name by name, and holds every
# name of FOLDER/contract-names.txt, which clients rely on. --update writes the first list anew.
#
# The list holds the demangled names of all dynamic symbols that libVq defines, sorted, except those
# that belong to the language's own library: instantiations, vtables and type information of std::
# and __gnu_cxx:: are emitted or left out as each compiler's inlining pleases, and any program that
# needs one brings its own.
set -euo pipefail
export LC_ALL=C
library=$1 folder=$2 update=${3:-}
list=$folder/exported-names.txt

exported_names() {
    nm -D --defined-only --demangle "$library" | sed -E 's/^[0-9a-f]* *[A-Za-z] //' |
        grep -vE '(^|^[^(<]* )(std|__gnu_cxx)::' | sort -u
}

# Which entries are not exported. An entry without parentheses stands for any signature; qualifiers
# after an entry's parentheses are free.
missing_from() {
    awk '
        NR == FNR { name[$0]; next }
        {
            for (n in name) {
                rest = substr(n, length($0) + 1)
                if (index(n, $0) == 1 && (rest == "" || rest ~ /^( const|\()/ || rest ~ /^\[abi:/)) next
            }
            print
        }' "$1" "$2"
}

actual=$(mktemp)
trap 'rm -f "$actual"' EXIT
exported_names >"$actual"
if [ "$update" = --update ]; then
    cp "$actual" "$list"
    echo "Wrote the list of exported names: $(wc -l <"$list") names"
    exit 0
fi

failed=0
if ! diff -u --label "the list" "$list" --label "libVq exports" "$actual"; then
    echo "If the change is meant: ./dev exports --update, and commit the list."
    failed=1
fi
missing=$(missing_from "$actual" "$folder/contract-names.txt")
if [ -n "$missing" ]; then
    printf 'Clients rely on these names, and libVq does not export them:\n%s\n' "$missing"
    failed=1
fi
exit "$failed"
