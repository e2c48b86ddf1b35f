#!/bin/sh
# Runs the debug build's tests with libraries that count, and names the lines and
# branches that none of them reaches (build/coverage/lines.txt, branches.txt).
set -eu
cd "$(dirname "$0")/.."
scripts/install-deps.sh coverage
build=build/coverage
jobs=$(nproc)

cmake --preset debug >/dev/null
cmake --build --preset debug -- -j"$jobs" >build/coverage-tests.log || {
    tail -n 40 build/coverage-tests.log
    exit 1
}
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DBOARD_HAL_COVERAGE=ON \
    -DBOARD_HAL_BUILD_VIRTUAL_BOARD=OFF -DBOARD_HAL_BUILD_EXAMPLES=OFF \
    -DBOARD_HAL_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" --target board_hal vos -- -j"$jobs" >/dev/null
find "$build" -name '*.gcda' -delete
# The counters bring exports, imports and allocations of their own: what looks at
# the library as a file, or gives it no memory at all, is left out.
LD_LIBRARY_PATH=$PWD/$build/lib ctest --test-dir build/debug -j"$jobs" \
    -E '^package/|SeesEveryFunctionThatTheLibraryImports|ChannelTwoNeedsNoMemory' \
    --output-on-failure --no-tests=error >"$build/test.log" || {
    tail -n 60 "$build/test.log"
    exit 1
}

report() {
    gcovr -r . --object-directory "$build" --exclude-throw-branches --exclude-unreachable-branches \
        --filter '(platform|frame|bringup|fpga|inventory|bootenv|uart|update|common|support)/' \
        --exclude '.*tests/.*' "$@"
}
report --txt "$build/lines.txt"
report --branches --txt "$build/branches.txt"
echo "Lines and branches that no test reaches:"
for what in line branch; do
    list=$build/lines.txt
    [ "$what" = line ] || list=$build/branches.txt
    awk -v what="$what" '/[0-9]%/ && !/100%/ && !/^TOTAL/ { print "  " what " " $1 ": " $NF }' "$list"
done
# total FILE: "3523 of 3534"
total() {
    awk '/^TOTAL/ { print $3 " of " $2 }' "$1"
}
echo "coverage: $(total "$build/lines.txt") lines of the library, $(total "$build/branches.txt") branches"
