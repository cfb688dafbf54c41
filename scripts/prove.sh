#!/usr/bin/env bash
# Tries to break everything: scripts/prove.sh [--minutes N | --full] [--seed S] [--case I] [--fresh] [NAME...]
# Builds the harnesses of proof/ and runs the named ones (default: all) side by side for about N minutes (default
# 10), or until each has run all its cases. The seed orders the cases; another run with the same seed and the same
# program goes on where the last one was (build/proof/state), --fresh begins again. Ends with a table; what is
# found is named with a command that repeats that one case, and makes the exit code 1.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/common.sh
scripts/setup.sh build
use_compiler_cache
log=$(cmake --preset proof 2>&1) || {
  echo "$log" >&2
  exit 1
}
shows build/proof/build.log cmake --build --preset proof --parallel "${DATASOURCE_JOBS:-$(nproc)}"
exec python3 -B proof/run.py --programs build/proof/proof --state build/proof/state "$@"
