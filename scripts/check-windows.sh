#!/usr/bin/env bash
# Builds the library, casefile and all tests for 64-bit Windows and runs the tests under wine:
#   scripts/check-windows.sh [CTEST-ARGUMENT...]
# Needs the packages of `scripts/setup.sh windows`, which it installs when they are missing, and
# leaves the wine prefix in the user's cache folder (see cmake/wine-emulator.sh).
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=${DATASOURCE_JOBS:-$(nproc)}
. scripts/common.sh
get_what_windows_needs
use_compiler_cache
cmake --preset windows >/dev/null
shows build/windows/build.log cmake --build --preset windows --parallel "$jobs"
# Wine's first start takes seconds; no test is to pay for it.
cmake/wine-emulator.sh cmd /c ver
tests() { shows "build/windows/$1.log" leaves_nothing_behind ctest --preset windows --parallel "$jobs" "${@:2}"; }
# Of thousands of programs wine ends one before its first line now and then, with code 1 and without a word. Such
# tests, and only such, are started once more, for all to see.
tests tests --output-junit tests.xml "$@" || {
  scripts/neverBegan.py build/windows/tests.xml
  tests tests-again --rerun-failed
}
