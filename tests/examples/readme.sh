#!/usr/bin/env bash
# readme.sh README DEMO_TEXT PREFIX COMPILER BLOCKS EXTRACT FOLDER
# README's first program, which is in BLOCKS with what it prints, builds and prints that as README's
# CMake lines say, against the installation in PREFIX; the lines that README quotes of the
# demonstration are lines of its text; and README names every public header and every command of the
# tool. EXTRACT is the script that made BLOCKS.
set -euo pipefail
readme=$1 demo=$2 prefix=$3 compiler=$4 blocks=$5 extract=$6 folder=$7

rm -rf "$folder"
mkdir -p "$folder"
cp "$blocks/README.1.cpp" "$folder/clips.cpp"
cp "$blocks/README.1.txt" "$folder/expected"
{
    echo 'cmake_minimum_required(VERSION 3.25)'
    echo 'project(Clips LANGUAGES CXX)'
    "$extract" --block cmake "$readme"
} >"$folder/CMakeLists.txt"
[ -s "$folder/expected" ]

cd "$folder"
cmake -G Ninja -S . -B build -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$prefix"
cmake --build build
build/clips | diff -u expected -

"$extract" --block console "$readme" |
    grep -vxF -e '$ ./dev demo' -e 'Building: release' -e '...' >quoted
[ -s quoted ]
if grep -vxF -f "$demo" quoted; then
    echo "The demonstration does not print this any more."
    exit 1
fi

silent=0
expect_named() {
    grep -qF "$1" "$readme" || { echo "README does not name $1"; silent=1; }
}
for header in "$prefix"/include/{Vq,OS}/*.h; do
    expect_named "\`${header#"$prefix/include/"}\`"
done
commands_of() {
    "$prefix/bin/vq" "$@" --help | sed '1,/^Subcommands:/d; /^$/,$d; s/^ *\([a-z]*\) .*/\1/'
}
[ -n "$(commands_of)" ]
for command in $(commands_of); do expect_named "\`vq $command"; done
for command in $(commands_of ini) $(commands_of uuid); do expect_named "$command"; done
exit "$silent"
