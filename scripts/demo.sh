#!/bin/sh
# Builds the demo and runs it: a little management controller on a virtual
# board, with a host that talks to it, and the inventory of two boards. Needs no
# hardware; installs what is missing on a Debian machine.
set -eu
cd "$(dirname "$0")/.."

build=build/demo
log=$build.log
lib=$build/lib/libvirtual_board_preload.so
controller=$build/bin/chassis_controller
host=examples/chassis_controller/demo.host
inventory=$build/bin/board_inventory

scripts/install-deps.sh build

echo "Building the library, the virtual board and two programs (log: $log)"
mkdir -p build
if ! { cmake --preset release -B "$build" -DBOARD_HAL_BUILD_TESTS=OFF &&
       cmake --build "$build" --target board_hal virtual_board_preload chassis_controller board_inventory; } >"$log" 2>&1
then
    cat "$log"
    exit 1
fi

cat <<'TEXT'

A server has a little computer beside it that switches it on and off and
watches over it: the management controller (BMC). Below, such a controller runs
on the board_hal library and serves a server's requests. Server and board are
simulated; controller and library are the real programs, and do not know.

  host  |  the server: the IPMI messages that it sends and receives over the KCS
        |  interface, and what becomes of its power. Its end of KCS runs on
        |  standby power, so it can talk while the server is off.
  board |  registers of the CPLD, the board's logic chip, whose bits are its lines:
        |  value before -> after, and the bits that change.
  bmc   |  the controller's own log. The line without a prefix is the library's.

Numbers with an h, and bytes of messages, are hexadecimal. At the right: seconds
since the board got power.

TEXT

# The text of the library's self test is made for a console: in colour, and with
# carriage returns. Elsewhere it is shown plain.
if [ -t 1 ]; then
    plain='s/^//'
else
    plain=$(printf 's/\033\\[[0-9;]*m//g; s/\r//g')
fi

result=$build/result
{
    code=0
    timeout 60 env LD_PRELOAD="$PWD/$lib" VIRTUAL_BOARD_HOST_SCRIPT="$host" "$controller" || code=$?
    echo "$code" >"$result"
} | sed -u "$plain"
[ "$(cat "$result")" = 0 ] || exit "$(cat "$result")"

cat <<'TEXT'

The same library answers who and what is there. Below, a second program takes
the inventory of two boards: a Brava node, and a Corvo node, which has other
slots and fewer disk bays. Statuses that flicker count when ten polls in a row
agree, so the program polls for half a second; with --json it prints the same
for programs. "n.a." is what does not apply or what the board does not tell.
TEXT

# What the library itself has to say goes to standard error.
for board in brava-0 corvo-8; do
    printf '\n==== %s\n\n' "$board"
    timeout 60 env LD_PRELOAD="$PWD/$lib" VIRTUAL_BOARD_PERSONALITY="$board" "$inventory" \
        2>>"$log"
done
