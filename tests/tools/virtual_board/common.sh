# What the tests of virtual-board share; sourced with their arguments.
set -u

board=$1
client=$2
inventory=$3
controller=$4
folder=$(mktemp -d)
failures=0
server=

# Boards of this test alone.
export XDG_RUNTIME_DIR="$folder"
unset VIRTUAL_BOARD

clean_up()
{
    [ -z "$server" ] || kill -KILL "$server" 2>/dev/null
    rm -rf "$folder"
}
trap clean_up EXIT

# run COMMAND...: its output and its exit code.
run()
{
    "$@" >"$folder/output" 2>&1
    code=$?
}

fail()
{
    echo "$*; code $code and:"
    cat "$folder/output"
    failures=$((failures + 1))
}

# expect CODE [TEXT]: the last run ended with CODE and said TEXT.
expect()
{
    if [ "$code" != "$1" ] || ! grep -qF -- "${2-}" "$folder/output"; then
        [ "$code" = "$1" ] && [ -z "${2-}" ] || fail "expected code $1 and \"${2-}\""
    fi
}

# expect_all CODE TEXT: the last run said TEXT and nothing else.
expect_all()
{
    if [ "$code" != "$1" ] || [ "$(cat "$folder/output")" != "$2" ]; then
        fail "expected code $1 and just \"$2\""
    fi
}

# await TEXT FILE: until the file, which must not be an earlier run's, holds it;
# a minute at most.
await()
{
    tries=0
    until grep -qsF -- "$1" "$2"; do
        tries=$((tries + 1))
        if [ "$tries" = 6000 ]; then
            cp "$2" "$folder/output"
            code=none
            fail "waited for \"$1\""
            return
        fi
        sleep 0.01
    done
}

# start_board OPTION...: serves a board; returns when programs can join.
start_board()
{
    rm -f "$folder/ready"
    mkfifo "$folder/ready"
    "$board" serve --ready-fd 3 "$@" 3>"$folder/ready" >"$folder/server" 2>&1 &
    server=$!
    if ! read -r line <"$folder/ready"; then
        echo "the board is not served:"
        cat "$folder/server"
        exit 1
    fi
}

# stop_board SIGNAL: ends it; the result is its exit code.
stop_board()
{
    kill "-$1" "$server"
    wait "$server" 2>/dev/null
    code=$?
    server=
    return "$code"
}

finish()
{
    [ "$failures" -eq 0 ] || exit 1
    exit 0
}
