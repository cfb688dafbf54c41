#!/usr/bin/env bash
# Shows the whole road of a compressed data file: scripts/demo.sh [FILE]
# Installs what is missing, builds casefile (Release, in build/demo), packs FILE on one processor and on all, reads it
# back, compares every byte, and draws how fast each step was. The first line of FILE is its dictionary part. Without
# FILE: the registries of Debian's package ieee-data, over and over up to 100 MB.
set -euo pipefail
input=${1:+$(realpath -e -- "$1")}
cd "$(dirname "$0")/.."
. scripts/common.sh

scripts/setup.sh build
generator=()
if command -v ninja >/dev/null && [ ! -e build/demo/CMakeCache.txt ]; then
  generator=(-G Ninja)
fi
configuration=$(cmake -S . -B build/demo "${generator[@]}" -DCMAKE_BUILD_TYPE=Release -DDATASOURCE_BUILD_TESTS=OFF \
  -DDATASOURCE_BUILD_EXAMPLES=OFF 2>&1) || {
  echo "$configuration" >&2
  exit 1
}
echo "building in build/demo ..."
shows build/demo/build.log cmake --build build/demo --parallel "$(nproc)" --target casefile
casefile=$PWD/build/demo/casefile/tool/casefile

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The header line once, then the rows of every registry, again and again.
join_registries() {
  local folder=/usr/share/ieee-data name rows=$work/rows
  for name in oui mam oui36 iab; do
    tail -n +2 "$folder/$name.csv"
  done >"$rows"
  head -n 1 "$folder/oui.csv"
  for ((bytes = 0; bytes < 100000000; bytes += $(stat -c %s "$rows"))); do cat "$rows"; done
  rm "$rows"
}
if [ -z "$input" ]; then
  input=$work/registries.csv
  join_registries >"$input"
  echo "the data:      who owns which network addresses, Debian's ieee-data, its rows over and over"
fi
size=$(stat -c %s -- "$input")
echo "the file:      $input, $((size / 1000000)) MB; its first line stays readable as the dictionary part"

# timed WHAT COMMAND...: runs it and remembers how many MB of uncompressed data a second that made.
whats=()
rates=()
timed() {
  local start end what=$1
  shift
  start=$(date +%s%N)
  "$@"
  end=$(date +%s%N)
  whats+=("$what")
  rates+=("$(awk -v bytes="$size" -v ns=$((end - start)) 'BEGIN { printf "%.0f", bytes * 1000 / ns }')")
}

all=$(nproc)
cat -- "$input" >/dev/null # from here on it lies in memory, for everybody
pack=("$casefile" pack --header-lines 1 --no-progress --force)
timed "pack by zlib, 1 thread" "${pack[@]}" --encoder zlib -j 1 -- "$input" "$work/one"
timed "pack by zlib, $all threads" "${pack[@]}" --encoder zlib -j "$all" -- "$input" "$work/all"
cmp -- "$work/one" "$work/all"
echo "packed:        by zlib; one thread and $all make the same file, byte for byte"
timed "pack, $all threads" "${pack[@]}" -- "$input" "$work/packed"
"$casefile" info --json "$work/packed" >"$work/info"
field() { sed -n "s/^  \"$1\": \([^,]*\),\{0,1\}$/\1/p" "$work/info"; }
printf 'packed:        by the fastest codec here: %d MB in %d blocks, %.2f times smaller; case data from byte %d on\n' \
  $(($(field fileSize) / 1000000)) "$(field blockCount)" "$(field ratio)" "$(field row0)"
timed "verify, $all threads" "$casefile" verify --quiet "$work/packed"
echo "verified:      every block, and the table that names them"
timed "unpack, 1 thread" "$casefile" unpack -j 1 --no-progress -- "$work/packed" "$work/back"
cmp -- "$input" "$work/back"
timed "unpack, $all threads" "$casefile" unpack --no-progress --force -- "$work/packed" "$work/back"
cmp -- "$input" "$work/back"
echo "unpacked:      every byte equal"
middle=$((size / 2))
"$casefile" cat --from "$middle" --bytes 1000 "$work/packed" | cmp - <(tail -c +$((middle + 1)) -- "$input" | head -c 1000)
echo "read:          1,000 bytes in the middle, without unpacking what lies before them"

echo
echo "MB of data a second:"
fastest=$(printf '%s\n' "${rates[@]}" | sort -n | tail -n 1)
for i in "${!whats[@]}"; do
  printf '  %-24s %6d  ' "${whats[$i]}" "${rates[$i]}"
  printf '%*s\n' $((rates[i] * 40 / fastest + 1)) '' | tr ' ' '#'
done
cat <<END

The program lies at $casefile
Try next, with PATH=${casefile%/*}:\$PATH
  casefile help
  casefile pack --header-lines 1 YOURS.csv YOURS.case && casefile info YOURS.case
  docs/casefile.md tells of the program, docs/recipes.md and docs/python.md of the library behind it.
END
