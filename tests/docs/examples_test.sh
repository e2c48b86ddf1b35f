# Compiles each C program of a page, runs it on the virtual board, and holds what
# it prints against the text block behind it, if there is one.
# usage: examples_test.sh PAGE COMPILER INCLUDE_FOLDER LIBRARY PRELOAD
set -u

page=$1
compiler=$2
include=$3
library=$4
preload=$5
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# Writes program N to N.c and the text block that follows it to N.expected.
awk -v folder="$folder" '
    /^```/ && inside { inside = ""; next }
    /^```c$/ { inside = folder "/" ++count ".c"; waiting = count; next }
    /^```text$/ && waiting { inside = folder "/" waiting ".expected"; waiting = 0; next }
    /^```/ { inside = "/dev/null"; next }
    inside { print >inside; next }
    NF && !/^```/ { waiting = 0 }
' "$page"

programs=0
failures=0
number=1
while [ -f "$folder/$number.c" ]; do
    program=$folder/$number
    if ! "$compiler" -std=gnu11 -Wall -Wextra -Werror -I"$include" "$program.c" -o "$program" \
        "$library" -Wl,-rpath,"$(dirname "$library")" -pthread; then
        echo "$page: program $number does not compile"
        failures=$((failures + 1))
    else
        LD_PRELOAD=$preload "$program" >"$program.output" 2>"$program.errors"
        code=$?
        if [ "$code" -ne 0 ]; then
            echo "$page: program $number ends with $code"
            cat "$program.errors"
            failures=$((failures + 1))
        fi
        if [ -f "$program.expected" ] && ! diff "$program.expected" "$program.output"; then
            echo "$page: program $number prints something else"
            failures=$((failures + 1))
        fi
    fi
    programs=$((programs + 1))
    number=$((number + 1))
done
echo "$programs programs, $failures failures"
[ "$programs" -gt 0 ] && [ "$failures" -eq 0 ]
