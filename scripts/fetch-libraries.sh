#!/usr/bin/env bash
# Unpacks libraries of another processor's Debian, of this machine's release, for a cross compiler:
#   scripts/fetch-libraries.sh ARCHITECTURE FOLDER PACKAGE...
# e.g. `s390x FOLDER zlib1g-dev`; what a package says it needs of the very same version, which for a -dev package is
# the library itself, comes along. Does nothing when the folder is there already.
#
# Needs no root and leaves the system's packages alone: installed side by side, both processors' packages would have
# to be of one version, to the last digit, which a mirror does not always give.
set -euo pipefail

architecture=${1:?usage: fetch-libraries.sh ARCHITECTURE FOLDER PACKAGE...}
folder=${2:?usage: fetch-libraries.sh ARCHITECTURE FOLDER PACKAGE...}
shift 2
complete=$folder/.unpacked
if [ -e "$complete" ]; then exit 0; fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work"/{lists/partial,cache/archives/partial,packages,unpacked}
touch "$work/status"
# As root, the download must not be handed to a user who cannot write here.
options=(-o APT::Architecture="$architecture" -o APT::Architectures="$architecture" -o Dir::State::lists="$work/lists"
  -o Dir::State::status="$work/status" -o Dir::Cache="$work/cache" -o APT::Sandbox::User= -o Acquire::Retries=3)
apt-get "${options[@]}" -qq update
# "Depends: libssl3 (= 3.0.11-1), ..."
mapfile -t own < <(apt-cache "${options[@]}" show --no-all-versions "$@" | sed -n 's/^Depends: //p' | tr ',' '\n' |
  sed -n 's/^ *\([^ ]*\) (= .*/\1/p')
(cd "$work/packages" && apt-get "${options[@]}" -qq download "$@" "${own[@]}")
for package in "$work"/packages/*.deb; do dpkg-deb -x "$package" "$work/unpacked"; done
# A link from the top of that Debian's file system is one from the folder here.
find "$work/unpacked" -type l -lname '/*' | while read -r link; do
  ln -sfnr "$work/unpacked$(readlink "$link")" "$link"
done

mkdir -p "$(dirname "$folder")"
rm -rf "$folder"
mv "$work/unpacked" "$folder"
touch "$complete"
