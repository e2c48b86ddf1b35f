#!/bin/sh
# The shim calls no function that it defines but through `real_...`: a direct
# call would come back to the shim itself.
#
# Usage: shim_lint.sh OBJECT...   the shim's own object files
set -eu

defined=$(nm --defined-only --extern-only "$@" | awk '$2 == "T" && $3 !~ /^_Z/ { print $3 }' | sort -u)
count=$(echo "$defined" | wc -w)
[ "$count" -ge 60 ] || { echo "shim_lint: only $count functions found in: $*" >&2; exit 2; }

failed=0
for object in "$@"; do
    # Symbols that the code and the data refer to; debugging information does not count.
    used=$(readelf --wide --relocs "$object" | awk '
        /^Relocation section/ { debug = $3 ~ /\.debug|\.eh_frame/ }
        !debug && $1 ~ /^[0-9a-f]+$/ && NF >= 5 { sub(/@.*/, "", $5); print $5 }' | sort -u)
    [ -n "$used" ] || { echo "shim_lint: no references found in $object" >&2; exit 2; }
    for name in $defined; do
        if echo "$used" | grep -qx -- "$name"; then
            echo "$object refers to $name, which the shim defines: call real_$name" >&2
            failed=1
        fi
    done
done
[ "$failed" -eq 0 ] && echo "shim_lint: $count functions, none called directly"
exit "$failed"
