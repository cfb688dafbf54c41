#!/usr/bin/env bash
# Records the types and functions of both libraries as those of the release, which the tests of `scripts/check.sh abi`
# compare later builds with: scripts/record-abi.sh
# For 64-bit x86, to be run when a minor version is released, or when a difference from it is meant.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/common.sh
scripts/setup.sh abi
use_compiler_cache
cmake --preset debug >/dev/null
shows build/debug/build.log cmake --build --preset debug --parallel "${DATASOURCE_JOBS:-$(nproc)}" \
  --target Datasource Datasource_casefile
for library in Datasource casefile; do
  python3 -B tests/packaging/compareAbi.py --record --recorded "cmake/abi/lib$library.abi.xz" \
    --library build/debug/*/"lib$library.so" --headers Datasource/include --headers build/debug/Datasource/include \
    --headers casefile/include --headers build/debug/casefile/include
done
ls -l cmake/abi
