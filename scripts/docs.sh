#!/bin/sh
# Builds the reference of the public headers and the pages of docs/ as HTML, with
# warnings as errors, into build/docs/html.
set -eu
cd "$(dirname "$0")/.."
scripts/install-deps.sh docs
mkdir -p build/docs
doxygen docs/Doxyfile
echo "docs: build/docs/html/index.html, without a warning"
