#!/bin/sh
# Lists the names that the public header declares as exported, sorted.
# usage: exported-names.sh HEADER
set -eu
# A declaration starts a line with BOARD_HAL_API; the name is the word before
# the first "(", "[" or ";".
sed -n 's/^BOARD_HAL_API //p' "$1" | sed 's/[][(;].*//; s/.*[ *]//' | LC_ALL=C sort
