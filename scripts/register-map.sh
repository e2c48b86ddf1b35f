#!/bin/sh
# Writes the register-map page from the public CPLD header.
# usage: register-map.sh [FILE]      docs/register-map.md if not given
set -eu
cd "$(dirname "$0")/.."
awk -f cmake/register-map.awk include/board_hal_cpld.h >"${1:-docs/register-map.md}"
