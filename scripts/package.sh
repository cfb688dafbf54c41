#!/usr/bin/env bash
# Makes the Debian packages: scripts/package.sh
# Installs what is missing, builds a copy of the tree's files in build/debian, leaves the packages there and runs
# lintian over them: an error or a warning is a failure. Packages of an earlier run are removed first.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/emptyDebian.sh

scripts/setup.sh package

folder=$PWD/build/debian
rm -rf "$folder"
copy_tree "$folder/source"
(
  cd "$folder/source"
  export DEB_BUILD_OPTIONS="parallel=${DATASOURCE_JOBS:-$(nproc)} ${DEB_BUILD_OPTIONS:-}"
  # Debian's own programs, wherever else the user has others of the same name.
  PATH=/usr/bin:/usr/sbin:/bin:/sbin dpkg-buildpackage -us -uc -b >"$folder/build.log" 2>&1 || {
    tail -n 60 "$folder/build.log" >&2
    exit 1
  }
)
lintian --allow-root --fail-on error,warning --tag-display-limit 0 "$folder"/*.changes
echo "packages:"
ls "$folder"/*.deb
