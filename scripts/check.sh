#!/bin/bash
# Checks beyond the tests. Each stage can be run alone and says in one line what
# it proved.
# usage: check.sh [STAGE...]     all stages if none is named
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=$(nproc)

stage_format() {
    git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror
    echo "format: every source file is formatted"
}

stage_headers() {
    scripts/check-headers.sh gcc g++
    scripts/check-headers.sh clang clang++
}

stage_sanitizers() {
    local preset
    for preset in asan+ubsan tsan; do
        scripts/test.sh "$preset"
    done
    echo "sanitizers: all tests pass under the address, undefined and thread sanitizers"
}

stage_clang() {
    CC=clang CXX=clang++ cmake -S . -B build/clang -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DBOARD_HAL_WERROR=ON >/dev/null
    cmake --build build/clang -- -j"$jobs"
    echo "clang: everything builds with clang without a warning"
}

stage_lint() {
    cmake --preset debug >/dev/null
    git ls-files 'platform/*.cpp' 'frame/*.cpp' 'bringup/*.cpp' 'fpga/*.cpp' 'inventory/*.cpp' \
        'bootenv/*.cpp' 'uart/*.cpp' 'update/*.cpp' |
        xargs -P "$jobs" -n 4 clang-tidy -p build/debug --quiet
    echo "lint: clang-tidy finds nothing in the library"
}

stages=("$@")
if [ ${#stages[@]} -eq 0 ]; then
    stages=(format headers clang lint sanitizers)
fi

scripts/install-deps.sh check
for stage in "${stages[@]}"; do
    if ! declare -F "stage_$stage" >/dev/null; then
        echo "check.sh: no stage \"$stage\"" >&2
        exit 2
    fi
    echo "== $stage"
    "stage_$stage"
done
