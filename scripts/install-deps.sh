#!/bin/sh
# Installs the Debian packages that are missing for a task.
# usage: install-deps.sh build|test|check|bench|docs|abi|coverage|cross|package|kernel
#   build  compile the library, the virtual board, the tools and the examples
#   test   build, and run the tests
#   check  test, and the sanitizers, linters and cross checks of CI
#   bench  build, and run the benchmarks
#   docs   build the reference
#   coverage  count what the tests reach
#   abi    compare binary interfaces, also of the ARM builds
#   cross  build for ARM and run the tests there under qemu-user
#   package  build and check the Debian packages
#   kernel build for ARM, and run on an ARM kernel in an emulator
set -eu

build="cmake g++ ninja-build libcli11-dev nlohmann-json3-dev"
test="$build libgtest-dev pkg-config u-boot-tools libubootenv-tool
    i2c-tools mtd-utils spi-tools util-linux-extra picocom
    python3-jsonschema man-db zsh fish"
docs="doxygen"
arm="g++-arm-linux-gnueabihf g++-arm-linux-gnueabi"
abi="cmake g++ ninja-build $arm abigail-tools"
coverage="$test gcovr"
cross="$test $arm qemu-user googletest"
package="$build debhelper dpkg-dev help2man lintian pkg-config"
kernel="$build $arm qemu-system-arm make gcc libc6-dev libelf1 libssl3 kmod cpio"
check="$test $docs clang clang-format clang-tidy libclang-rt-14-dev"
bench="$build libbenchmark-dev zlib1g libubootenv0.1 g++-arm-linux-gnueabi gnuplot-nox"

case "${1:-}" in
build) packages=$build ;;
test) packages=$test ;;
check) packages=$check ;;
bench) packages=$bench ;;
docs) packages=$docs ;;
abi) packages=$abi ;;
coverage) packages=$coverage ;;
cross) packages=$cross ;;
package) packages=$package ;;
kernel) packages=$kernel ;;
*)
    echo "usage: install-deps.sh build|test|check|bench|docs|abi|coverage|cross|package|kernel" >&2
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
