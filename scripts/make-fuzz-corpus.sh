#!/bin/sh
# Makes the seeds of the fuzz programs anew, but for those that are written by
# hand (environment, IPMI requests, boardctl's arguments, personalities): BIOS
# images of each well-formed and each broken kind by bios-image, CPLD programs
# around the limits, answers to every operation of the FPGA.
# usage: make-fuzz-corpus.sh BIOS_IMAGE      the program, as it was built
set -eu
tool=$(realpath "$1")
cd "$(dirname "$0")/../fuzz/corpus"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

image=bios_image
flag=bios_flag
cpld=cpld_program
fpga=fpga_answers
rm -rf "$image" "$flag" "$cpld" "$fpga"
mkdir "$image" "$flag" "$cpld" "$fpga"

# bytes BYTE...      in hexadecimal
bytes()
{
    for byte in "$@"; do
        # shellcheck disable=SC2059 # an escape
        printf "\\$(printf '%03o' "0x$byte")"
    done
}

# The given bytes of an input: the volume, from the image's second block on, up
# to what is more than filling.
volume()
{
    tail -c +4097 "$1" | head -c "$2"
}

# image_seed NAME FILE BYTES TROUBLE CALL CARRIES      the last three in hexadecimal
told='00 00 00 00 00 80 00 00' # offset and size
image_seed()
{
    units=$(($(stat -c %s "$2") / 16))
    {
        bytes "$4" "$5" 01            # trouble, its call, filling
        bytes "$(printf %02x $((units % 256)))" "$(printf %02x $((units / 256)))"
        bytes 00 10                   # place of the volume
        # shellcheck disable=SC2086 # a list of bytes
        bytes $told
        bytes 02 "$6" 00 00 00 01     # stages, flag of the flash
        bytes 00 20 00 00             # size of the dump
        volume "$2" "$3"
    } >"$image/$1"
}

# flag_seed NAME FILE BYTES TROUBLE CALL [LENGTH]      a flash of three blocks, or
# LENGTH times 2 KiB
flag_seed()
{
    {
        bytes "$4" "$5" ff "${6:-06}" 00 10 00 00 00 02
        volume "$2" "$3"
    } >"$flag/$1"
}

good=$work/good.bin
"$tool" build "$good" --size 32K --flag 0x02000000 --region 12K:5000 --region 20K:4K
"$tool" build "$work/files.bin" --size 32K --flag 0x02000000 --file 0 --file 60 --region 0:1
"$tool" build "$work/late.bin" --size 32K --flag 0x02000000 --file 3555

image_seed full "$good" 600 00 00 01
image_seed partial "$good" 600 00 00 02
image_seed no-flag "$good" 600 00 00 00
image_seed files "$work/files.bin" 600 00 00 02
told='00 10 00 00 00 60 00 00'
image_seed offset-full "$good" 600 00 00 01
image_seed offset-partial "$good" 600 00 00 02
told='00 00 00 00 00 80 00 00'
flag_seed usual "$good" 600 00 00
flag_seed files "$work/files.bin" 600 00 00
flag_seed half-a-block "$good" 600 00 00 03
flag_seed last-place "$work/late.bin" 4096 00 00
# Every trouble at its first call, and the reads at a later one.
for trouble in 01 02 03 04 05 06 07 08 09 0a 0b; do
    image_seed "trouble-$trouble" "$good" 600 $trouble 00 02
    flag_seed "trouble-$trouble" "$good" 600 $trouble 00
done
image_seed late-read "$good" 600 05 04 02
image_seed shrunk "$good" 600 09 02 02

for name in $("$tool" --list-breakages | cut -d' ' -f1); do
    broken=$work/$name.bin
    "$tool" break "$name" "$good" "$broken"
    case $name in
    data-*) length=4600 ;; # up to the second block
    *) length=600 ;;
    esac
    image_seed "$name" "$broken" $length 00 00 02
    case $name in
    region-* | cut-* | empty | one-byte) ;; # a flash is whole, and has no regions
    *) flag_seed "$name" "$broken" $length 00 00 ;;
    esac
done

# cpld_seed NAME TROUBLE LOOKED_UP READ COMPONENT OFFSET      numbers of 4 bytes
# in hexadecimal, low byte first; a length is given as the program takes it
cpld_seed()
{
    # shellcheck disable=SC2086 # lists of bytes
    bytes "$2" 5a $3 $4 $5 $6 2a 00 00 00 02 00 00 00 65 01 02 5f 5f >"$cpld/$1"
}

hundred='20 03 00 00'
largest='6f 00 00 00'
cpld_seed usual 00 "$hundred" "$hundred" '05 00 00 00' '00 00 00 00'
cpld_seed with-value 00 "$hundred" "$hundred" '06 01 00 00' '00 00 00 00'
cpld_seed largest 00 "$largest" "$largest" '05 00 00 00' '00 00 00 00'
cpld_seed too-long-with-value 00 "$largest" "$largest" '06 00 00 00' '00 00 00 00'
cpld_seed much-too-long 00 'ff 40 00 00' 'ff 40 00 00' '05 00 00 00' '00 00 00 00'
cpld_seed empty 00 '00 00 00 00' "$hundred" '05 00 00 00' '00 00 00 00'
cpld_seed shrunk 00 "$hundred" '18 03 00 00' '05 00 00 00' '00 00 00 00'
cpld_seed offset 00 "$hundred" '28 03 00 00' '05 00 00 00' '01 00 00 00'
cpld_seed offset-negative 00 "$hundred" "$hundred" '05 00 00 00' 'ff ff ff ff'
cpld_seed length-negative 00 'ff ff ff ff' "$hundred" '05 00 00 00' '00 00 00 00'
for trouble in 01 02 03; do
    cpld_seed "trouble-$trouble" $trouble "$hundred" "$hundred" '05 00 00 00' '00 00 00 00'
done

# Every operation with a length of 60 on the first channel: answered, and failed.
operation=0
while [ $operation -lt 37 ]; do
    number=$(printf %02x $operation)
    bytes "$number" 04 01 04 01 01 a0 01 00 00 04 00 04 00 04 00 04 00 04 00 04 >"$fpga/$number"
    bytes "$number" 04 01 04 01 01 a0 01 00 03 04 03 04 03 04 03 04 03 04 03 04 >"$fpga/$number-failed"
    operation=$((operation + 1))
done
echo "corpus: $(find "$image" "$flag" "$cpld" "$fpga" -type f | wc -l) seeds"
