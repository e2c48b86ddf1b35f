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

# tested BUILD: what the last CTest run there amounts to, which took the tests of
# GoogleTest programs in shares.
tested() {
    awk '/^tests: / { cases += $2; skipped += $4; shares++ }
         /^Test Passed\.$/ { passed++ }
         END { printf "%d test cases and %d scripts, %d skipped", cases, passed - shares, skipped }' \
        "$1/Testing/Temporary/LastTest.log"
}

# But for the failure sweep, a stage of its own.
stage_sanitizers() {
    local preset result=""
    for preset in asan+ubsan tsan; do
        scripts/test.sh "$preset" -E '^failure_sweep/'
        result+="${result:+; }$preset: $(tested "build/${preset/+/-}")"
    done
    echo "sanitizers: the tests pass under the address, undefined and thread sanitizers: $result"
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

# The failure sweep prints its own line, of which a part runs on each processor.
stage_sweep() {
    cmake --preset asan+ubsan >/dev/null
    cmake --build build/asan-ubsan --target failure_sweep -- -j"$jobs" >/dev/null
    local logs part pids=() failed=0
    logs=$(mktemp -d)
    for ((part = 0; part < jobs; part++)); do
        GTEST_TOTAL_SHARDS=$jobs GTEST_SHARD_INDEX=$part \
            build/asan-ubsan/bin/failure_sweep >"$logs/$part" 2>&1 &
        pids+=($!)
    done
    for part in "${pids[@]}"; do
        wait "$part" || failed=1
    done
    if [ "$failed" -eq 0 ]; then
        awk '/^failure sweep:/ {
                 for (i = 1; i <= NF; i++)
                     if (match($i, /[0-9]+/)) {
                         sum[i] += substr($i, RSTART, RLENGTH)
                         sub(/[0-9]+/, sum[i], $i)
                     }
                 line = $0
             }
             END { print line }' "$logs"/*
    else
        grep -hv '^\[' "$logs"/*
    fi
    rm -rf "$logs"
    return "$failed"
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
    local arch result=""
    for arch in armhf armel; do
        cmake -S . -B "build/$arch" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_FLAGS_DEBUG=-O1 \
            -DCMAKE_CXX_FLAGS_DEBUG=-O1 -DCMAKE_TOOLCHAIN_FILE="cmake/toolchains/$arch.cmake" \
            -DCMAKE_UNITY_BUILD=ON -DBOARD_HAL_WERROR=ON -DBOARD_HAL_TESTS_IN_SHARES=ON >/dev/null
        cmake --build "build/$arch" -- -j"$jobs"
        ctest --test-dir "build/$arch" -j"$jobs" --output-on-failure --no-tests=error
        result+="${result:+; }$arch: $(tested "build/$arch")"
    done
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
