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
    CC=clang CXX=clang++ cmake -S . -B build/clang -G Ninja -DCMAKE_BUILD_TYPE=None \
        -DBOARD_HAL_WERROR=ON >/dev/null
    cmake --build build/clang -- -j"$jobs"
    echo "clang: every file compiles by itself, and clang has no warning"
}

stage_lint() {
    cmake --preset debug >/dev/null
    # The options it finds are g++'s.
    git ls-files 'platform/*.cpp' 'frame/*.cpp' 'bringup/*.cpp' 'fpga/*.cpp' 'inventory/*.cpp' \
        'bootenv/*.cpp' 'uart/*.cpp' 'update/*.cpp' |
        xargs -P "$jobs" -n 4 clang-tidy -p build/debug --quiet --extra-arg=-Wno-unknown-warning-option
    echo "lint: clang-tidy finds nothing in the library"
}

# The compiler's own path analysis.
stage_analyzer() {
    cmake -S . -B build/analyzer -G Ninja -DCMAKE_BUILD_TYPE=Release -DBOARD_HAL_WERROR=ON \
        -DCMAKE_CXX_FLAGS=-fanalyzer -DBOARD_HAL_BUILD_VIRTUAL_BOARD=OFF \
        -DBOARD_HAL_BUILD_EXAMPLES=OFF -DBOARD_HAL_BUILD_TOOLS=OFF >/dev/null
    cmake --build build/analyzer --target board_hal vos -- -j"$jobs"
    echo "analyzer: gcc -fanalyzer finds nothing in the library"
}

# Names each line and each branch of the library that no test reaches.
stage_coverage() {
    scripts/coverage.sh
}

# The failure sweep prints its own line.
stage_sweep() {
    cmake --preset asan+ubsan >/dev/null
    cmake --build build/asan-ubsan --target failure_sweep -- -j"$jobs" >/dev/null
    local log
    log=$(mktemp)
    if ! build/asan-ubsan/bin/failure_sweep >"$log" 2>&1; then
        grep -v '^\[' "$log"
        rm -f "$log"
        return 1
    fi
    grep '^failure sweep:' "$log"
    rm -f "$log"
}

# BOARD_THREADS_SECONDS sets the length, BOARD_THREADS_SEED the order.
stage_threads() {
    cmake --preset tsan >/dev/null
    cmake --build build/tsan --target board_threads -- -j"$jobs" >/dev/null
    tests/threads/threads.sh build/tsan/bin/board_threads tests/threads/tsan.supp \
        "${BOARD_THREADS_SECONDS:-120}"
}

stage_fuzz() {
    scripts/fuzz.sh 30
}

stage_docs() {
    scripts/docs.sh
}

stage_abi() {
    scripts/abi.sh check
}

# The whole suite on both ARM targets under qemu-user, but for what starts further
# programs. With little optimisation, building and running take the least together.
stage_cross() {
    scripts/install-deps.sh cross
    local arch log ran skipped result=""
    log=$(mktemp)
    for arch in armhf armel; do
        cmake -S . -B "build/$arch" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_FLAGS_DEBUG=-O1 \
            -DCMAKE_CXX_FLAGS_DEBUG=-O1 -DCMAKE_TOOLCHAIN_FILE="cmake/toolchains/$arch.cmake" \
            -DCMAKE_UNITY_BUILD=ON -DBOARD_HAL_WERROR=ON >/dev/null
        cmake --build "build/$arch" -- -j"$jobs"
        if ! ctest --test-dir "build/$arch" -j"$jobs" --output-on-failure --no-tests=error >"$log" 2>&1; then
            grep -vE '^ +Start |   Passed ' "$log"
            rm -f "$log"
            return 1
        fi
        skipped=$(grep -cF '***Skipped' "$log" || true)
        ran=$(($(sed -n 's/.* tests passed, .* out of //p' "$log") - skipped))
        result+="${result:+; }$arch: $ran pass, $skipped skipped"
    done
    rm -f "$log"
    echo "cross: the tests under qemu-user as Cortex-A9 (armhf) and ARM926 (armel): $result"
}

stage_package() {
    scripts/package.sh
}

stage_real-kernel() {
    scripts/real-kernel.sh
}

stages=("$@")
if [ ${#stages[@]} -eq 0 ]; then
    stages=(format headers docs abi clang lint analyzer sanitizers sweep threads fuzz coverage cross package real-kernel)
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
