#!/bin/bash
# Builds the Debian packages of the committed sources in build/package, has
# lintian look at them, and uses what is in them: clients are built on the -dev
# package, and the tools are run, each where only it and what it depends on is.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh package
client=$PWD/tests/package/client
rm -rf build/package
mkdir -p build/package/board-hal
git archive HEAD | tar -x -C build/package/board-hal
cd build/package

fail() {
    echo "package: $*" >&2
    exit 1
}

(cd board-hal && DEB_BUILD_OPTIONS="parallel=$(nproc) ${DEB_BUILD_OPTIONS:-}" dpkg-buildpackage -us -uc) >build.log 2>&1 || {
    tail -n 40 build.log
    exit 1
}
# On a machine of one's own the build need not be another user's.
lintian --allow-root --fail-on error,warning ./*.changes

twice=$(for deb in *.deb; do dpkg-deb --fsys-tarfile "$deb" | tar -t; done | grep -v '/$' | sort | uniq -d)
[ -z "$twice" ] || fail "in two packages: $twice"

# unpack ROOT PACKAGE: it, and what it depends on of the packages built here.
unpack() {
    local root=$1 package=$2 dependency
    dpkg-deb -x "$package"_*.deb "$root"
    for dependency in $(dpkg-deb -f "$package"_*.deb Depends | tr ',' '\n' | sed 's/(.*//'); do
        if compgen -G "${dependency}_*.deb" >/dev/null; then
            unpack "$root" "$dependency"
        fi
    done
}

multiarch=$(dpkg-architecture -q DEB_HOST_MULTIARCH)
unset LD_PRELOAD VIRTUAL_BOARD VIRTUAL_BOARD_PRELOAD VIRTUAL_BOARD_PERSONALITY

root=$PWD/dev
unpack "$root" libboard-hal-dev
flags=$(PKG_CONFIG_SYSROOT_DIR=$root PKG_CONFIG_LIBDIR=$root/usr/lib/$multiarch/pkgconfig \
    PKG_CONFIG_ALLOW_SYSTEM_CFLAGS=1 PKG_CONFIG_ALLOW_SYSTEM_LIBS=1 pkg-config --cflags --libs board_hal)
# shellcheck disable=SC2086 # a list of words
cc -std=c11 -Wall -Wextra -Werror "$client/client.c" -o c_client $flags
cmake -S "$client" -B cxx_client -G Ninja -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build cxx_client >/dev/null
for program in ./c_client cxx_client/cxx_client; do
    LD_LIBRARY_PATH=$root/usr/lib/$multiarch ldd "$program" | grep -F "libboard_hal.so.1 => $root/" >/dev/null ||
        fail "$program does not use the packaged library"
    LD_LIBRARY_PATH=$root/usr/lib/$multiarch "$program"
done

root=$PWD/tools
unpack "$root" board-hal-tools
[ ! -e "$root/usr/include" ] || fail "the tools drag the headers in"
# tool TEXT PROGRAM ARGUMENT...: it succeeds, and what it prints has the text.
tool() {
    local text=$1
    shift
    env PATH="$root/usr/bin:$PATH" LD_LIBRARY_PATH="$root/usr/lib/$multiarch" "$@" >output 2>&1 ||
        fail "$*: exit code $?: $(cat output)"
    [ -z "$text" ] || grep -qF -- "$text" output || fail "$*: no \"$text\" in: $(cat output)"
}
for program in "$root"/usr/bin/*; do
    name=$(basename "$program")
    tool "sage: $name " "$program" --help
    zcat "$root/usr/share/man/man1/$name.1.gz" | grep "^\.SH NAME" >/dev/null || fail "$name has no manual page"
done
tool Brava boardctl --virtual info
tool Corvo virtual-board run --personality corvo-8 -- boardctl info
tool Corvo boardctl --virtual --personality "$root/usr/share/virtual-board/personalities/corvo-8.json" info
tool '' bios-image build --size 64K image
tool 65536 bios-image show --json image
echo "package: $(echo ./*.deb | sed 's/\.\///g') built, lintian has nothing to say;" \
    "installed, they serve C and C++ clients, and the tools run"
