#!/bin/sh
# Builds the demo and runs it: a little management controller on a virtual
# board, with a host that talks to it, the inventory of two boards, the console of
# a host that crashes, and updates of a BIOS, one that goes well and one that does
# not. Needs no hardware; installs what is missing on a Debian machine.
set -eu
cd "$(dirname "$0")/.."

build=build/demo
log=$build.log
lib=$build/lib/libvirtual_board_preload.so
controller=$build/bin/chassis_controller
host=examples/chassis_controller/demo.host
inventory=$build/bin/board_inventory
bridge=$build/bin/console_bridge

scripts/install-deps.sh build

echo "Building the library, the virtual board and the programs (log: $log)"
mkdir -p build
if ! { cmake --preset release -B "$build" -DBOARD_HAL_BUILD_TESTS=OFF &&
       cmake --build "$build" --target board_hal virtual_board_preload chassis_controller board_inventory console_bridge upgrade_service bios-image \
           boardctl virtual-board; } >"$log" 2>&1
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

# play SCRIPT PROGRAM...: a program on a board whose host follows a script.
result=$build/result
play()
{
    script=$1
    shift
    {
        code=0
        timeout 60 env LD_PRELOAD="$PWD/$lib" VIRTUAL_BOARD_HOST_SCRIPT="$script" "$@" 2>&1 || code=$?
        echo "$code" >"$result"
    } | sed -u "$plain"
    [ "$(cat "$result")" = 0 ] || exit "$(cat "$result")"
}

play "$host" "$controller"

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

cat <<'TEXT'

A server that has no screen talks through a serial port: its console. There it
prints what it does from the first moment on, and there one logs in when all else
fails. The controller carries that console to people elsewhere. Below, a third
program does so, on a board whose server starts, is logged in to, and crashes:

  term  |  what the person at the bridge sees: the server's console, as it is. What
        |  the person types is "root" and "uptime", ahead of time.
  host  |  the server: what it prints, and what it receives.
  bmc   |  the bridge's own log. Lines without a prefix are the library's.

Three things happen on the way. A switch on the board joins serial ports to each
other: the bridge leads the controller's own port (UART) to the server, so that
keys get there, and at the end puts the switch back as it was. Server and UART
have to talk at the same speed (baud): when the server changes its own, the FPGA,
the board's second logic chip, prescribes it, and the bridge follows. And while
the server dies, the FPGA keeps its last words like an aircraft's black box: the
bridge saves them to a file.

TEXT

record=$build/black_box
rm -f "$record"
printf 'root\nuptime\n' | play examples/console_bridge/demo.host \
    "$bridge" --prefix 'term  | ' --black-box "$record"

printf '\nThe file that was saved, %s bytes; here is the end of it:\n\n' "$(wc -c <"$record")"
tail -n 3 "$record" | sed 's/^/  /'

cat <<'TEXT'

The UART can lead to the front panel of the server, too, where a technician plugs
a laptop in. The server then is only watched, by both, and they can write to each
other:

  panel |  what the technician types and sees.

TEXT

printf 'the server is back, do you see it?\n' | play examples/console_bridge/panel.host \
    "$bridge" --prefix 'term  | ' --uart-to panel

scripts/demo-upgrade.sh "$build"

cat <<TEXT

Look around yourself: boardctl shows and drives a board from the command line, and
virtual-board is the world around it.

    PATH=\$PWD/$build/bin:\$PATH
    virtual-board serve --board desk &
    boardctl --board desk watch            # a live view; then, in another terminal:
    virtual-board press power --board desk
    virtual-board pull disk.0 --board desk
TEXT
