# A board that several programs use at once.
# usage: serve_test.sh VIRTUAL_BOARD CLIENT INVENTORY CONTROLLER
. "$(dirname "$0")/common.sh" "$@"

start_board --board desk --personality corvo-8
run cat "$folder/server"
expect_all 0 "board corvo-8 is served at $folder/virtual-board/desk.socket"
run "$board" serve --board desk
expect 2 'virtual-board: this board is served already'
run "$board" list
expect 0 'desk                 corvo-8'
run "$board" list --json
expect 0 '"personality": "corvo-8"'

# All see the same registers, flash and devices, whichever way they join.
run "$board" join --board desk -- sh -c 'printf shared >/dev/mtd3'
expect 0
run "$board" run --board desk -- head -c 6 /dev/mtd3
expect_all 0 shared
run env VIRTUAL_BOARD=desk "$board" join -- head -c 6 /dev/mtd3
expect_all 0 shared
run "$board" join --board "$folder/virtual-board/desk.socket" -- "$inventory"
expect 0 'Corvo'

# Registers are stepped one by one, by several programs at a time.
"$board" join --board desk -- "$client" count 40 "$folder/lock" >"$folder/one" &
one=$!
"$board" join --board desk -- "$client" count 40 "$folder/lock" >"$folder/two" &
two=$!
wait "$one" "$two"
run "$board" join --board desk -- "$client" count 0 "$folder/lock"
expect_all 0 80

# Two services and a tool: the controller's program answers the host while others
# look on.
"$board" join --board desk -- "$controller" >"$folder/controller" 2>&1 &
service=$!
run "$board" join --board desk -- "$inventory" --json
expect 0 '"board_type": "Corvo"'
# Before it obeys signals, one would just kill it.
await 'the board is open' "$folder/controller"
kill -TERM "$service"
wait "$service"
code=$?
expect 0

# When the board has gone, calls fail; nobody waits for ever.
mkfifo "$folder/in" "$folder/out"
"$board" join --board desk -- "$client" hold <"$folder/in" >"$folder/out" 2>"$folder/complaint" &
holder=$!
exec 8>"$folder/in" 9<"$folder/out"
read -r line <&9
stop_board KILL
echo >&8
cat <&9 >"$folder/output"
exec 8>&- 9<&-
wait "$holder"
code=$?
expect_all 0 'read: Input/output error
open: Input/output error'
run cat "$folder/complaint"
expect_all 0 "virtual board: the board at $folder/virtual-board/desk.socket has gone"
run "$board" join --board desk -- true
expect 2 "virtual-board: no board at"
run env LD_PRELOAD="$(dirname "$board")/../lib/libvirtual_board_preload.so" VIRTUAL_BOARD=desk true
expect 2 "virtual board: no board at"

# The name can be had again, and is given up on any of the usual signals.
for signal in TERM INT HUP; do
    start_board --board desk
    stop_board "$signal"
    expect 0
    run ls "$folder/virtual-board"
    expect_all 0 ''
done

finish
