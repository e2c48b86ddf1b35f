#!/bin/sh
# Installs the build to an empty prefix and builds and runs clients against that
# copy alone: C through pkg-config, C++ through the CMake package.
# usage: install_test.sh SOURCE_DIR BUILD_DIR CC CXX SANITIZERS [EMULATOR...]
set -eu
source=$1
build=$2
cc=$3
cxx=$4
sanitize=$5
shift 5
client=$source/tests/package/client
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null
lib=$(dirname "$(find "$prefix" -name 'libboard_hal.so')")
for file in "$prefix/include/board_hal.h" "$prefix/include/board_hal_cpld.h" \
    "$lib/libboard_hal.so.1" "$lib/libvos.so.1" "$lib/pkgconfig/board_hal.pc" \
    "$lib/cmake/board_hal/board_halConfig.cmake"; do
    [ -e "$file" ] || { echo "FAILED: $file is not installed"; exit 1; }
done
if grep -rl "$source" "$prefix" --include='*.pc' --include='*.cmake' --include='*.h'; then
    echo "FAILED: the files above name the source tree"
    exit 1
fi

flags=""
[ -z "$sanitize" ] || flags="-fsanitize=$sanitize"
# shellcheck disable=SC2046,SC2086 # lists of words
"$cc" -std=c11 -Wall -Wextra -Werror $flags "$client/client.c" -o "$work/c_client" \
    $(PKG_CONFIG_PATH=$lib/pkgconfig pkg-config --cflags --libs board_hal)
LD_LIBRARY_PATH=$lib "$@" "$work/c_client"

cmake -S "$client" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$work/cmake" >/dev/null
LD_LIBRARY_PATH=$lib "$@" "$work/cmake/cxx_client"

# The preload library is the tools' own: no program is linked to it.
[ ! -e "$lib/libvirtual_board_preload.so" ] || { echo "FAILED: a public preload library"; exit 1; }
# The tools find the libraries of their own installation by themselves, also
# where it has been moved to. A sanitizer wants to be loaded first,
# and an emulator does not run what the tools start.
unset VIRTUAL_BOARD_PRELOAD
export ASAN_OPTIONS=verify_asan_link_order=0
mv "$prefix" "$work/moved"
bin=$work/moved/bin
if [ -x "$bin/boardctl" ] && [ $# -eq 0 ]; then
    [ -e "$work/moved/share/man/man1/boardctl.1" ] || { echo "FAILED: no manual page"; exit 1; }
    "$bin/boardctl" --virtual info >/dev/null
    "$bin/virtual-board" run -- "$bin/boardctl" info >/dev/null
fi
echo "an installed copy serves C and C++ clients"
