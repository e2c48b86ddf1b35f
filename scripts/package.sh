#!/bin/sh
# Builds the Debian packages of the committed sources in build/package, and has
# lintian look at them.
set -eu
cd "$(dirname "$0")/.."
scripts/install-deps.sh package
folder=build/package
rm -rf "$folder"
mkdir -p "$folder/board-hal"
git archive HEAD | tar -x -C "$folder/board-hal"
(cd "$folder/board-hal" && dpkg-buildpackage -us -uc -b) >"$folder/build.log" 2>&1 || {
    tail -n 40 "$folder/build.log"
    exit 1
}
lintian --fail-on error,warning "$folder"/*.changes
echo "package: $(cd "$folder" && ls ./*.deb | sed 's/^\.\///' | tr '\n' ' ')built, lintian has nothing to say"
