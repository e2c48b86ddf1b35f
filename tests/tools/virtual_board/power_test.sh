# The power of a served board.
# usage: power_test.sh VIRTUAL_BOARD CLIENT INVENTORY CONTROLLER
. "$(dirname "$0")/common.sh" "$@"

run "$board" power status
expect 2 "virtual-board: no board at"
start_board
run "$board" power status
expect_all 0 on

# All programs die with the power, whatever they do, and their children.
mkfifo "$folder/up" "$folder/in"
"$board" join -- sh -c '"$0" hold <&9 & wait' "$client" 9<>"$folder/in" >"$folder/up" 2>&1 &
victim=$!
exec 9<"$folder/up"
read -r line <&9
run "$board" power cut
expect_all 0 cut
wait "$victim"
code=$?
expect 137
run cat <&9 # ends when the last of them has
expect_all 0 ''
exec 9<&-
run "$board" power status
expect_all 0 cut
run "$board" list
expect 0 'cut'
run "$board" join -- true
expect 2 'the board has no power'
run "$board" power cut
expect_all 0 cut

# In the middle of a write: what was written until then stays, the rest does not
# come; the program never learns of it.
run "$board" power restore
expect_all 0 on
run "$board" join -- sh -c 'printf keep >/dev/mtd0'
expect 0
printf 'abcdefghij' >"$folder/bytes"
run "$board" power cut --after 4
expect_all 0 on
run "$board" join -- "$client" tear "$folder/bytes"
expect_all 137 ''
run "$board" power status
expect_all 0 cut
run "$board" power restore
run "$board" join -- sh -c 'head -c 6 /dev/mtd1 | od -An -c | tr -d " \n"; head -c 4 /dev/mtd0'
expect_all 0 'abcd377377keep'

# The environment goes through a cache: it is torn where it is written back.
run "$board" join -- sh -c 'printf 1234 | dd of=/dev/mtdblock2 conv=notrunc 2>/dev/null'
expect 0
run "$board" power cut --part environment --after 2
run "$board" join -- sh -c 'printf abcd | dd of=/dev/mtdblock2 conv=notrunc 2>/dev/null; head -c 1 /dev/mtd0'
expect 137
run "$board" power restore
run "$board" join -- head -c 4 /dev/mtdblock2
expect_all 0 ab34

run "$board" power cut --part tape --after 2
expect 2 'tape'
run "$board" power
expect 2
stop_board TERM
expect 0

finish
