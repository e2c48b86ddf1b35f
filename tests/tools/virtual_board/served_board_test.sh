#!/bin/bash
# The commands against a board that is really served: each in a process of its own.
# usage: served_board_test.sh VIRTUAL-BOARD
set -euo pipefail
tool=$1
folder=$(mktemp -d)
export VIRTUAL_BOARD=$folder/board
server=
trap '[ -z "$server" ] || kill "$server" || true; wait; rm -rf "$folder"' EXIT

fail() {
    echo "served_board_test: $*" >&2
    exit 1
}

# expect CODE OUTPUT COMMAND...: both streams together
expect() {
    local code=$1 wanted=$2 output result=0
    shift 2
    output=$("$tool" "$@" 2>&1) || result=$?
    [ "$result" = "$code" ] || fail "$*: exits with $result instead of $code: $output"
    [ "$output" = "$wanted" ] || fail "$*: prints \"$output\" instead of \"$wanted\""
}

serve() {
    mkfifo "$folder/ready"
    "$tool" serve --board "$VIRTUAL_BOARD" --ready-fd 3 "$@" >/dev/null 3>"$folder/ready" &
    server=$!
    read -r <"$folder/ready"
    rm "$folder/ready"
}

result=0
"$tool" get host.powered >/dev/null 2>&1 || result=$?
[ $result = 3 ] || fail "without a board the exit code is $result"

serve
expect 0 "host.powered  false  (takes true or false)" get host.powered
expect 0 "done" host on
expect 0 "host.powered  true  (takes true or false)" get host.powered
expect 0 "" pull disk.0
expect 1 "virtual-board: disk.0 is not seated" pull disk.0
expect 0 "cpld.DISK_STATUS_01.value  9  (takes a number from 0 to 255)" get cpld.DISK_STATUS_01
expect 0 "inlet_sensor.celsius  -3.5  (takes a number from -55 to 125)" \
    set inlet_sensor.celsius -3.5
expect 0 "" host print "login: "
expect 0 "login: " host console
expect 0 '{"ok":true}' press power --json
"$tool" state --json >"$folder/state"
grep -q '"personality":"brava-0"' "$folder/state" || fail "the state is not there"
"$tool" state >"$folder/state"
grep -q '^leds\.0 ' "$folder/state" || fail "the table of the state is not there"

# A program's accesses arrive decoded, with the fault that strikes them.
expect 0 "" fault add "cpld:open:error=EBUSY,name=busy"
"$tool" trace --device cpld --count 1 >"$folder/trace" &
follower=$!
while kill -0 "$follower" 2>/dev/null; do
    "$tool" join --board "$VIRTUAL_BOARD" -- cat /dev/ipmc_cpld >/dev/null 2>&1 || true
done
wait "$follower" || fail "the trace failed"
grep -q ' cpld open O_RDONLY' "$folder/trace" || fail "the trace says: $(cat "$folder/trace")"
"$tool" fault list >"$folder/faults"
grep -q '^1  *cpld .* busy$' "$folder/faults" || fail "the fault has not struck"
expect 0 "" fault clear

# A follower does not outlive its board, and says so.
mkfifo "$folder/follow"
"$tool" trace --json >"$folder/follow" 2>/dev/null &
follower=$!
exec 4<"$folder/follow"
read -r -u 4 line
[ "$line" = '{"following":true}' ] || fail "the trace begins with $line"
kill "$server"
wait "$server" || true
server=
result=0
wait "$follower" || result=$?
[ "$result" = 1 ] || [ "$result" = 3 ] || fail "the follower of a board that goes exits with $result"
result=0
"$tool" state >/dev/null 2>&1 || result=$?
[ "$result" = 3 ] || fail "with a board that has gone the exit code is $result"
echo "served_board_test: every command reaches a served board"
