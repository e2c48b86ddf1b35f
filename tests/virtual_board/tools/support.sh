# Programs of the distribution on the virtual board: what they say there. Sourced
# by the tests, with the preload library and the program virtual-board.
set -u

preload=$1
virtual_board=$2
export virtual_board
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
failures=0
PATH=$PATH:/usr/sbin:/sbin
export PATH LC_ALL=C TZ=UTC

# need PROGRAM...: without them there is nothing to test.
need()
{
    for program in "$@"; do
        command -v "$program" >/dev/null || { echo "no $program here"; exit 77; }
    done
}

# alone COMMAND...: on a board within the program itself.
alone()
{
    ran=$*
    LD_PRELOAD=$preload "$@" >output 2>&1 </dev/null
    code=$?
}

# together SCRIPT: programs one after another on one board, and virtual-board as its
# other end.
together()
{
    ran=$1
    "$virtual_board" run -- sh -c "$1" >output 2>&1 </dev/null
    code=$?
}

complain()
{
    echo "FAILED: $ran"
    echo "$1; code $code, output:"
    cat output
    failures=$((failures + 1))
}

# What was said, but for blanks at line ends; a carriage return ends one too.
lines()
{
    tr '\r' '\n' <output | sed 's/ *$//'
}

# expect CODE: what was said is on standard input.
expect()
{
    cat >expected
    lines >said
    if [ "$code" != "$1" ] || ! cmp -s expected said; then
        complain "expected code $1 and: $(cat expected)"
    fi
}

# expect_line CODE PATTERN: a line matches the whole pattern.
expect_line()
{
    if [ "$code" != "$1" ] || ! lines | grep -qxE -- "$2"; then
        complain "expected code $1 and a line: $2"
    fi
}

finish()
{
    exit "$failures"
}
