# Builds an example by itself against an installed copy of the library, and
# starts it where there is no board: it says TEXT.
# usage: installed_copy_test.sh CMAKE BUILD_FOLDER EXAMPLE COMPILER TEXT [ARGUMENT...]
set -eu

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

cmake=$1
example=$3
text=$5
"$cmake" --install "$2" --prefix "$folder/installed" >/dev/null
"$cmake" -S "$example" -B "$folder/build" -G Ninja -DCMAKE_PREFIX_PATH="$folder/installed" -DCMAKE_CXX_COMPILER="$4" >/dev/null
"$cmake" --build "$folder/build" >/dev/null
shift 5

LD_LIBRARY_PATH=$(dirname "$(find "$folder/installed" -name libboard_hal.so)")
export LD_LIBRARY_PATH
if output=$("$folder/build/$(basename "$example")" "$@" 2>&1); then
    echo "it started without a board"
    exit 1
fi
echo "$output"
echo "$output" | grep -qF "cpld_init: cann't open device"
echo "$output" | grep -qF "$text"
