#!/usr/bin/env bash
# Builds the fuzzers by proof/oss-fuzz/build.sh, with compilers, flags and folders told as the service tells them, and
# replays the corpora that come out of it: scripts/check-fuzz.sh. Everything lies in build/oss-fuzz.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/common.sh

top=$PWD/build/oss-fuzz
export SRC=$top/src WORK=$top/work OUT=$top/out
rm -rf "$SRC" "$OUT"
mkdir -p "$SRC" "$WORK" "$OUT"
ln -s "$PWD" "$SRC/datasource"
export CC=clang CXX=clang++ LIB_FUZZING_ENGINE=-fsanitize=fuzzer
export CFLAGS="-O1 -fno-omit-frame-pointer -gline-tables-only -DFUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
  -fsanitize=address,undefined -fno-sanitize-recover=all -fsanitize-address-use-after-scope -fsanitize=fuzzer-no-link"
CFLAGS=${CFLAGS//$'\n'/ }
export CXXFLAGS=$CFLAGS
use_compiler_cache
shows "$top/build.log" proof/oss-fuzz/build.sh

replayed=0
for program in "$OUT"/fuzz_*[!p]; do
  corpus=$WORK/corpus/${program##*/}
  rm -rf "$corpus"
  mkdir -p "$corpus"
  python3 -m zipfile -e "${program}_seed_corpus.zip" "$corpus"
  if readelf --dynamic "$program" | grep -E 'NEEDED.*(lz4|deflate|libz|crypto)'; then
    echo "check-fuzz.sh: $program needs a library that its user has not" >&2
    exit 1
  fi
  "$program" -runs=0 "$corpus" >"$corpus.log" 2>&1 || {
    tail -40 "$corpus.log" >&2
    exit 1
  }
  replayed=$((replayed + $(find "$corpus" -type f | wc -l)))
done
echo "$replayed inputs replayed"
[ "$replayed" -gt 0 ]
