# The program on two boards: what it prints, byte for byte, and its results.
# usage: program_test.sh PRELOAD PROGRAM EXPECTED_FOLDER LAUNCHER
set -u

preload=$1
program=$2
expected=$3
launcher=$4 # a list of words
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
failures=0

fail()
{
    echo "$1"
    failures=$((failures + 1))
}

# run BOARD OPTION...
run()
{
    board=$1
    shift
    # shellcheck disable=SC2086 # a list of words
    VIRTUAL_BOARD_PERSONALITY=$board $launcher LD_PRELOAD="$preload" "$program" "$@" \
        >"$folder/output" 2>"$folder/errors"
    code=$?
}

# Standard output holds the report and nothing else; what the library had to say
# went to standard error.
same()
{
    [ "$code" = 0 ] || fail "$1: code $code"
    diff -u "$expected/$1" "$folder/output" || fail "$1: printed something else"
    grep -q 'get_board_id err' "$folder/errors" || fail "$1: the library's lines are lost"
}

for board in brava-0 corvo-8; do
    run "$board"
    same "$board.txt"
    run "$board" --json
    same "$board.json"
done

run brava-0 --polls 9 --json
grep -q '"v_with_p": "settling"' "$folder/output" || fail "nine polls settled a disk"
run brava-0 --polls 10 --json
same brava-0.json

for options in --help '--polls 0' '--polls 1001' '--polls x' '--polls 3x' '--polls' 'json'; do
    # shellcheck disable=SC2086 # a list of words
    run brava-0 $options
    [ "$code" = 2 ] || fail "$options: code $code"
    grep -q '^usage: board_inventory' "$folder/errors" || fail "$options: no usage"
    [ ! -s "$folder/output" ] || fail "$options: output"
done

exit "$failures"
