#!/usr/bin/env bash
# Builds the library, its tools and all tests in an empty Debian 13, with that release's compiler, whose warnings are
# errors, and its CMake, and runs the tests there, over its Python and its libraries:
#   scripts/check-trixie.sh
# Then once more the program alone, as somebody builds it who knows no preset.
# Needs root, and the network for the empty Debian. The logs stay in build/trixie/release, and beside it what the
# compiler's cache there keeps for the next time.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/emptyDebian.sh

scripts/setup.sh trixie
# The build folder there lies in this tree: it outlasts the empty Debian.
export bound_folder=$PWD/build/trixie bound_at=tree/build
rm -rf "$bound_folder/release"
mkdir -p "$bound_folder"
make_empty_debian trixie
copy_tree "$root/tree"
mkdir "$root/tree/build"
# shellcheck disable=SC2016
inside sh -euc '
  cd /tree
  export CCACHE_DIR=/tree/build/ccache DATASOURCE_JOBS=$1 DATASOURCE_VERBOSE=$2
  scripts/setup.sh python
  gcc --version | head -n 1
  scripts/test.sh
  cmake -B /tmp/plain >/dev/null
  cmake --build /tmp/plain --target casefile --parallel "$1" -- --quiet
  /tmp/plain/casefile/tool/casefile --version' sh "${DATASOURCE_JOBS:-$(nproc)}" "${DATASOURCE_VERBOSE:-}"
