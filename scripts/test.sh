#!/bin/sh
# Installs what is missing, builds, and runs every test.
# usage: test.sh [PRESET [CTEST ARGUMENT...]]
# PRESET: debug (default), release, asan+ubsan, tsan
set -eu
cd "$(dirname "$0")/.."
preset=${1:-debug}
[ $# -eq 0 ] || shift

scripts/install-deps.sh test
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -- -j"$(nproc)"
ctest --preset "$preset" -j"$(nproc)" "$@"
