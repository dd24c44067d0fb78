#!/usr/bin/env bash
# build-reference.sh BUILD_FOLDER
# Makes the reference of the public headers in BUILD_FOLDER/reference and says where its first page
# is. Any warning is a failure: a public name without a comment is one.
set -euo pipefail
mkdir -p "$1/reference"
out=$(cd "$1/reference" && pwd)
cd "$(dirname "${BASH_SOURCE[0]}")/.."
version=$(sed -n 's/^project(Vq VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
pages=$out/html log=$out/warnings.txt
rm -rf "$pages"

# Pages say first what something is, then what it has.
doxygen -l "$out/layout.xml"
sed -i -e 's|<briefdescription visible="yes"/>|<detaileddescription title=""/>|;t' \
    -e '/<detaileddescription title=""\/>/d' "$out/layout.xml"

status=0
{
    cat docs/Doxyfile
    printf '%s = "%s"\n' PROJECT_NUMBER "$version" OUTPUT_DIRECTORY "$out" \
        LAYOUT_FILE "$out/layout.xml" WARN_LOGFILE "$log"
} | doxygen - || status=$?
if [ $status -ne 0 ] || [ -s "$log" ]; then
    cat "$log"
    echo "The reference has warnings."
    exit 1
fi
echo "The reference: $pages/index.html"
