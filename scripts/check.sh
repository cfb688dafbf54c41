#!/usr/bin/env bash
# Runs named checks and stops at the first that fails: scripts/check.sh [CHECK...]
#   gcc debug clang static  the library, its tools and all tests in that configuration
#   asan tsan               the same under the address and undefined-behaviour sanitizers (clang, static
#                           library; without the one sweep of 18,360 files) or the thread sanitizer (gcc; without
#                           what runs in one thread only), with every check of a debug build
#   format tidy             clang-format; clang-tidy, of everything but the tests
#   tidy-change             clang-tidy, of what the change touches (scripts/changedSources.py)
#   exports install tree    the exported symbols; install and use; the shape of the source tree
#   abi                     types and functions of both libraries beside those recorded of the release; part of debug
#   windows                 all tests on 64-bit Windows, under wine, and half a minute of the harnesses that run there
#   s390x arm64             the tests on another processor, under qemu; the first one's numbers begin with the high byte
#   fuzz                    the fuzzers built as the fuzzing service builds them, and their corpora replayed
#   package                 the Debian packages made, installed in an empty Debian, used and removed
#   trixie                  the check gcc and a build without a preset, in an empty Debian 13 with its compiler and Python
#   docs                    the site of guides and references: no warning, no link that leads nowhere
# Without a name: all but tidy-change, abi, windows, s390x, arm64, fuzz, package and trixie. Each builds in build/NAME
# (gcc in build/release), through ccache where that is installed; what a check needs is installed first. Shown are
# counts and what goes wrong; all of the output stays in build/NAME/build.log and tests.log. DATASOURCE_JOBS limits the
# jobs that run at once, DATASOURCE_VERBOSE=1 shows everything.
set -euo pipefail
cd "$(dirname "$0")/.."

checks=(gcc clang debug asan tsan static format tidy exports install tree docs)
jobs=${DATASOURCE_JOBS:-$(nproc)}
. scripts/common.sh

# Says something only when it fails.
configure() {
  local log
  log=$(cmake --preset "$1" 2>&1) || {
    echo "$log"
    return 1
  }
}

# build PRESET [TARGET]
build() {
  configure "$1"
  shows "build/$1/build.log" cmake --build --preset "$1" --parallel "$jobs" --target "${2:-all}"
}

# run_tests PRESET [CTEST-ARGUMENT...]
run_tests() {
  shows "build/$1/tests.log" leaves_nothing_behind ctest --preset "$1" --parallel "$jobs" "${@:2}"
}

build_and_test() {
  build "$1"
  run_tests "$@"
}

# The packaging tests of one label.
run_label() {
  run_tests release --label-regex "^$1\$"
}

format() {
  find Datasource casefile examples tests bench proof '(' -name '*.h' -o -name '*.cpp' ')' \
    -exec clang-format --dry-run --Werror {} +
}

# tidy_in PRESET REGEX...: clang-tidy, which compiles for itself, of the sources that a preset's build compiles, each
# once.
tidy_in() {
  configure "$1"
  scripts/oneCommandEach.py "build/$1" "build/$1/tidy"
  run-clang-tidy -quiet -j "$jobs" -p "build/$1/tidy" "${@:2}"
}

tidy() {
  tidy_in clang "^$PWD/(Datasource|casefile|examples|bench)/"
  tidy_in proof "^$PWD/proof/"
}

tidy_change() {
  local list sources proofs
  list=$(scripts/changedSources.py Datasource casefile examples bench proof)
  if [ -z "$list" ]; then
    echo "no source is touched"
    return
  fi
  mapfile -t sources < <(grep -v '^proof/' <<<"$list" | sed "s|.*|^$PWD/&\$|")
  mapfile -t proofs < <(grep '^proof/' <<<"$list" | sed "s|.*|^$PWD/&\$|")
  echo "sources touched: $((${#sources[@]} + ${#proofs[@]}))"
  if [ "${#sources[@]}" -gt 0 ]; then tidy_in clang "${sources[@]}"; fi
  if [ "${#proofs[@]}" -gt 0 ]; then tidy_in proof "${proofs[@]}"; fi
}

# What the thread sanitizer need not see: long sweeps over codecs and layout in one thread, what the program says of
# wrong words, names and rights, and files that are carried like that of Crossing.worker, but that one thread writes.
one_thread='^((FormSweep|OverrunBlock|HostileHeading|StrictInflate|FastDeflateTest|StreamInspector)\..*'
one_thread+='|FastInflate\.(Damaged|Sound|Streams).*|EveryEncoder\.(Begins|Gives|Makes|Refuses|Says|Takes).*'
one_thread+='|.*/StreamShortWay\..*|Verify\.EveryValueOfEveryByte.*|Crossing\.(inline|appended|other-order)'
one_thread+='|casefile\.test_(usage|words|names|rights|overrun|hidden_data|journal_owner))$'

run_check() {
  case $1 in
    gcc) build_and_test release ;;
    clang | debug) build_and_test "$1" --label-exclude 'install|tree|python' ;;
    static) build_and_test static --label-exclude tree ;;
    # Of the sweep over every value the program's own brings a sample; each file costs the sanitizer megabytes of shadow.
    asan) build_and_test asan --label-exclude 'exports|install|tree|python' --exclude-regex '^Verify\.EveryValueOfEveryByte' ;;
    tsan) build_and_test tsan --label-exclude 'exports|install|tree|python' --exclude-regex "$one_thread" ;;
    format | tidy) "$1" ;;
    tidy-change) tidy_change ;;
    exports) build release Datasource && run_label exports ;;
    install) build release && run_label install ;;
    tree) configure release && run_label tree ;;
    abi) build debug Datasource && build debug Datasource_casefile && run_tests debug --label-regex '^abi$' ;;
    windows) scripts/check-windows.sh && scripts/prove.sh --windows --minutes 0.4 ;;
    s390x | arm64) scripts/check-cross.sh "$1" ;;
    fuzz) scripts/check-fuzz.sh ;;
    package) scripts/check-package.sh ;;
    trixie) scripts/check-trixie.sh ;;
    docs) scripts/docs.sh ;;
  esac
}

packages_for() {
  case $1 in
    asan | clang | format | fuzz | tidy*) echo check ;;
    windows | s390x | arm64) echo "$1" ;;
    abi | debug) echo abi ;;
    gcc) echo python ;;
    package | trixie | docs) echo "$1" ;;
    *) echo build ;;
  esac
}

for name in "$@"; do
  if [[ " ${checks[*]} tidy-change abi windows s390x arm64 fuzz package trixie " != *" $name "* ]]; then
    echo "check.sh: no such check: $name" >&2
    exit 2
  fi
done
if [ $# -gt 0 ]; then
  checks=("$@")
fi

for name in "${checks[@]}"; do
  echo "== $name"
  started=$SECONDS
  # A shell of its own, outside any condition: there its first failing command ends it.
  set +e
  (
    set -e
    scripts/setup.sh "$(packages_for "$name")"
    use_compiler_cache
    run_check "$name"
  )
  status=$?
  set -e
  if [ "$status" -ne 0 ]; then
    echo "== $name: FAILED" >&2
    exit 1
  fi
  echo "== $name: passed in $((SECONDS - started)) s"
done
