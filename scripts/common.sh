# What the scripts that build and test share; to be read by them, in the tree's top folder.
# shellcheck shell=bash

# Compiles through ccache where that is installed, unless the environment says otherwise.
use_compiler_cache() {
  if ! command -v ccache >/dev/null; then return; fi
  export CMAKE_C_COMPILER_LAUNCHER=${CMAKE_C_COMPILER_LAUNCHER-ccache}
  export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
  # What a precompiled header needs to be found again: cached by contents, not by the time of its making.
  export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS-pch_defines,time_macros,include_file_mtime,include_file_ctime}
}

# Installs and unpacks what a build for 64-bit Windows needs.
get_what_windows_needs() {
  scripts/setup.sh windows
  scripts/fetch-source.sh liblz4-dev build/windows/lz4-source
  scripts/fetch-source.sh libdeflate-dev build/windows/libdeflate-source
}

# Every file of the tree that no build folder holds.
files_of_the_tree() {
  find . -name .git -prune -o -path ./build -prune -o -name 'build[-_]*' -prune -o -type f -print | sort
}

# leaves_nothing_behind COMMAND...: runs it; what it leaves in the tree, or in the folder for temporary
# files that it is given, is an error.
leaves_nothing_behind() {
  local work status=0 left
  work=$(mktemp -d)
  chmod 755 "$work"  # some tests act as another user
  files_of_the_tree >"$work/before"
  mkdir -m 1777 "$work/temporary"
  TMPDIR=$work/temporary "$@" || status=$?
  # Wine keeps a folder of its own there while its server runs.
  left=$(files_of_the_tree | comm -13 "$work/before" -
    find "$work/temporary" -mindepth 1 -maxdepth 1 ! -name 'wine-??????')
  rm -rf "$work"
  if [ -n "$left" ]; then
    echo "The tests left behind:" "$left" >&2
    return 1
  fi
  return "$status"
}

# shows LOG COMMAND...: runs it, keeps all that it prints in LOG and shows what matters of it. Where
# DATASOURCE_VERBOSE is set it shows all, and what matters once more at the end when the command fails.
shows() {
  local log=$1 matters=(python3 -B "${BASH_SOURCE[0]%/*}/showWhatMatters.py") filter status=0
  shift
  mkdir -p "$(dirname "$log")"
  filter=("${matters[@]}")
  if [ -n "${DATASOURCE_VERBOSE:-}" ]; then filter=(cat); fi
  "$@" 2>&1 | tee "$log" | "${filter[@]}" || status=$?
  if [ "$status" -ne 0 ] && [ -n "${DATASOURCE_VERBOSE:-}" ]; then
    echo "what went wrong:"
    "${matters[@]}" <"$log" | tail -n 60
  fi
  echo "all of the output: $log"
  return "$status"
}
