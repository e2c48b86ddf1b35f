#!/bin/sh
# The manual pages, completions and schemas in the source tree are those of the
# commands as they are, and their readers take them.
# usage: pages_test.sh SOURCE_DIR BOARDCTL_PAGES
set -eu
source=$1
pages=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$pages" "$work"
for pair in "man tools/boardctl/pages/man" "completions tools/boardctl/pages/completions" \
    "schemas docs/schemas"; do
    # shellcheck disable=SC2086 # two words
    set -- $pair
    diff -r "$work/$1" "$source/$2" || {
        echo "FAILED: $2 is out of date; run scripts/update-boardctl-pages.sh"
        exit 1
    }
done

if command -v man >/dev/null; then
    for page in "$work"/man/*; do
        complaints=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null)
        [ -z "$complaints" ] || { echo "FAILED: $page: $complaints"; exit 1; }
    done
fi

# offers SHELL LINE WORD: what the shell offers behind the line has the word.
offers()
{
    case $1 in
    bash) offered=$(bash -c '
        . "$1"
        COMP_WORDS=($2 "$3")
        COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
        _boardctl
        printf "%s\n" "${COMPREPLY[@]}"' bash "$work/completions/boardctl.bash" "$2" "") ;;
    zsh) offered=$(zsh -f -c '
        _describe() { print -l -- "${(@)entries%%:*}" }
        _files() { print -l -- "<file>" }
        words=(${=2} "")
        CURRENT=${#words}
        . "$1"' zsh "$work/completions/_boardctl" "$2") ;;
    fish) offered=$(HOME=$work fish --no-config -c '
        source $argv[1]
        complete -C "$argv[2] "' "$work/completions/boardctl.fish" "$2" | cut -f1) ;;
    esac
    echo "$offered" | grep -qx -e "$3" || {
        echo "FAILED: $1 does not offer $3 behind \"$2\", but:"
        echo "$offered"
        exit 1
    }
}

for shell in bash zsh fish; do
    command -v $shell >/dev/null || continue
    case $shell in
    bash) $shell -n "$work/completions/boardctl.bash" ;;
    zsh) $shell -n "$work/completions/_boardctl" ;;
    fish) $shell -n "$work/completions/boardctl.fish" ;;
    esac
    offers $shell "boardctl" power
    offers $shell "boardctl --virtual --personality corvo-8 power" cycle
    offers $shell "boardctl cpld read" POWER_STATE.POWER_GOOD
    offers $shell "boardctl led set 5" on
    offers $shell "boardctl serial connect --json host" 3
done
echo "pages are up to date, and their readers take them"
