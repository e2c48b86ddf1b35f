#!/bin/sh
# Runs every test with the libraries counting, and names the lines and branches
# that none of them reaches (build/coverage/lines.txt, branches.txt).
set -eu
cd "$(dirname "$0")/.."
scripts/install-deps.sh coverage
build=build/coverage

cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DBOARD_HAL_WERROR=ON \
    -DBOARD_HAL_COVERAGE=ON >/dev/null
cmake --build "$build" -- -j"$(nproc)" >"$build/build.log" || { tail -n 40 "$build/build.log"; exit 1; }
find "$build" -name '*.gcda' -delete
# The counters are exports of their own, and sizes change: what looks at the
# library as a file is left out.
ctest --test-dir "$build" -j"$(nproc)" -E '^package/' --output-on-failure --no-tests=error \
    >"$build/test.log" || { tail -n 60 "$build/test.log"; exit 1; }

report() {
    gcovr -r . --object-directory "$build" --exclude-throw-branches --exclude-unreachable-branches \
        --filter '(platform|frame|bringup|fpga|inventory|bootenv|uart|update|common|support)/' \
        --exclude '.*tests/.*' "$@"
}
report --txt "$build/lines.txt"
report --branches --txt "$build/branches.txt"
echo "Lines and branches that no test reaches:"
awk '/%/ && !/100%/ && !/^TOTAL/ { print "  line   " $1 ": " $NF }' "$build/lines.txt"
awk '/%/ && !/100%/ && !/^TOTAL/ { print "  branch " $1 ": " $NF }' "$build/branches.txt"
echo "coverage: $(awk '/^TOTAL/ { print $4 }' "$build/lines.txt") of the library's lines," \
    "$(awk '/^TOTAL/ { print $4 }' "$build/branches.txt") of its branches"
