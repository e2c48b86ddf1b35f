#!/bin/sh
# Holds header, version script and dynamic symbol table against each other, and
# looks at what the shared object needs and does at load.
# usage: exports_test.sh SOURCE_DIR LIBRARY [sanitized]
set -eu
source=$1
library=$2
sanitized=${3:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C
failed=0

fail() {
    echo "FAILED: $*"
    failed=1
}

"$source/scripts/exported-names.sh" "$source/include/board_hal.h" >"$work/header"
sed -n '/global:/,/local:/s/^ *\([A-Za-z_][A-Za-z0-9_]*\);$/\1/p' "$source/cmake/board_hal.map" |
    sort >"$work/script"
nm -D --defined-only "$library" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' |
    grep -Ev '^(__asan|__odr_asan|__ubsan|__tsan)' | sort >"$work/dynamic"

echo "$(wc -l <"$work/header") exported names"
[ -s "$work/header" ] || fail "the header exports nothing"
for list in header script dynamic; do
    uniq -d "$work/$list" >"$work/twice"
    [ ! -s "$work/twice" ] || fail "twice in $list: $(tr '\n' ' ' <"$work/twice")"
done
for list in script dynamic; do
    comm -3 "$work/header" "$work/$list" >"$work/difference"
    if [ -s "$work/difference" ]; then
        fail "header (left) and $list (right) differ:"
        cat "$work/difference"
    fi
done
[ "$(grep -cE '^[A-Za-z_0-9]+ \{$' "$source/cmake/board_hal.map")" = 1 ] ||
    fail "the version script has not exactly one node"

readelf -dW "$library" >"$work/dynamic-section"
grep -q 'SONAME.*\[libboard_hal.so.1\]' "$work/dynamic-section" || fail "SONAME is not libboard_hal.so.1"
if nm "$library" | grep -E '_GLOBAL__(sub_)?I_' >"$work/constructors" && [ -z "$sanitized" ]; then
    fail "constructors run at load: $(cat "$work/constructors")"
fi
if nm -D --undefined-only "$library" | grep -E '_chk(@|$)' >"$work/fortified"; then
    fail "fortified calls: $(cat "$work/fortified")"
fi
if [ -z "$sanitized" ]; then
    sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' "$work/dynamic-section" | sort >"$work/needed"
    grep -vE '^(libc\.so\.6|libvos\.so\.1|ld-linux.*)$' "$work/needed" >"$work/surplus" || true
    [ ! -s "$work/surplus" ] || fail "needs more than libc and libvos: $(tr '\n' ' ' <"$work/surplus")"
    ! grep -qE 'RPATH' "$work/dynamic-section" || fail "a run path is built in"
fi
nm -D --undefined-only "$library" | grep -q ' vos_' || fail "libvos is not called through the dynamic symbol table"
exit $failed
