#!/bin/sh
# Holds the binary interface of libboard_hal.so against the committed baselines,
# one per architecture.
# usage: abi.sh check|update [ARCH...]     ARCH: amd64, armhf, armel; all if none
#   check   fails on any difference
#   update  takes the interface of these sources for the new baseline; only after
#           the version in CMakeLists.txt was stepped and has its own heading in
#           CHANGELOG.md
set -eu
cd "$(dirname "$0")/.."
mode=${1:-}
[ $# -eq 0 ] || shift
case "$mode" in
check | update) ;;
*)
    echo "usage: abi.sh check|update [ARCH...]" >&2
    exit 2
    ;;
esac
[ $# -gt 0 ] || set -- amd64 armhf armel

scripts/install-deps.sh abi
version=$(sed -nE 's/^project\(board_hal VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
if [ "$mode" = update ] && [ -f abi/version ]; then
    if [ "$version" = "$(cat abi/version)" ]; then
        echo "abi: version $version has its baseline; step the version first" >&2
        exit 1
    fi
    if ! grep -qE "^## $version( |\$)" CHANGELOG.md; then
        echo "abi: CHANGELOG.md has no heading \"## $version\"" >&2
        exit 1
    fi
fi

# build ARCH: the library with debugging information.
build() {
    toolchain=""
    [ "$1" = amd64 ] || toolchain=-DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/$1.cmake
    cmake -S . -B "build/abi/$1" -G Ninja $toolchain -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DBOARD_HAL_BUILD_VIRTUAL_BOARD=OFF -DBOARD_HAL_BUILD_EXAMPLES=OFF \
        -DBOARD_HAL_BUILD_TOOLS=OFF >/dev/null
    cmake --build "build/abi/$1" --target board_hal >/dev/null
}

status=0
for arch in "$@"; do
    build "$arch"
    library=build/abi/$arch/lib/libboard_hal.so
    if [ "$mode" = update ]; then
        mkdir -p abi
        abidw --headers-dir include --drop-private-types --no-corpus-path --no-comp-dir-path \
            --no-show-locs "$library" >"abi/$arch.xml"
        echo "abi: abi/$arch.xml is the interface of version $version"
    elif abidiff --headers-dir2 include --drop-private-types "abi/$arch.xml" "$library"; then
        echo "abi: $arch as in version $(cat abi/version)"
    else
        status=1
    fi
done
[ "$mode" = check ] || echo "$version" >abi/version
exit "$status"
