# The register-map page is the one that the header gives, and shows every name.
# usage: register_map_test.sh SOURCE_FOLDER
set -eu
made=$(mktemp)
trap 'rm -f "$made"' EXIT
"$1/scripts/register-map.sh" "$made"
diff "$made" "$1/docs/register-map.md"
missing=0
for name in $(sed -nE 's/^#define (CPLD_[A-Z0-9_]+) 0x.*/\1/p' "$1/include/board_hal_cpld.h"); do
    if ! grep -q "\`$name\`" "$1/docs/register-map.md"; then
        echo "$name is missing"
        missing=1
    fi
done
exit "$missing"
