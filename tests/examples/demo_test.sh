# Runs the demo and holds its output against the expected one. Times differ from
# run to run: they are replaced, as are the console's colours.
# usage: demo_test.sh PRELOAD CONTROLLER SCRIPT EXPECTED
set -u

# Elsewhere the board finds stores by comparing, and sees two in one.
[ "$(uname -m)" = x86_64 ] || exit 77

output=$(mktemp)
trap 'rm -f "$output"' EXIT

LD_PRELOAD=$1 VIRTUAL_BOARD_HOST_SCRIPT=$3 "$2" >"$output"
code=$?
sed -E "$(printf 's/\033\\[[0-9;]*m//g; s/\r//g')
        s/ [0-9 ]{4}[0-9]?\.[0-9]{3} s\$/ TIME/
        s/held for [0-9]+ ms/held for TIME/" "$output" | diff -u "$4" - || exit 1
exit $code
