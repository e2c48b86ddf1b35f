#!/bin/sh
# Writes boardctl's manual pages, completions and JSON schemas anew, from the
# descriptions of its commands.
# usage: update-boardctl-pages.sh [BUILD_FOLDER]
set -eu
cd "$(dirname "$0")/.."
build=${1:-build/debug}

cmake --build "$build" --target boardctl_pages
made=$build/boardctl_pages.made
rm -rf "$made"
"$build/bin/boardctl_pages" "$made"
rm -rf tools/boardctl/pages docs/schemas
mkdir -p tools/boardctl/pages
mv "$made/schemas" docs/schemas
mv "$made/man" "$made/completions" tools/boardctl/pages/
rmdir "$made"
