#!/bin/bash
# Runs all operations from eight threads under the thread sanitizer, and holds
# the races that it found against the list.
# usage: threads.sh PROGRAM LIST SECONDS
set -euo pipefail
program=$1
list=$2
export BOARD_THREADS_SECONDS=$3

log=$(mktemp)
trap 'rm -f "$log"' EXIT
options=report_mutex_bugs=0:report_signal_unsafe=0:report_destroy_locked=0:exitcode=66:history_size=7:suppress_equal_addresses=0:suppress_equal_stacks=0
if ! TSAN_OPTIONS="$options:suppressions=$list:print_suppressions=1" "$program" >"$log" 2>&1; then
    cat "$log"
    exit 1
fi

entries=$(grep '^race:' "$list")
unseen=
for entry in $entries; do
    grep -qF " $entry" "$log" || unseen="$unseen ${entry#race:}"
done
grep '^threads:' "$log"
echo "threads: no deadlock, no order of locks but the documented one, no race but" \
    "$(wc -w <<<"$entries") listed ones${unseen:+ (not seen in this run:$unseen)}"
