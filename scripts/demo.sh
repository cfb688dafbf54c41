#!/usr/bin/env bash
# Shows the whole road of a compressed data file: scripts/demo.sh [FILE]
# Installs what is missing, builds (Release, in build/demo), writes FILE as a compressed file with and
# without a worker thread, reads it back both ways, compares every byte, and says sizes and speed.
# The first line of FILE is its dictionary part. Without FILE: the registries of Debian's package
# ieee-data, joined.
set -euo pipefail
input=${1:+$(realpath -- "$1")}
cd "$(dirname "$0")/.."

scripts/setup.sh build
generator=()
if command -v ninja >/dev/null && [ ! -e build/demo/CMakeCache.txt ]; then
  generator=(-G Ninja)
fi
log=$(mktemp)
trap 'rm -f "$log"' EXIT
echo "building in build/demo ..."
if ! {
  cmake -S . -B build/demo "${generator[@]}" -DCMAKE_BUILD_TYPE=Release -DDATASOURCE_BUILD_TESTS=OFF \
    -DDATASOURCE_BUILD_EXAMPLES=OFF &&
    cmake --build build/demo --parallel "$(nproc)" --target casefile
} >"$log" 2>&1; then
  cat "$log" >&2
  exit 1
fi
casefile=$PWD/build/demo/casefile/tool/casefile

work=$(mktemp -d)
trap 'rm -rf "$log" "$work"' EXIT

# The header line once, then the rows of every registry.
join_registries() {
  local folder=/usr/share/ieee-data name
  head -n 1 "$folder/oui.csv"
  for name in oui mam oui36 iab; do
    tail -n +2 "$folder/$name.csv"
  done
}
if [ -z "$input" ]; then
  input=$work/registries.csv
  join_registries >"$input"
fi

# timed COMMAND...: runs it; leaves MB/s of the uncompressed file in $rate.
size=$(stat -c %s -- "$input")
timed() {
  local start end
  start=$(date +%s%N)
  "$@"
  end=$(date +%s%N)
  rate=$(awk -v bytes="$size" -v ns=$((end - start)) 'BEGIN { printf "%.0f", bytes * 1000 / ns }')
}

cat -- "$input" >/dev/null
echo "file:       $input, $size bytes"
for mode in 0 1; do
  timed "$casefile" pack --header-lines 1 --threads "$mode" --no-progress -- "$input" "$work/mode$mode"
  echo "written:    mode $mode, $rate MB/s"
done
cmp -- "$work/mode0" "$work/mode1"
"$casefile" info --json "$work/mode1" >"$work/info"
field() { sed -n "s/^  \"$1\": \([^,]*\),\{0,1\}$/\1/p" "$work/info"; }
printf 'compressed: %s bytes, %s blocks, row 0 at %s, ratio %.2f\n' "$(field fileSize)" "$(field blockCount)" \
  "$(field row0)" "$(field ratio)"
"$casefile" verify --no-progress "$work/mode1" >/dev/null
for mode in 0 2; do
  timed "$casefile" unpack --threads $((mode / 2)) --no-progress --force -- "$work/mode1" "$work/back"
  cmp -- "$input" "$work/back"
  echo "read:       mode $mode, $rate MB/s, every byte equal"
done
