#!/usr/bin/env bash
# Installs what is missing, builds the library, its tools and its tests (Release), runs all tests.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/check.sh gcc
