#!/usr/bin/env bash
# Unpacks the LZ4 source package that belongs to this machine's Debian release:
#   scripts/fetch-lz4.sh FOLDER    leaves FOLDER/lib/lz4.c and so on; does nothing when they are there
#
# Needs no root and leaves the system's package lists alone: a private source list, made from where
# this machine takes its own LZ4 package, is read into the folder's own state.
set -euo pipefail

folder=${1:?usage: fetch-lz4.sh FOLDER}
if [ -e "$folder/lib/lz4.c" ] && [ -e "$folder/lib/lz4hc.c" ]; then exit 0; fi

# "liblz4-dev | 1.9.4-1 | URI SUITE/COMPONENT ARCHITECTURE Packages"
found=$(apt-cache madison liblz4-dev | head -n 1)
if [ -z "$found" ]; then
  echo "fetch-lz4.sh: this machine's package lists have no liblz4-dev (apt-get update?)" >&2
  exit 1
fi
read -r version place < <(awk -F ' *[|] *' '{print $2, $3}' <<<"$found")
read -r uri distribution _ <<<"$place"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work"/{sources,lists/partial,cache/archives/partial,source}
echo "deb-src $uri ${distribution%/*} ${distribution##*/}" >"$work/sources/lz4.list"
# As root, the download must not be handed to a user who cannot write here.
options=(-o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$work/sources" -o Dir::State::lists="$work/lists"
  -o Dir::Cache="$work/cache" -o APT::Sandbox::User=)
apt-get "${options[@]}" -qq update
(cd "$work/source" && apt-get "${options[@]}" -qq source "lz4=$version")

sources=("$work"/source/lz4-*/)
mkdir -p "$(dirname "$folder")"
rm -rf "$folder"
mv "${sources[0]}" "$folder"
