# Runs the bridge with a host's script and holds its output against the expected
# one. Times and descriptors differ from run to run: they are replaced.
# usage: script_test.sh PRELOAD BRIDGE SCRIPT EXPECTED_FOLDER
set -u

# Elsewhere the board finds stores by comparing, and sees two in one.
[ "$(uname -m)" = x86_64 ] || exit 77

name=$(basename "$3" .host)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

case $name in
demo) set -- "$@" --black-box "$folder/box" ; keys='root\nuptime\n' ;;
panel) set -- "$@" --uart-to panel ; keys='the server is back, do you see it?\n' ;;
esac
preload=$1 bridge=$2 script=$3 expected=$4
shift 4

# shellcheck disable=SC2059 # line ends in it
printf "$keys" >"$folder/keys"
LD_PRELOAD=$preload VIRTUAL_BOARD_HOST_SCRIPT=$script "$bridge" --prefix 'term  | ' "$@" \
    <"$folder/keys" >"$folder/output" 2>&1
code=$?
sed -E "$(printf 's/\r//g')
        s/ [0-9 ]{4}[0-9]?\.[0-9]{3} s\$/ TIME/
        s/held for [0-9]+ ms/held for TIME/
        s/^fd-open=[0-9]+\$/fd-open=N/
        s#$folder#FOLDER#" "$folder/output" | diff -u "$expected/$name.expected" - || exit 1
if [ "$name" = demo ]; then
    diff -u "$expected/black_box.expected" "$folder/box" || exit 1
    [ "$(ls "$folder")" = "$(printf 'box\nkeys\noutput')" ] || exit 1
fi
exit $code
