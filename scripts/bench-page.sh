#!/bin/sh
# Writes docs/benchmarks.md and its plots from the figures of the last run.
# usage: bench-page.sh BUILD_FOLDER      called by bench.sh --page
set -eu
build=$1
cd "$(dirname "$0")/.."

# threads, requests per second on one lock and on different ones
awk -F, '/_median"/ && /locks?\/real_time/ {
    split($1, part, /[:_"\/]/)
    match($1, /threads:[0-9]+/)
    threads = substr($1, RSTART + 8, RLENGTH - 8)
    rate[$1 ~ /one_lock/, threads] = $7 / 1e6
    seen[threads]
} END { for (threads in seen) print threads, rate[1, threads], rate[0, threads] }' \
    "$build/calls.csv" | sort -n >"$build/threads.dat"
# MiB, milliseconds of the library and of the floor
awk -F, '/_median"/ && /mtd_flash_copy/ {
    floor = $1 ~ /floor/
    match($1, /\/[0-9]+\/iterations/)
    mib = substr($1, RSTART + 1, RLENGTH - 12)
    time[floor, mib] = $3
    seen[mib]
} END { for (mib in seen) print mib, time[0, mib], time[1, mib] }' \
    "$build/copies.csv" | sort -n >"$build/copies.dat"

mkdir -p docs/plots
gnuplot <<TEXT
set terminal svg size 640,400 font "sans,12" background "white"
set key top left
set grid
set yrange [0:*]
set style data linespoints
set output "docs/plots/threads.svg"
set xlabel "threads"
set xtics (1, 2, 4, 8)
set ylabel "million requests per second"
plot "$build/threads.dat" using 1:2 title "on one lock" lw 2, \
     "$build/threads.dat" using 1:3 title "on four locks" lw 2
set output "docs/plots/copies.svg"
set xlabel "image size, MiB"
set ylabel "time of mtd\\\\_flash\\\\_copy, ms"
plot "$build/copies.dat" using 1:2 title "mtd\\\\_flash\\\\_copy" lw 2, \
     "$build/copies.dat" using 1:3 title "the same calls by hand" lw 2 dt 2
TEXT

{
    cat <<'TEXT'
# Speed and size

`scripts/bench.sh --page` writes this page; `scripts/bench.sh` prints the table.
Each figure stands beside the floor that was measured in the same run: the work
that no implementation can do without, by hand. The FPGA is `/dev/zero`, flash and
environment are memory: what is left is the library and the kernel's calls.

TEXT
    cat "$build/table.md"
    cat <<TEXT

Measured on $(sed -n 's/^model name.*: //p' /proc/cpuinfo | head -n 1 | sed 's/ *$//'), $(nproc) processors.

## As the work grows

Requests of the FPGA driver (one lock, one \`read\`) from 1, 2, 4 and 8 threads: all
through \`get_slot_id\` on one lock, and spread over the four locks of
\`get_slot_id\`, \`get_fpga_regester\`, \`kcs_read\` and \`bt_read\`.

![Requests per second against threads](plots/threads.svg)

A copy takes time in proportion to the image: each chunk and each erase block costs
the same calls and one pause of 10 microseconds, and memory stays at two buffers of
10 KiB.

![Time of a copy against image size](plots/copies.svg)
TEXT
} >docs/benchmarks.md
echo "bench: docs/benchmarks.md and docs/plots are written"
