#!/usr/bin/env bash
# Makes the Debian packages, installs them into an empty Debian of this machine's release, builds and runs programs
# with them there, and removes them again: scripts/check-package.sh
# Needs root, and the network for the empty Debian.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/emptyDebian.sh

scripts/package.sh
packages=$PWD/build/debian
. /etc/os-release
make_empty_debian "$VERSION_CODENAME" g++ cmake make pkgconf
# What an installation may not leave behind.
files_inside() {
  (cd "$root" && find etc home opt root srv usr var/lib -path var/lib/apt -prune -o -path var/lib/dpkg -prune -o \
    -name __pycache__ -prune -o -print | sort)
}

mkdir "$root/packages" "$root/programs"
cp "$packages"/*.deb "$root/packages"
cp -r tests/packaging/consumer "$root/programs"
inside apt-get -q update
# Dependencies first: they are not what is removed again.
mapfile -t needed < <(inside sh -c 'apt-get -q -s install /packages/*.deb' | sed -n 's/^Inst \([^ ]*\) .*/\1/p')
mapfile -t own < <(for file in "$packages"/*.deb; do dpkg-deb --field "$file" Package; done)
mapfile -t dependencies < <(comm -23 <(printf '%s\n' "${needed[@]}" | sort) <(printf '%s\n' "${own[@]}" | sort))
if [ "${#dependencies[@]}" -gt 0 ]; then inside apt-get -q -y install --no-install-recommends "${dependencies[@]}"; fi
files_inside >"$root/before"
inside sh -c 'apt-get -q -y install --no-install-recommends /packages/*.deb'

version=$(inside pkg-config --modversion datasource)
inside sh -euc 'cd /programs
  seq 100000 >rows
  casefile pack --header-lines 1 rows rows.case && casefile verify rows.case && casefile cat --dictionary rows.case | cmp - rows
  for program in useLibrary:datasource useCasefile:casefile; do
    # With our static libraries once more, which need what stands in the private fields; ISA-L has none here.
    for linked in "" --static; do
      libraries=$(pkg-config $linked --cflags --libs ${program#*:})
      if [ -n "$linked" ]; then
        libraries=$(echo "$libraries" | sed "s/-lDatasource/-l:libDatasource.a/; s/-lcasefile/-l:libcasefile.a/")
      fi
      g++ -std=c++20 consumer/${program%:*}.cpp $libraries -o by-hand
      ./by-hand
    done
  done
  for example in $(dpkg --listfiles casefile-doc | grep "/c/.*[.]c$"); do
    gcc -std=c99 -Wall -Wextra -Wpedantic -Werror "$example" $(pkg-config --cflags --libs casefile) -o by-hand
    ./by-hand
  done
  python3 -c "import casefile; assert casefile.open(\"rows.case\").read() == open(\"rows\", \"rb\").read()"'
inside cmake -S /programs/consumer -B /programs/build -DDATASOURCE_VERSION="$version"
inside cmake --build /programs/build
inside sh -euc 'cd /programs && build/useLibrary && build/useCasefile'

inside apt-get -q -y purge "${own[@]}"
left=$(files_inside | comm -13 "$root/before" -)
if [ -n "$left" ]; then
  echo "The packages left behind: $left" >&2
  exit 1
fi
echo "installed, used and removed: ${own[*]}"
