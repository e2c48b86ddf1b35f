#!/bin/sh
# Builds the benchmarks as shipped and prints for each its figure, the floor
# that it is held against, and the ratio; below 1.00 is faster than the floor.
# Figures are medians of repetitions that take turns, in nanoseconds of
# processor time.
# usage: bench.sh [REPETITIONS]      11 if not given
set -eu
repetitions=${1:-11}
cd "$(dirname "$0")/.."
build=build/bench

scripts/install-deps.sh bench
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBOARD_HAL_WERROR=ON \
    -DBOARD_HAL_BUILD_BENCHMARKS=ON -DBOARD_HAL_BUILD_VIRTUAL_BOARD=OFF \
    -DBOARD_HAL_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$build"

"$build/bin/crc32_benchmark" --benchmark_format=csv --benchmark_min_time=0.05 \
    --benchmark_repetitions="$repetitions" --benchmark_enable_random_interleaving=true \
    --benchmark_report_aggregates_only=true >"$build/crc32.csv" 2>"$build/crc32.log" ||
    { cat "$build/crc32.log"; exit 1; }
awk -F, '
    $1 == "\"crc32/board_hal_median\"" { figure = $4 }
    $1 == "\"crc32/zlib_median\"" { floor = $4 }
    END {
        if (!figure || !floor) { print "bench: no figures"; exit 1 }
        printf "crc32 of 8188 bytes: figure %.0f ns, floor %.0f ns (zlib), ratio %.2f\n",
            figure, floor, figure / floor
    }' "$build/crc32.csv"
