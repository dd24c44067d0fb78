#!/usr/bin/env bash
# lintian.sh PACKAGES
# Debian's own checker finds neither errors nor warnings in the packages of that folder, but two:
# - copyright-without-copyright-notice: the sources name no holder and no licence, so the packages
#   don't either;
# - initial-upload-closes-no-bugs: the packages are made for the project, not for Debian's archive.
set -euo pipefail
packages=$1

lintian --allow-root --fail-on error,warning \
    --suppress-tags copyright-without-copyright-notice,initial-upload-closes-no-bugs \
    "$packages"/*.deb
