#!/bin/bash
# Drives the ARM build of the library and the examples on the distribution's own
# ARM kernel, in an emulated machine whose board is a kernel module. The kernel
# is downloaded at the first run and kept in build/real-kernel; where it cannot
# be had, the run is skipped, and says so.
set -euo pipefail
cd "$(dirname "$0")/.."
PATH=$PATH:/usr/sbin:/sbin # depmod, modprobe

folder=$PWD/build/real-kernel
root=$folder/root
machine=$folder/machine
cross=arm-linux-gnueabihf
jobs=$(nproc)
patience=${REAL_KERNEL_TIMEOUT:-300}

skip() {
    echo "real-kernel: skipped, $*"
    exit 0
}

# Runs apt on lists of its own, for both architectures; the machine's packages
# and lists stay as they are.
private_apt() {
    APT_CONFIG=$folder/apt/apt.conf "$@"
}

configure_apt() {
    local host
    host=$(dpkg --print-architecture)
    mkdir -p "$folder"/apt/{lists/partial,archives/partial}
    : >"$folder/apt/status"
    cat >"$folder/apt/apt.conf" <<CONFIG
APT::Architecture "armhf";
APT::Architectures { "armhf"; "$host"; };
APT::Sandbox::User "";
Acquire::Languages "none";
Dir::State::lists "$folder/apt/lists";
Dir::State::status "$folder/apt/status";
Dir::Cache "$folder/apt";
CONFIG
}

field() {
    private_apt apt-cache show --no-all-versions "$1" 2>/dev/null | sed -n "s/^$2: //p"
}

# The kernel's packages: image, headers, and the host tools that build modules.
# The tools have to be of the headers' version, not of the newest.
kernel_packages() {
    local headers version depends
    headers=$(field linux-headers-armmp Depends | grep -o 'linux-headers-[^ ,]*')
    version=$(field "$headers" Version)
    depends=$(field "$headers" Depends)
    echo "$headers=$version" "linux-image-${headers#linux-headers-}=$version" \
        "$(grep -o 'linux-headers-[^ ,]*-common' <<<"$depends")=$version" \
        "$(grep -o 'linux-kbuild-[^ ,]*' <<<"$depends"):$(dpkg --print-architecture)=$version" \
        busybox-static
}

# Downloads and unpacks; a folder that is there is whole.
get_kernel() {
    local packages package unpacked=$folder/unpacking
    [ -d "$root" ] && return
    configure_apt
    # A source that fails leaves the others.
    private_apt apt-get update >"$folder/apt.log" 2>&1 || true
    packages=$(kernel_packages) || return 1
    rm -rf "$folder/debs" "$unpacked"
    mkdir -p "$folder/debs" "$unpacked"
    # shellcheck disable=SC2086 # a list of words
    (cd "$folder/debs" && private_apt apt-get download $packages) >>"$folder/apt.log" 2>&1 || return 1
    for package in "$folder"/debs/*.deb; do
        dpkg-deb -x "$package" "$unpacked" || return 1
    done
    depmod -b "$unpacked" "$(ls "$unpacked/lib/modules")" || return 1
    rm -rf "$folder/debs"
    mv "$unpacked" "$root"
}

# usage: build_library ARCHITECTURE COMPILER_PREFIX CMAKE_OPTION...
build_library() {
    local library=$folder/$1 compiler=$2-gcc
    cmake -S . -B "$library" -G Ninja -DCMAKE_BUILD_TYPE=MinSizeRel \
        -DCMAKE_TOOLCHAIN_FILE="cmake/toolchains/$1.cmake" -DBOARD_HAL_WERROR=ON \
        -DBOARD_HAL_BUILD_TESTS=OFF -DBOARD_HAL_BUILD_VIRTUAL_BOARD=OFF "${@:3}"
    cmake --build "$library" -- -j"$jobs"
    mkdir -p "$library/bin"
    "$compiler" -std=gnu11 -Os -Wall -Wextra -Wconversion -Wshadow -Werror -Iinclude \
        tests/real_kernel/conformance.c -L"$library/lib" -lboard_hal \
        -Wl,-rpath-link,"$library/lib" -o "$library/bin/conformance"
}

build_module() {
    local headers=$root/usr/src/linux-headers-$release
    # The headers expect to be where their package is installed.
    sed -i "s|^include .*/usr/src/|include $root/usr/src/|" "$headers/Makefile"
    mkdir -p "$folder/module"
    cp tests/real_kernel/module/{Kbuild,*.[ch]} "$folder/module"
    make -C "$headers" M="$folder/module" ARCH=arm CROSS_COMPILE="$cross-" CC="$cross-gcc" \
        -j"$jobs" modules
}

# usage: add_libraries FOLDER ARCHITECTURE COMPILER_PREFIX NAME...
add_libraries() {
    local name
    mkdir -p "$1"
    cp -L "$folder/$2"/lib/lib{board_hal,vos}.so.1 "$1"
    for name in "${@:4}"; do
        cp -L "$("$3-gcc" -print-file-name="$name")" "$1/$name"
    done
}

# A root file system: the kernel's modules in the order in which they are
# loaded, the build, and the C and C++ libraries of the compiler.
build_machine() {
    local module name
    rm -rf "$machine"
    mkdir -p "$machine"/{bin,sbin,lib,modules,ko,expected}
    cp "$root/bin/busybox" "$machine/bin"
    ln -s /bin/busybox "$machine/sbin/insmod"
    ln -s /bin/busybox "$machine/sbin/rmmod"
    cp tests/real_kernel/init "$machine/init"
    cp tests/examples/board_inventory/brava-0.{txt,json} "$machine/expected"
    cp "$folder"/armhf/bin/{conformance,board_inventory,chassis_controller} "$machine/bin"
    add_libraries "$machine/lib" armhf "$cross" \
        ld-linux-armhf.so.3 libc.so.6 libm.so.6 libgcc_s.so.1 libstdc++.so.6
    # The other target's, apart; its loader has a place of its own.
    add_libraries "$machine/armel" armel arm-linux-gnueabi ld-linux.so.3 libc.so.6 libgcc_s.so.1
    mv "$machine/armel/ld-linux.so.3" "$machine/lib"
    cp "$folder/armel/bin/conformance" "$machine/armel"
    cp "$folder"/module/{m25p80,load_fpga}.ko "$machine/ko"
    cp "$folder/module/test_board.ko" "$machine/modules"
    for name in virtio_mmio virtio_net i2c-dev mtdblock; do
        modprobe -d "$root" -S "$release" --show-depends "$name"
    done | awk '$1 == "insmod" && !seen[$2]++ { print $2 }' >"$folder/modules"
    while read -r module; do
        cp "$module" "$machine/modules"
        basename "$module"
    done <"$folder/modules" >"$machine/modules/order"
    echo test_board.ko >>"$machine/modules/order"
    (cd "$machine" && find . | cpio --quiet -o -H newc | gzip -1) >"$folder/initramfs.gz"
}

# The console goes to a file. What the board's serial port sends comes back.
run_machine() {
    local echoing result=0
    rm -f "$folder"/uart.{in,out} "$folder/console"
    mkfifo "$folder"/uart.{in,out}
    (exec cat <"$folder/uart.out" >"$folder/uart.in") &
    echoing=$!
    timeout "$patience" qemu-system-arm -M virt,highmem=off -cpu cortex-a15 -m 256 -no-reboot \
        -display none -monitor none -serial "file:$folder/console" \
        -chardev pipe,id=uart,path="$folder/uart" -device pci-serial,chardev=uart \
        -netdev user,id=net,restrict=on -device virtio-net-device,netdev=net \
        -kernel "$root/boot/vmlinuz-$release" -initrd "$folder/initramfs.gz" \
        -append 'console=ttyAMA0 quiet loglevel=4 panic=-1' || result=$?
    kill "$echoing" 2>/dev/null || true
    return "$result"
}

# In a subshell: as a condition, a function would not end at its first failure.
logged() {
    log=$folder/build.log
    ("$@") >"$log" 2>&1
}

explain() {
    if [ "$1" -ne 0 ]; then
        [ ! -e "$log" ] || tail -n 40 "$log"
        echo "real-kernel: failed (see $log)"
    fi
}

scripts/install-deps.sh kernel >/dev/null 2>&1 || skip "no emulator or no compiler for ARM to be had"
mkdir -p "$folder"
get_kernel || skip "no ARM kernel to be had (see build/real-kernel/apt.log)"
release=$(ls "$root/lib/modules")

trap 'explain $?' EXIT
logged build_library armhf "$cross"
logged build_library armel arm-linux-gnueabi -DBOARD_HAL_BUILD_EXAMPLES=OFF
logged build_module
logged build_machine
log=$folder/console
run_machine
grep -q '^real-kernel result: ' "$log"
trap - EXIT

tr -d '\r' <"$log" | sed -n '/^== /,/^real-kernel result: /p'
if ! tr -d '\r' <"$log" | grep -qx 'real-kernel result: 0'; then
    echo "real-kernel: failed"
    exit 1
fi
echo "real-kernel: library and examples work on $release"
