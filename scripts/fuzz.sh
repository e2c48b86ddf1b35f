#!/bin/sh
# Builds the fuzz programs with clang and runs each on its seed corpus.
# usage: fuzz.sh [SECONDS]      per program, 30 if not given
set -eu
seconds=${1:-30}
cd "$(dirname "$0")/.."
build=build/fuzz

cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
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

ran=""
for seeds in fuzz/corpus/*/; do
  name=$(basename "$seeds")
  # What a run finds goes to the build directory; the seeds stay as they are.
  found="$build/corpus/$name"
  mkdir -p "$found"
  echo "== $name: $seconds s"
  if ! "$build/bin/${name}_fuzz" -max_total_time="$seconds" -max_len="$(longest "$name")" -timeout=10 \
    -print_final_stats=1 -artifact_prefix="$build/$name-" "$found" "$seeds" \
    >"$build/$name.log" 2>&1; then
    cat "$build/$name.log"
    exit 1
  fi
  grep -E "DONE|executed_units" "$build/$name.log"
  ran="$ran $name"
done
echo "fuzz: no crash, leak, undefined behaviour or broken promise in $seconds s each of:$ran"
