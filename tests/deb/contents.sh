#!/usr/bin/env bash
# contents.sh PACKAGES SYSTEM SOURCES BUILD
# Unpacks the packages of a folder into SYSTEM, as a system that has them installed, and holds that
# they are what files.txt says, need each other as they should, and know nothing of BUILD.
set -euo pipefail
shopt -s extglob
packages=$1 system=$2 sources=$3 build=$4
manifest=$(cd "$(dirname "$0")" && pwd)/files.txt
libraries=usr/lib/x86_64-linux-gnu
failed=0

wrong() {
    echo "$*"
    failed=1
}

rm -rf "$system"
mkdir -p "$system"
for file in "$packages"/*.deb; do
    package=$(dpkg-deb -f "$file" Package)
    dpkg-deb -x "$file" "$system"
    dpkg-deb --fsys-tarfile "$file" | tar -t | sed -n "s,^\./\(.*[^/]\)\$,$package \1,p"
done >"$system/held"

# Every file is of one line of the list, and of one package; every line has a file.
mapfile -t lines < <(grep -v '^#' "$manifest")
declare -A used=() holder=()
while read -r package path; do
    [ -z "${holder[$path]:-}" ] || wrong "$path is in $package and ${holder[$path]}"
    holder[$path]=$package
    known=
    for line in "${lines[@]}"; do
        pattern=${line//\*/+([!\/])}
        # shellcheck disable=SC2053 # a pattern it is
        if [[ "$package $path" == $pattern ]]; then
            known=$line
            used[$line]=1
        fi
    done
    [ -n "$known" ] || wrong "not listed: $package $path"
done <"$system/held"
for line in "${lines[@]}"; do
    [ -n "${used[$line]:-}" ] || wrong "not packaged: $line"
done

cd "$system"
# The headers are those of the sources, all of them.
for folder in Vq VqTest; do
    diff <(cd "$sources/ole" && ls "$folder"/*.h) <(cd usr/include && ls "$folder"/*.h) ||
        wrong "these headers of $folder are not those of the sources"
done

# The libraries: their names, the names that programs link by, and where nothing searches for them.
for library in libVq libOS libVqIPP; do
    real=$libraries/$library.so.14
    [[ $(readelf -d "$real") == *SONAME*"[$library.so.14]"* ]] || wrong "$library: another SONAME"
    [ "$(readlink -f "$libraries/$library.so")" = "$(readlink -f "$real")" ] ||
        wrong "$library.so is another library"
done
for object in "$libraries"/*.so usr/bin/vq; do
    [[ $(readelf -d "$object") != *@(RPATH|RUNPATH)* ]] ||
        wrong "$object searches in folders of its own"
    [[ $(readelf -S "$object") != *.debug_info* ]] || wrong "$object is not stripped"
    id=$(readelf -n "$object" | sed -n 's/.*Build ID: //p')
    [ "$object" = usr/bin/vq ] || [ -f "usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug" ] ||
        wrong "$object has no debug symbols"
done
# gdb takes the printers of a library by the real name of its file.
for printers in usr/share/gdb/auto-load/usr/lib/*/*-gdb.py; do
    library=${printers#usr/share/gdb/auto-load/}
    [ -f "${library%-gdb.py}" ] || wrong "$printers is for a library that is not there"
done
# Debug information may be compressed; the tool that shows it says its folders and files.
for symbols in usr/lib/debug/.build-id/*/*.debug; do
    shown=$(readelf --debug-dump=info,line "$symbols" 2>/dev/null)
    [[ $shown == */usr/src/vq/ole/* ]] || wrong "$symbols does not describe the sources"
    [[ $shown != *"$sources"* && $shown != *"$build"* ]] ||
        wrong "$symbols names a place of the build"
done
if grep -rlF -e "$sources" -e "$build" usr; then
    wrong "these files name a place of the build"
fi

# field PACKAGE NAME
field() { dpkg-deb -f "$packages/$1"_*.deb "$2"; }
version=$(field libvq14 Version)
for package in libvq-dev vq-tools libvq14-dbgsym; do
    [[ ", $(field "$package" Depends)," == *", libvq14 (= $version),"* ]] ||
        wrong "$package does not depend on libvq14 of its version"
done
[[ $(field libvq14 Depends) == *libc6*libstdc++6* ]] || wrong "libvq14 lacks dependencies"
if [[ $(readelf -d "$libraries/libOS.so") == *libmimalloc* ]] &&
    [[ $(field libvq14 Depends) != *libmimalloc* ]]; then
    wrong "libvq14 does not depend on the heap that libOS loads"
fi
control=$(dpkg-deb --ctrl-tarfile "$packages"/libvq14_*.deb | tar -xO ./shlibs ./triggers)
diff - <(echo "$control") <<EOT || wrong "other libraries, or another trigger, than these"
libOS 14 libvq14 (>= $version)
libVq 14 libvq14 (>= $version)
libVqIPP 14 libvq14 (>= $version)
activate-noawait ldconfig
EOT
exit "$failed"
