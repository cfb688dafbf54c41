#!/usr/bin/env bash
# Unpacks the source package behind a library package of this machine's Debian release:
#   scripts/fetch-source.sh liblz4-dev FOLDER
# leaves LZ4's source tree in FOLDER, and does nothing when it is there already.
#
# Needs no root and leaves the system's package lists alone: a private source list, made from where
# this machine takes its own package, is read into the folder's own state.
set -euo pipefail

package=${1:?usage: fetch-source.sh PACKAGE FOLDER}
folder=${2:?usage: fetch-source.sh PACKAGE FOLDER}
complete=$folder/.unpacked
if [ -e "$complete" ]; then exit 0; fi

# "liblz4-dev | 1.9.4-1 | URI SUITE/COMPONENT ARCHITECTURE Packages"
found=$(apt-cache madison "$package" | head -n 1)
if [ -z "$found" ]; then
  echo "fetch-source.sh: this machine's package lists have no $package (apt-get update?)" >&2
  exit 1
fi
read -r version place < <(awk -F ' *[|] *' '{print $2, $3}' <<<"$found")
read -r uri distribution _ <<<"$place"
# "Source: lz4", or "Source: lz4 (1.9.4-1)" where the versions differ, or nothing where both names are one.
read -r source sourceVersion < <(apt-cache show "$package=$version" | sed -n 's/^Source: //p' | head -n 1) || true
sourceVersion=${sourceVersion:-$version}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work"/{sources,lists/partial,cache/archives/partial,source}
echo "deb-src $uri ${distribution%/*} ${distribution##*/}" >"$work/sources/source.list"
# As root, the download must not be handed to a user who cannot write here.
options=(-o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$work/sources" -o Dir::State::lists="$work/lists"
  -o Dir::Cache="$work/cache" -o APT::Sandbox::User=)
apt-get "${options[@]}" -qq update
(cd "$work/source" && apt-get "${options[@]}" -qq source "${source:-$package}=${sourceVersion//[()]/}")

trees=("$work"/source/*/)
mkdir -p "$(dirname "$folder")"
rm -rf "$folder"
mv "${trees[0]}" "$folder"
touch "$complete"
