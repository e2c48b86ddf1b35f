# The preload library's settings, and the results of the program that it makes
# of them.
# usage: preload_test.sh PRELOAD CONTROLLER
set -u

preload=$1
controller=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
failures=0

# expect CODE TEXT: the last run ended with CODE and said TEXT.
expect()
{
    if [ "$code" != "$1" ] || ! grep -qF -- "$2" "$folder/output"; then
        echo "expected code $1 and \"$2\"; code $code and:"
        cat "$folder/output"
        failures=$((failures + 1))
    fi
}

# run SCRIPT PROGRAM...: the script is a file; - for none.
run()
{
    script=$1
    shift
    if [ "$script" = - ]; then
        LD_PRELOAD=$preload "$@" >"$folder/output" 2>&1
    else
        LD_PRELOAD=$preload VIRTUAL_BOARD_HOST_SCRIPT=$script "$@" >"$folder/output" 2>&1
    fi
    code=$?
}

export VIRTUAL_BOARD_PERSONALITY=nothing-known
run - "$controller"
expect 2 'virtual board: no personality "nothing-known"; there are brava-0, brava-1, brava-2, brava-3, corvo-8, corvo-9, corvo-10, corvo-11, unknown-bom'

# The board is the one that was named.
printf 'wait 200ms\n' >"$folder/wait"
export VIRTUAL_BOARD_PERSONALITY=corvo-8
run "$folder/wait" "$controller"
expect 0 'board id 11h, PCB version 2, BOM version 8, product id 02h'
export VIRTUAL_BOARD_PERSONALITY=brava-0
run "$folder/wait" "$controller"
expect 0 'board id 10h, PCB version 1, BOM version 0, product id 02h'
run - sh -c 'echo hello'
expect 0 'hello'

# A program that is not the board's runs untouched; one that asks for a device
# that the board does not have, fails.
echo hello >"$folder/text"
run - cat "$folder/text"
expect 0 'hello'
run - cat /dev/mtd99
expect 1 'virtual board: no device at /dev/mtd99'

run "$folder/absent" "$controller"
expect 2 "virtual board: $folder/absent: cannot be read"

printf 'say hello\n\nkcs 06 100\n' >"$folder/bad"
run "$folder/bad" "$controller"
expect 2 "virtual board: $folder/bad: line 3: kcs: \"100\" is no hexadecimal byte"

printf 'kcs 06 01\nexpect-code 00\n' >"$folder/good"
run "$folder/good" "$controller"
expect 0 'host script: 1 exchanges, 1 checks, 0 failed'

printf 'kcs 06 01\nexpect-code C1\n' >"$folder/failing"
run "$folder/failing" "$controller"
expect 1 'FAILED, line 2: expected completion code C1'
expect 1 'host script: 1 exchanges, 1 checks, 1 failed'

printf '# one\nwait 60s\n' >"$folder/unfinished"
timeout --preserve-status 0.5 env LD_PRELOAD="$preload" \
    VIRTUAL_BOARD_HOST_SCRIPT="$folder/unfinished" "$controller" >"$folder/output" 2>&1
code=$?
expect 1 'bmc   | the board is closed'
expect 1 'virtual board: the program ended before line 2 of the host script'

# Faults come from outside too.
export VIRTUAL_BOARD_FAULTS='cpld:open:error=EACCES ; fpga:open:error,skip=7'
run - "$controller"
expect 1 "cpld_init: cann't open device"
export VIRTUAL_BOARD_FAULTS='cpld:open:lies'
run - "$controller"
expect 2 'virtual board: fault "cpld:open:lies": there is no kind "lies"'
unset VIRTUAL_BOARD_FAULTS
for timing in '' 1000 1000, 1000,100us x,100; do
    export VIRTUAL_BOARD_FLASH_TIMING="$timing"
    run - "$controller"
    expect 2 "virtual board: flash timing \"$timing\": it is ERASE,PROGRAM"
done
unset VIRTUAL_BOARD_FLASH_TIMING

# The script is the program's own, not one of those that it runs in turn.
run "$folder/unfinished" env
expect 1 'VIRTUAL_BOARD_PERSONALITY=brava-0'
if grep -F VIRTUAL_BOARD_HOST_SCRIPT "$folder/output"; then
    echo "a program below would find the script"
    failures=$((failures + 1))
fi

exit "$failures"
