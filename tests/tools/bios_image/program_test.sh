#!/bin/sh
# The program: its help, what it builds, breaks and shows, its exit codes.
# usage: program_test.sh PROGRAM EXPECTED_FOLDER
set -u

program=$1
expected=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
failures=0

fail()
{
    echo "$1"
    failures=$((failures + 1))
}

# run CODE ARGUMENT...
run()
{
    wanted=$1
    shift
    "$program" "$@" >output 2>errors
    code=$?
    [ "$code" = "$wanted" ] || fail "$*: code $code, not $wanted: $(cat errors)"
}

# What the last run printed, byte for byte.
same()
{
    diff -u "$expected/$1" output || fail "$1: printed something else"
}

# refused MESSAGE ARGUMENT...
refused()
{
    message=$1
    shift
    run 2 "$@"
    grep -qF -e "$message" errors || fail "$*: said \"$(cat errors)\""
    [ ! -s output ] || fail "$*: output"
}

run 0 --help
same help.txt
for command in build break show; do
    run 0 "$command" --help
    same "help-$command.txt"
done
run 0 --list-breakages
same breakages.txt

# The examples of the help, as they stand there.
PATH=$(dirname "$program"):$PATH
sed -n '/^Examples:/,$s/^  //p' "$expected/help.txt" >examples
[ "$(wc -l <examples)" -ge 5 ] || fail "where are the examples?"
sh -e examples >output 2>errors || fail "an example fails: $(cat errors)"
[ "$(stat -c %s new.bin)" = 65536 ] || fail "new.bin has another size"
run 0 show new.bin
same show.txt
run 0 show --json new.bin
same show.json
run 1 show broken.bin
same show-broken.txt
run 1 show broken.bin --json
run 1 show new.bin --size 4095
grep -q 'less than one block' output || fail "a size below one block is not explained"

# Options may stand on either side of the file.
run 0 build --seed 1 --region 0x8000:4096 --flag 33554432 --region 48K:8192 again.bin
cmp new.bin again.bin || fail "the same image came out different"
run 0 build full.bin --size 8M --volume 0x7ff000 --header-length 72 --file 10 --file 0 \
    --other-volume 0 --other-volume 4K
[ "$(stat -c %s full.bin)" = 8388608 ] || fail "full.bin has another size"
run 0 show full.bin
grep -q 'data file     0x007ff082' output || fail "full.bin has its data elsewhere"

# Every breakage of the list.
"$program" --list-breakages | cut -d' ' -f1 >names
while read -r name; do
    run 0 break "$name" new.bin "$name.bin"
    cmp -s new.bin "$name.bin" && fail "$name breaks nothing"
done <names

refused 'nothing to do'
refused 'frobnicate' frobnicate
refused 'OUT is required' build
refused 'IMAGE is required' show
refused 'Could not convert: --size = x' build a.bin --size x
refused 'Could not convert: --size = 4097M' build a.bin --size 4097M
refused 'Could not convert: --flag = 0x' build a.bin --flag 0x
refused 'Could not convert: --flag = 0x100000000' build a.bin --flag 0x100000000
refused 'Could not convert: --flag = -1' build a.bin --flag=-1
refused 'Could not convert: --region = 5' build a.bin --region 5
refused 'bios-image: the size is a multiple of 4096' build a.bin --size 100
refused 'bios-image: a header length is 65535 at most' build a.bin --header-length 64K
refused "bios-image: a file's size is 65535 at most" build a.bin --file 64K
refused 'bios-image: a region lies within the image' build a.bin --region 64K:1
refused 'bios-image: cannot write no/such/a.bin' build no/such/a.bin
refused 'bios-image: cannot write /dev/full' build /dev/full
refused 'bios-image: cannot read no.bin' show no.bin
refused 'bios-image: cannot read .' show .
refused 'bios-image: no breakage "boredom"' break boredom new.bin a.bin
refused 'bios-image: broken.bin is no well-formed image: no data file' break empty broken.bin a.bin
[ ! -e a.bin ] || fail "a refused build left a file"

exit "$failures"
