#!/usr/bin/env bash
# Tries to break everything:
#   scripts/prove.sh [--minutes N | --full] [--seed S] [--case I] [--fresh] [--windows] [NAME...]
# Builds the harnesses of proof/ and runs the named ones (default: all) side by side for about N minutes (default
# 10), or until each has run all its cases. The seed orders the cases; another run with the same seed and the same
# program goes on where the last one was (build/proof/state), --fresh begins again. --windows builds those that run
# there for 64-bit Windows and runs them under wine. The fuzzers, fuzz and fuzz-sanitized, keep their corpora
# (build/proof/fuzz*), and run unasked from ten minutes on; mutants and coverage run by name alone, their builds take
# minutes. Ends with a table; what is found is named with a command that repeats that one case, and makes the exit
# code 1.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/common.sh
presets=$(python3 -B proof/run.py --build build --presets "$@")
case $presets in
  -* | usage:*) echo "$presets" && exit ;; # --help
  *windows*) get_what_windows_needs ;;
  *fuzz*) scripts/setup.sh check ;;
  *) scripts/setup.sh build ;;
esac
case " $* " in *" mutants "*) scripts/setup.sh mutants ;; esac
use_compiler_cache
for preset in $presets; do
  log=$(cmake --preset "$preset" 2>&1) || {
    echo "$log" >&2
    exit 1
  }
  shows "build/$preset/build.log" cmake --build --preset "$preset" --parallel "${DATASOURCE_JOBS:-$(nproc)}"
done
exec python3 -B proof/run.py --build build "$@"
