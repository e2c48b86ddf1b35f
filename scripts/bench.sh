#!/bin/sh
# Builds the benchmarks as shipped and prints one table: for each figure the
# floor that it is held against, their ratio, and the goal. Times are medians of
# repetitions that take turns; a second thread is alive all the time. Calls are
# measured in processor time, copies in elapsed time.
# usage: bench.sh [--page] [REPETITIONS]      11 if not given
#   --page  also writes docs/benchmarks.md and its plots
set -eu
page=""
if [ "${1:-}" = --page ]; then
    page=1
    shift
fi
repetitions=${1:-11}
cd "$(dirname "$0")/.."
build=build/bench
armel=build/bench-armel

scripts/install-deps.sh bench
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBOARD_HAL_WERROR=ON \
    -DBOARD_HAL_BUILD_BENCHMARKS=ON -DBOARD_HAL_BUILD_VIRTUAL_BOARD=OFF \
    -DBOARD_HAL_BUILD_EXAMPLES=OFF -DBOARD_HAL_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" >&2
cmake -S . -B "$armel" -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/armel.cmake \
    -DCMAKE_BUILD_TYPE=MinSizeRel -DBOARD_HAL_BUILD_VIRTUAL_BOARD=OFF \
    -DBOARD_HAL_BUILD_EXAMPLES=OFF -DBOARD_HAL_BUILD_TOOLS=OFF >/dev/null
cmake --build "$armel" --target board_hal >&2

# measure PROGRAM REPETITIONS: its medians as PROGRAM.csv. Single calls are short
# and repeated by the program; a copy is one.
measure() {
    "$build/bin/$1_benchmark" --benchmark_out="$build/$1.csv" --benchmark_out_format=csv \
        --benchmark_min_time=0.05 --benchmark_repetitions="$2" \
        --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true \
        >"$build/$1.log" 2>&1 || { cat "$build/$1.log"; exit 1; }
    if grep -q 'ERROR OCCURRED' "$build/$1.log"; then
        cat "$build/$1.log"
        exit 1
    fi
}
measure crc32 "$repetitions"
measure calls "$repetitions"
measure load "$repetitions"
measure copies "$(((repetitions + 1) / 2))"

# Text and read-only data on armel, private memory, run-time libraries and
# constructors: none but the C runtime's own frame_dummy.
size=$(arm-linux-gnueabi-size -B "$armel/lib/libboard_hal.so" | awk 'NR == 2 { print $1 }')
read -r private empty <<TEXT
$("$build/bin/load_benchmark" --private-memory)
TEXT
needed=$(arm-linux-gnueabi-readelf -d "$armel/lib/libboard_hal.so" |
    sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | tr '\n' ' ' | sed 's/ $//')
constructors=$(($(arm-linux-gnueabi-readelf -d "$armel/lib/libboard_hal.so" |
    sed -n 's/.*(INIT_ARRAYSZ) *\([0-9]*\).*/\1/p') / 4 - 1))

awk -F, -v size="$size" -v private="$private" -v empty="$empty" -v needed="$needed" \
    -v constructors="$constructors" -f scripts/bench-table.awk \
    "$build/crc32.csv" "$build/calls.csv" "$build/copies.csv" "$build/load.csv" >"$build/table.md"
cat "$build/table.md"

if [ -n "$page" ]; then
    scripts/bench-page.sh "$build"
fi
