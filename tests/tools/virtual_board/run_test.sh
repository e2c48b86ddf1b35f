# Unmodified programs on a board that lives as long as they do.
# usage: run_test.sh VIRTUAL_BOARD CLIENT INVENTORY CONTROLLER
. "$(dirname "$0")/common.sh" "$@"

# The program's own exit code.
run "$board" run -- sh -c 'echo hello; exit 3'
expect_all 3 hello
run "$board" run sh -c 'exit 4'
expect 4
run "$board" run -- sh -c 'kill -TERM $$'
expect 143
run "$board" run -- "$folder/absent"
expect 127 "virtual-board: $folder/absent: No such file or directory"
: >"$folder/text"
run "$board" run -- "$folder/text"
expect 126 'Permission denied'

# What is wrong with the command line.
run "$board"
expect 2 'subcommand is required'
run "$board" run
expect 2 'virtual-board: no command to run'
run "$board" run --
expect 2 'virtual-board: no command to run'
run "$board" run --fault nonsense -- true
expect 2 'nonsense'
run "$board" run --personality nothing-known -- true
expect 2 'nothing-known'
run "$board" run --host-script "$folder/absent" -- true
expect 2 "virtual-board: $folder/absent: cannot be read"
run "$board" run --board absent -- true
expect 2 "virtual-board: no board at $folder/virtual-board/absent.socket"
run "$board" run --board absent --personality brava-0 -- true
expect 2 'excludes'
run "$board" join --board 'a b' -- true
expect 2 'no name for a board'
run env VIRTUAL_BOARD_PRELOAD="$folder/absent.so" "$board" run --help
expect 0 'virtual-board run --personality corvo-8 -- board_inventory'

# The board that was asked for, with the faults that were asked for. What
# describes boards of a program's own does not get in the way.
export VIRTUAL_BOARD_PERSONALITY=nothing VIRTUAL_BOARD_FAULTS=nothing
run "$board" run --personality corvo-8 -- "$inventory"
expect 0 'Corvo'
run "$board" run -- "$inventory"
expect 0 'Brava'
unset VIRTUAL_BOARD_PERSONALITY VIRTUAL_BOARD_FAULTS
run "$board" run --fault mtd3:write:error=EROFS,skip=1 -- sh -c 'for i in 1 2; do echo $i | dd of=/dev/mtd3; done'
expect 1 'Read-only file system'
run "$board" run --fault mtd3:open:error=EBUSY --fault mtd4:open:error=ENXIO -- \
    sh -c 'true </dev/mtd3; true </dev/mtd4'
expect 2 'busy'

# Children of all kinds find the same board: forked, executed, with descriptors
# from their parents.
run "$board" run -- sh -c 'printf abc >/dev/mtd3; (printf X | dd of=/dev/mtd3 bs=1 seek=4 2>/dev/null); cat /dev/mtd3 | head -c 5 | od -An -c | tr -d " \n"'
expect_all 0 'abc377X'
run "$board" run -- sh -c 'printf abcdef >/dev/mtd3; dd bs=1 skip=2 count=3 </dev/mtd3 2>/dev/null'
expect_all 0 cde
run "$board" run -- sh -c 'printf abcdef >/dev/mtd3; exec 7</dev/mtd3; dd bs=1 count=2 <&7 2>/dev/null; (dd bs=1 count=2 <&7 2>/dev/null); exec 8<&7; exec 7<&-; exec dd bs=1 count=2 2>/dev/null <&8'
expect_all 0 abcdef
run "$board" run -- sh -c 'printf abc >"$0/x"; dd if="$0/x" of=/dev/mtd3 2>/dev/null; wc -c </dev/mtd0; head -c 3 /dev/mtd3; test -c /dev/mtd3 && test -b /dev/mtdblock2' "$folder"
expect_all 0 '262144
abc'
run "$board" run -- cat /dev/mtd99
expect 1 'virtual board: no device at /dev/mtd99'
run "$board" run -- sh -c 'stty -F /dev/ttyS0 9600 && stty -F /dev/ttyS0 speed'
expect_all 0 9600

# What is no device of the board, is the machine's.
run "$board" run -- cat "$folder/x"
expect_all 0 abc

# The host on the board, and the end of its script.
printf 'wait 100ms\n' >"$folder/script"
run "$board" run --host-script "$folder/script" -- "$controller"
expect 0 'board id 10h'
printf 'wait 100ms\nnonsense\n' >"$folder/script"
run "$board" run --host-script "$folder/script" -- "$controller"
expect 2 'line 2'
printf 'wait 60s\n' >"$folder/script"
run "$board" run --host-script "$folder/script" -- true
expect 1 'the program ended before line 1 of the host script'

# A board within a board is one of its own; a program of the outer one is not its.
run "$board" run --personality corvo-8 -- "$board" run -- "$inventory"
expect 0 'Brava'
run "$board" run -- sh -c '"$0" power status; "$0" list | tail -n +2' "$board"
expect 0 on
# The runtime directory is empty when the last board has gone.
run ls "$folder/virtual-board"
expect_all 0 ''

# A signal to virtual-board is for the program.
mkfifo "$folder/up"
"$board" run -- sh -c 'trap "echo told; exit 9" TERM; echo up >"$0/up"; while :; do sleep 0.05; done' \
    "$folder" >"$folder/output" 2>&1 &
runner=$!
read -r line <"$folder/up"
kill -TERM "$runner"
wait "$runner"
code=$?
expect_all 9 told

finish
