#!/bin/sh
# Installs the Debian packages that are missing for a task.
# usage: install-deps.sh build|test|check|bench
#   build  compile the library, the virtual board and the examples
#   test   build, and run the tests
#   check  test, and the sanitizers, linters and cross checks of CI
#   bench  build, and run the benchmarks
set -eu

build="cmake g++ ninja-build"
test="$build libgtest-dev nlohmann-json3-dev pkg-config u-boot-tools libubootenv-tool"
check="$test clang clang-format clang-tidy libclang-rt-14-dev"
bench="$build libbenchmark-dev zlib1g"

case "${1:-}" in
build) packages=$build ;;
test) packages=$test ;;
check) packages=$check ;;
bench) packages=$bench ;;
*)
    echo "usage: install-deps.sh build|test|check|bench" >&2
    exit 2
    ;;
esac

missing=""
for package in $packages; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed'; then
        missing="$missing $package"
    fi
done
if [ -z "$missing" ]; then
    exit 0
fi

echo "installing:$missing"
as_root=""
if [ "$(id -u)" -ne 0 ]; then
    as_root=sudo
fi
$as_root apt-get update -qq
# shellcheck disable=SC2086 # a list of words
DEBIAN_FRONTEND=noninteractive $as_root apt-get install -y -qq --no-install-recommends $missing >/dev/null
