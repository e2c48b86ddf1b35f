#!/bin/sh
# Compiles each public header alone, as the oldest C and C++ that it promises.
# usage: check-headers.sh CC CXX
set -eu
cd "$(dirname "$0")/.."
flags="-fsyntax-only -Wall -Wextra -Wconversion -Wshadow -Wpedantic -Werror -Iinclude"

alone() {
    printf '#include "%s"\nint main(void) { return 0; }\n' "$(basename "$1")"
}

for header in include/*.h; do
    # shellcheck disable=SC2086 # a list of words
    alone "$header" | "$1" -std=c11 -x c $flags -
    # shellcheck disable=SC2086
    alone "$header" | "$2" -std=c++11 -x c++ $flags -
done
echo "headers: each public header compiles alone as C11 and C++11 ($1, $2)"
