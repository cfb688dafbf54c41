#!/usr/bin/env bash
# Installs the Debian packages that are missing: scripts/setup.sh [GROUP...]
#   build    what building, testing and demonstrating needs (the default)
#   check    clang, its sanitizers, clang-tidy and clang-format; shells and mandoc for completions and manual page
#   abi      what compares a library with the recorded release
#   bench    the programs that the benchmarks compare with
#   windows  the cross compiler and wine
#   s390x    the cross compiler for that processor and qemu; arm64 likewise
#   python   what the tests of the Python package need
#   docs     what makes the site of guides and references
#   mutants  what finds the mutants in the sources
#   package  what makes Debian packages, looks at them and makes an empty Debian to try them in
#   trixie   what makes an empty Debian of another release
# As root it installs without a question; any other user is told what root would have to install.
# Where nothing is missing it changes nothing and needs no network.
set -euo pipefail

packages_build=(
  g++ cmake ninja-build make pkgconf python3 binutils ccache
  zlib1g-dev libdeflate-dev liblz4-dev libssl-dev
  libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev nlohmann-json3-dev
  ieee-data
)
# The fastest encoder can do without, and exists for this processor only.
if [ "$(dpkg --print-architecture 2>/dev/null)" = amd64 ]; then packages_build+=(libisal-dev); fi
# The shells and mandoc look at the syntax of completions and manual page.
packages_check=(clang libclang-rt-dev clang-tidy clang-format fish zsh mandoc)
# bgzip is a part of tabix.
packages_bench=(gzip pigz tabix zstd)
packages_python=(
  python3-cffi python3-numpy python3-pandas python3-fsspec python3-dask python3-distributed python3-pytest mypy
  python3-pip python3-setuptools python3-wheel
)
packages_abi=(abigail-tools)
packages_windows=(g++-mingw-w64-x86-64-posix libz-mingw-w64-dev wine64 googletest dpkg-dev)
packages_s390x=(g++-s390x-linux-gnu qemu-user-static googletest)
packages_arm64=(g++-aarch64-linux-gnu qemu-user-static googletest)
packages_mutants=(python3-clang-14)
packages_package=(
  debhelper dh-python pybuild-plugin-pyproject python3-all python3-setuptools python3-cffi lintian mmdebstrap
)
packages_trixie=(mmdebstrap debian-archive-keyring git)
packages_docs=(python3 doxygen python3-sphinx python3-myst-parser)

wanted=()
for group in "${@:-build}"; do
  case $group in
    build) wanted+=("${packages_build[@]}") ;;
    check) wanted+=("${packages_build[@]}" "${packages_check[@]}") ;;
    abi) wanted+=("${packages_build[@]}" "${packages_abi[@]}") ;;
    bench) wanted+=("${packages_build[@]}" "${packages_bench[@]}") ;;
    python) wanted+=("${packages_build[@]}" "${packages_python[@]}") ;;
    docs) wanted+=("${packages_docs[@]}") ;;
    windows) wanted+=("${packages_build[@]}" "${packages_windows[@]}") ;;
    s390x) wanted+=("${packages_build[@]}" "${packages_s390x[@]}") ;;
    arm64) wanted+=("${packages_build[@]}" "${packages_arm64[@]}") ;;
    mutants) wanted+=("${packages_build[@]}" "${packages_mutants[@]}") ;;
    package) wanted+=("${packages_build[@]}" "${packages_package[@]}") ;;
    trixie) wanted+=("${packages_trixie[@]}") ;;
    *)
      echo "setup.sh: no such group: $group (build, check, abi, bench, windows, s390x, arm64, python, docs, mutants, package, trixie)" >&2
      exit 2
      ;;
  esac
done

if ! command -v dpkg-query >/dev/null; then
  echo "setup.sh: this is no Debian; it needs what these packages hold: ${wanted[*]}" >&2
  exit 1
fi

missing=()
for package in "${wanted[@]}"; do
  if ! dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q ' installed$'; then
    missing+=("$package")
  fi
done
if [ "${#missing[@]}" -eq 0 ]; then
  exit 0
fi

if [ "$(id -u)" -ne 0 ]; then
  echo "setup.sh: missing packages; as root: apt-get install --no-install-recommends ${missing[*]}" >&2
  exit 1
fi

export DEBIAN_FRONTEND=noninteractive
echo "setup.sh: installing ${missing[*]}"
apt-get -q -o Acquire::Retries=3 update || {
  sleep 5
  apt-get -q -o Acquire::Retries=3 update
}
apt-get -q -y -o Acquire::Retries=3 -o Dpkg::Use-Pty=0 install --no-install-recommends "${missing[@]}" </dev/null
