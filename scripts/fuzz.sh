#!/bin/sh
# Builds the fuzz programs with clang and runs each on its seed corpus.
# usage: fuzz.sh [SECONDS]      per program, 30 if not given
set -eu
seconds=${1:-30}
cd "$(dirname "$0")/.."
build=build/fuzz

cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g1" \
  -DCMAKE_UNITY_BUILD=ON \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DBOARD_HAL_WERROR=ON \
  -DBOARD_HAL_BUILD_FUZZERS=ON -DBOARD_HAL_BUILD_VIRTUAL_BOARD=OFF \
  -DBOARD_HAL_BUILD_EXAMPLES=OFF -DBOARD_HAL_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build"

# The longest input of a program: what can hold one of its devices or files.
longest()
{
  case "$1" in
  environment) echo 9000 ;;
  ipmi_request) echo 110 ;;
  boardctl_arguments) echo 200 ;;
  fpga_answers | cpld_program) echo 600 ;;
  *) echo 4700 ;; # a block of 4096 bytes, and a file that begins in it
  esac
}

# fuzz NAME: its output is NAME.log, or all of it if the program found something.
fuzz()
{
  # What a run finds goes to the build directory; the seeds stay as they are.
  found="$build/corpus/$1"
  mkdir -p "$found"
  if "$build/bin/$1_fuzz" -max_total_time="$seconds" -max_len="$(longest "$1")" -timeout=10 \
    -print_final_stats=1 -artifact_prefix="$build/$1-" "$found" "fuzz/corpus/$1" \
    >"$build/$1.log" 2>&1; then
    echo "== $1: $seconds s, $(sed -n 's/^stat::number_of_executed_units: //p' "$build/$1.log") inputs"
  else
    cat "$build/$1.log"
    return 1
  fi
}

# A program per processor. One that fails does not stop the others.
names=$(for seeds in fuzz/corpus/*/; do basename "$seeds"; done)
jobs=$(nproc)
failed=0
started=0
pids=""
for name in $names; do
  fuzz "$name" &
  pids="$pids $!"
  started=$((started + 1))
  if [ "$started" -eq "$jobs" ]; then
    for pid in $pids; do wait "$pid" || failed=1; done
    pids=""
    started=0
  fi
done
for pid in $pids; do wait "$pid" || failed=1; done
[ "$failed" -eq 0 ] || exit 1
echo "fuzz: no crash, leak, undefined behaviour or broken promise in $seconds s each of:" $names
