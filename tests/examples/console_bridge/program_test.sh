# The program's options, results, signals and streams.
# usage: program_test.sh PRELOAD PROGRAM LAUNCHER
# shellcheck disable=SC2086
set -u

preload=$1
program=$2
launcher=$3 # a list of words
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
failures=0

fail()
{
    echo "$1; code $code, output and errors:"
    cat "$folder/output" "$folder/errors"
    failures=$((failures + 1))
}

# run SCRIPT OPTION...: the script's statements; nobody types.
run()
{
    printf '%b' "$1" >"$folder/script"
    shift
    VIRTUAL_BOARD_HOST_SCRIPT=$folder/script $launcher LD_PRELOAD="$preload" "$program" "$@" \
        </dev/null >"$folder/output" 2>"$folder/errors"
    code=$?
}

# run_alone OPTION...: on a board whose host does nothing.
run_alone()
{
    $launcher LD_PRELOAD="$preload" "$program" "$@" </dev/null >"$folder/output" 2>"$folder/errors"
    code=$?
}

# start SCRIPT OPTION...: keys come through the file descriptor 3.
start()
{
    printf '%b' "$1" >"$folder/script"
    shift
    # What the run before said is not awaited.
    : >"$folder/errors"
    rm -f "$folder/keys"
    mkfifo "$folder/keys"
    VIRTUAL_BOARD_HOST_SCRIPT=$folder/script $launcher LD_PRELOAD="$preload" "$program" "$@" \
        <"$folder/keys" >"$folder/output" 2>"$folder/errors" &
    process=$!
    exec 3>"$folder/keys"
}

end()
{
    exec 3>&-
    wait "$process"
    code=$?
}

# await TEXT: until the errors hold it, for a minute at most.
await()
{
    tries=0
    until grep -qF -- "$1" "$folder/errors"; do
        tries=$((tries + 1))
        if [ $tries = 6000 ]; then
            code=none
            fail "waited for \"$1\""
            return
        fi
        sleep 0.01
    done
}

says() { grep -qF -- "$1" "$folder/errors" || fail "it does not say \"$1\""; }
ends_with() { [ "$code" = "$1" ] || fail "code $1 expected"; }

$launcher LC_ALL=C "$program" --help >"$folder/output" 2>"$folder/errors"
code=$?
ends_with 0
grep -q '^usage: console_bridge' "$folder/output" || fail "no help"
[ ! -s "$folder/errors" ] || fail "help is no error"

for options in --loud --uart '--uart x' '--uart-to moon' '--black-box-size 0' 'hello' \
    '--no-uart --uart 0'; do
    # shellcheck disable=SC2086 # a list of words
    run_alone $options
    ends_with 2
    says 'Try console_bridge --help.'
    [ ! -s "$folder/output" ] || fail "$options: output"
done
run_alone --uart 1
ends_with 2
says 'uart_init: arg chan is invalid [1]'
says 'the board is closed'

# The console alone is on standard output.
run 'console one\nconsole two\n'
ends_with 0
printf 'one\r\ntwo\r\n' | cmp -s - "$folder/output" || fail "the console is not as it was"
says 'set done!'

# Nobody can be typed to, everything is seen.
run 'serial-switch 6\nconsole one\n' --no-uart
ends_with 0
if grep -q 'CPLD F7h' "$folder/errors"; then fail "the switch has moved"; fi

# Each signal ends it, and the switch is back.
for signal in TERM INT HUP; do
    start 'serial-switch 6\nwait 60s\n'
    await 'it was 6'
    kill -$signal "$process"
    end
    # The board says 1: its script has not come to its end.
    ends_with 1
    says 'the serial switch is back at arrangement 6'
    says 'CPLD F7h SERIAL_ROUTING 02h -> 06h'
    says 'the board is closed'
    says 'the program ended before line 2'
done

# So does a key, and a terminal that goes.
start 'serial-switch 6\nwait 60s\n'
await 'it was 6'
printf '~.' >&3
end
says 'the serial switch is back at arrangement 6'
says 'the program ended before line 2'
printf 'serial-switch 6\nconsole one\nconsole two\nwait 60s\n' >"$folder/script"
{
    VIRTUAL_BOARD_HOST_SCRIPT=$folder/script $launcher LD_PRELOAD="$preload" "$program" </dev/null \
        2>"$folder/errors"
    echo $? >"$folder/code"
} | true
code=$(cat "$folder/code")
ends_with 1
says 'the serial switch is back at arrangement 6'

# Keys reach the host, and nothing more than keys.
start 'console login:\nexpect-input root\n'
await 'prints    login:'
printf 'root\n' >&3
end
ends_with 0

# A crash, and a signal that asks for the record again.
start 'console one\ncrash Panic\nwait 60s\n' --black-box "$folder/box"
await 'the black box is saved: 10 bytes'
rm "$folder/box"
kill -USR1 "$process"
tries=0
until [ -e "$folder/box" ] || [ $tries = 6000 ]; do
    tries=$((tries + 1))
    sleep 0.01
done
kill -TERM "$process"
end
printf 'one\nPanic\n' | cmp -s - "$folder/box" || fail "the record is another"

# A record that cannot be had leaves the last one alone.
echo 'the last good one' >"$folder/box"
run_alone --save-black-box "$folder/box"
ends_with 1
says 'the black box is not saved: it holds no record'
[ "$(cat "$folder/box")" = 'the last good one' ] || fail "the last record is lost"

# Started with nothing open, it does not take a device for its terminal.
printf 'wait 300ms\n' >"$folder/script"
VIRTUAL_BOARD_HOST_SCRIPT=$folder/script $launcher LD_PRELOAD="$preload" "$program" --black-box "$folder/box" \
    <&- >&- 2>&-
code=$?
ends_with 0

exit "$failures"
