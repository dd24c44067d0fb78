#!/usr/bin/env bash
# exported-names.sh LIBVQ FOLDER [--update]
# The exported interface of libVq is what FOLDER/exported-names.txt says, name by name, and holds
# every name of FOLDER/contract-names.txt, which clients rely on. --update writes the first list.
#
# The list holds, sorted, the demangled names of the dynamic symbols that libVq defines, without
# those that a compiler emits or leaves out as its optimiser pleases, and that every program brings
# itself:
# - functions and types of the language's own library (std::, __gnu_cxx::), instantiated for ours;
# - virtual tables, thunks, guards and names of types (a type is listed by its type information);
# - weak special members, that is, constructors without arguments, copies, moves and destructors of
#   templates, since one that is defaulted is emitted wherever it is used.
set -euo pipefail
export LC_ALL=C
library=$1 folder=$2 update=${3:-}
list=$folder/exported-names.txt

exported_names() {
    local std='_Z(TI|Z)?(N?V?K?)(S[tabsiod]|9__gnu_cxx)'
    local tables='_Z(TV|TT|TC|TS|GV|GR|Th|Tv|Tc)'
    local class='((.*::)?([A-Za-z_0-9]+)(<.*>)?)'
    local special='(~\3\(\)|\3\((\1( const&|&&))?\)|operator=\(\1( const&|&&)\))'
    nm -D --defined-only "$library" | sed -E 's/^[0-9a-f]* *//' |
        grep -vE "^. ($std|$tables)" | c++filt |
        grep -vE "^W $class::$special\$" | cut -c 3- | sort -u
}

# Which entries are not exported. An entry without parentheses stands for any signature; qualifiers
# after an entry's parentheses are free.
missing_from() {
    awk '
        NR == FNR { name[$0]; next }
        {
            for (n in name) {
                rest = substr(n, length($0) + 1)
                if (index(n, $0) == 1 && rest ~ /^($| const|\(|\[abi:)/) next
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
