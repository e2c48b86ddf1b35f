# The program on a board: what it prints, byte for byte, and its results.
# usage: program_test.sh PRELOAD PROGRAM BIOS_IMAGE EXPECTED_FOLDER LAUNCHER
# shellcheck disable=SC2086
set -u

preload=$1
program=$2
bios_image=$3
expected=$4
launcher=$5 # a list of words
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
failures=0

fail()
{
    echo "$1"
    failures=$((failures + 1))
}

# run ARGUMENT...: faults and timing come from the environment.
run()
{
    (cd "$folder" && exec $launcher LD_PRELOAD="$preload" "$program" "$@") >"$folder/output" 2>"$folder/errors"
    code=$?
}

# expect CODE WHAT
expect()
{
    [ "$code" = "$1" ] && return
    fail "$2: code $code, not $1"
    cat "$folder/output" "$folder/errors"
}

holds()
{
    grep -qF -- "$1" "$folder/output" && return
    fail "not printed: $1"
    cat "$folder/output"
}

# How much of the progress is seen depends on the machine.
same()
{
    grep -v '"event": "progress"' "$folder/output" |
        sed -E 's/\[[# ]*\] +[0-9]+%  failed/[PROGRESS]  failed/' |
        diff -u "$expected/$1" - || fail "$1: printed something else"
    [ ! -s "$folder/errors" ] || fail "$1: errors"
}

# Percentages rise and end at the one given.
rises_to()
{
    grep -F '"event": "progress"' "$folder/output" |
        sed 's/.*"percent": \([0-9]*\),.*/\1/' |
        awk -v last="$1" '$1 < before { exit 1 }
                          { before = $1 }
                          END { exit NR < 3 || before != last }' || fail "progress is out of order"
}

$launcher LC_ALL=C "$bios_image" build --size 8M --flag 0x02000000 --region 0:64K --seed 1 "$folder/new.rom"
$launcher LC_ALL=C "$bios_image" build --size 8M --region 0:64K --region 1M:128K --seed 2 "$folder/part.rom"
export VIRTUAL_BOARD_FLASH_TIMING=1000,20

# ---- a good update ----

run bios new.rom --save old.rom
expect 0 'a good update'
same good.json
rises_to 100
# The board comes with an erased flash.
[ "$(tr -d '\377' <"$folder/old.rom" | wc -c)-$(wc -c <"$folder/old.rom")" = 0-8388608 ] ||
    fail 'the old BIOS is not what was saved'
rm "$folder/old.rom"

run bios part.rom --save old.rom --text
expect 0 'a partial update'
same good.txt
rm "$folder/old.rom"

# On a terminal, a bar is redrawn in place.
if command -v script >/dev/null; then
    (cd "$folder" && script -qec "$launcher LD_PRELOAD=$preload $program bios new.rom --save old.rom" \
        /dev/null) >"$folder/output" 2>"$folder/errors" </dev/null
    code=$?
    expect 0 'on a terminal'
    holds "$(printf '\rupdating the BIOS [                                        ]   0%%\r')"
    holds "$(printf '\rupdating the BIOS [########################################] 100%%\r')"
    grep -qF '{' "$folder/output" && fail 'JSON on a terminal'
    rm "$folder/old.rom"
fi

# ---- a failing one ----

export VIRTUAL_BOARD_FAULTS='mtd6:write:lie,skip=20'
run bios new.rom --save old.rom --text --library-log log
expect 4 'a write that lies'
same failing.txt
grep -qF 'First mismatch at 0x00032000-0x00034800' "$folder/log" || fail 'the log lacks words'
grep -qF 'Erasing blocks: 128/128 (100%)' "$folder/log" || fail 'the log lacks progress'
rm "$folder/old.rom"
run bios new.rom --save old.rom
expect 4 'a write that lies, for programs'
same failing.json
rm "$folder/old.rom"

# Without a copy of the old BIOS nothing is written.
export VIRTUAL_BOARD_FAULTS='mtd6:read:short_count=1000,skip=2200'
run bios new.rom --save old.rom --full
expect 3 'a save that fails'
holds '"contents": "as before", "owner": "host", "driver": "unloaded"'
[ ! -e "$folder/old.rom" ] || fail 'half a copy was left'
unset VIRTUAL_BOARD_FAULTS

# ---- interrupts ----

# seen TEXT: waits until the program has printed it, or has ended.
seen()
{
    until grep -q -- "$1" "$folder/output"; do
        kill -0 "$program_id" 2>/dev/null || break
        sleep 0.02
    done
}

# interrupt COUNT: starts an update with a slow erase and sends signals in
# its middle, the second when the first was heeded.
interrupt()
{
    # What the last run printed must not be seen.
    : >"$folder/output"
    (cd "$folder" && VIRTUAL_BOARD_FLASH_TIMING=10000,20 exec $launcher LD_PRELOAD="$preload" "$program" \
        bios new.rom --full --save old.rom) >"$folder/output" 2>"$folder/errors" &
    program_id=$!
    seen '"percent": [1-9]'
    kill -INT "$program_id"
    if [ "$1" = 2 ]; then
        seen '"interrupted: '
        kill -INT "$program_id"
    fi
    wait "$program_id"
    code=$?
    rm -f "$folder/old.rom"
}

interrupt 1
expect 0 'SIGINT in an update'
holds '"interrupted: updating the BIOS is not left half done and goes on.'
holds '"contents": "1 stretch (8192 KiB) written and verified", "owner": "host"'

interrupt 2
expect 130 'SIGINT twice'
holds '"why": "it was left in the middle, at somebody'\''s wish"'
holds '"owner": "controller", "driver": "loaded"'
holds '"contents": "partly erased: '
holds 'Give the flash back: upgrade_service release'

# A reader that goes away does not stop an update.
(cd "$folder" && exec $launcher LD_PRELOAD="$preload" "$program" bios new.rom --full --save old.rom \
    --library-log pipe.log) | head -n 1 >"$folder/output"
tail -n 1 "$folder/pipe.log" | grep -qF 'Verifying data: 8192k/8192k (100%)' ||
    fail 'an update ended with its reader'
rm -f "$folder/old.rom"

# ---- the other commands ----

run plan part.rom --text
expect 0 'a plan'
holds 'partial update: '
run versions --text
expect 0 'versions'
holds 'CPLD                11h'
head -c 100000 "$folder/new.rom" >"$folder/image"
run controller image --device /dev/mtd5 --offset 64
expect 0 'a controller image'
rises_to 100
holds '"contents": "1 stretch (97 KiB) written and verified", "owner": null'
printf 'e12____12.1\177' >"$folder/program"
run cpld program --text
expect 0 'a CPLD program'
holds 'done: programming CPLD 5 with program'

for arguments in '' 'update' 'bios new.rom --full --partial' 'controller image'; do
    # shellcheck disable=SC2086 # a list of words
    run $arguments
    expect 2 "arguments: $arguments"
    grep -q '^usage: upgrade_service' "$folder/errors" || fail "$arguments: no usage"
    [ ! -s "$folder/output" ] || fail "$arguments: output"
done

exit "$failures"
