#!/bin/sh
# The demo's updates: one that goes well and one that does not, on virtual
# boards. Called by demo.sh, which builds what it needs.
# usage: demo-upgrade.sh BUILD_FOLDER
set -eu
cd "$(dirname "$0")/.."

build=$PWD/$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
"$build/bin/bios-image" build --size 8M --flag 0x02000000 --region 0:64K --seed 1 "$folder/new.rom"
cd "$folder"

# A terminal sees bars that are redrawn in place; elsewhere each comes once.
words=--text
[ ! -t 1 ] || words=

# update OPTION...: on a board of its own, whose flash takes its time.
update()
{
    printf '\n$ upgrade_service %s\n\n' "$*"
    code=0
    # shellcheck disable=SC2086 # no word if there is none
    timeout 60 env LD_PRELOAD="$build/lib/libvirtual_board_preload.so" \
        VIRTUAL_BOARD_FLASH_TIMING=15000,150 \
        "$build/bin/upgrade_service" "$@" $words || code=$?
}

# expect CODE
expect()
{
    [ "$code" = "$1" ] || exit 1
}

cat <<'TEXT'

A fourth program updates the server's BIOS. It takes the BIOS flash from the
server, saves what is on it, writes and verifies the new image in one thread
while another shows how far it is, and gives the flash back.
TEXT

update bios new.rom --save old.rom
expect 0

cat <<'TEXT'

The same on a board whose flash is worn: it takes every byte without complaint,
and one piece of 10 KiB does not stay. The verification finds it, and the service
says what the flash holds now, who has it, and what to do next. For programs it
says all that in lines of JSON, and its exit code tells the cases apart.
TEXT

export VIRTUAL_BOARD_FAULTS='mtd6:write:lie,skip=500'
update bios new.rom --save worn.rom
expect 4
