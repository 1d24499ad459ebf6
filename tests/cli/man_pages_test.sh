#!/bin/bash
# Makes the manual pages, and renders each of them without a warning.
#
#   man_pages_test.sh QORSTAT MAN_PAGES_SCRIPT
set -euo pipefail

for needed in help2man man; do
    command -v "$needed" >/dev/null || {
        echo "$needed is not installed: the manual pages are not tested"
        exit 77
    }
done
program=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
"$2" "$program" "$folder/man"

fail() {
    echo "$1" >&2
    exit 1
}

# require TEXT PAGE
require() {
    grep --quiet --fixed-strings -e "$1" <<<"$2" || fail "$name: lacks: $1"
}

for verb in '' $("$program" --help | sed -n '/^Verbs:$/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p'); do
    name=qorstat${verb:+-$verb}
    page=$(man --no-hyphenation --no-justification --warnings=w -l -E UTF-8 -Tutf8 "$folder/man/$name.1" 2>"$folder/warnings" | col -b | tr -s " \t\n" " ")
    [ ! -s "$folder/warnings" ] || fail "$name: $(cat "$folder/warnings")"
    if command -v mandoc >/dev/null; then
        mandoc -T lint -W warning "$folder/man/$name.1" || fail "$name: mandoc warns"
    fi
    require "$name - " "$page"
    require "EXIT STATUS" "$page"
    # Every option and both examples of the help page.
    help=$("$program" ${verb:+"$verb"} --help)
    while read -r option; do
        require "$option" "$page"
    done < <(sed -n 's/^  \(-[a-zA-Z],\)\{0,1\}\(--*[a-z-]*\).*/\2/p' <<<"$help")
    while read -r example; do
        require "$example" "$page"
    done < <(tail -n 2 <<<"$help")
    while read -r variable; do
        require "$variable" "$page"
    done < <(grep --only-matching 'QORSTAT_[A-Z_]*' <<<"$help")
done
# A page for each verb, and nothing else.
[ "$(find "$folder/man" -type f | wc -l)" -eq "$(("$("$program" --help | sed -n '/^Verbs:$/,/^$/p' | wc -l)" - 1))" ] ||
    fail "there are other pages than those of the program and its verbs"
