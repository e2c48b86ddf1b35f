#!/bin/sh
# Writes the table of docs/update-faults.md anew from what the library does.
# usage: update-fault-table.sh [TEST_PROGRAM]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
program=${1:-$root/build/debug/bin/update_tests}
document=$root/docs/update-faults.md
table=$(mktemp)
trap 'rm -f "$table"' EXIT
"$program" --gtest_list_tests --gtest_filter='Rows/FaultTableTest.*' |
    sed -n 's/^  \([A-Za-z]*\/[0-9]*\).*/\1/p' |
    while read -r row; do
        # One process each: the library's state is the process's.
        UPDATE_FAULT_TABLE=$table "$program" --gtest_brief=1 \
            --gtest_filter="Rows/FaultTableTest.$row" >/dev/null
    done
# The heading ends with the table's rule.
sed '/^|---/q' "$document" >"$document.new"
cat "$table" >>"$document.new"
mv "$document.new" "$document"
