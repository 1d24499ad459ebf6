#!/bin/sh
# Checks that every line of the list of intended leaks is needed: with the whole list the test programs pass, and
# without any one of its lines some program fails because of that leak.
#
#   check_intended_leaks.sh LIST PROGRAM...
set -eu
list=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

finds_leaks() {
    for program in "$@"; do
        LSAN_OPTIONS="suppressions=$work/list:print_suppressions=0" "$program" --gtest_brief=1 >"$work/output" 2>&1 ||
            return 0
    done
    return 1
}

cp "$list" "$work/list"
if finds_leaks "$@"; then
    cat "$work/output"
    echo "with the whole list, a program fails"
    exit 1
fi

status=0
lines=$(sed -n 's/^leak://p' "$list")
[ -n "$lines" ] || exit 1
for line in $lines; do
    grep --invert-match --line-regexp --fixed-strings "leak:$line" "$list" >"$work/list"
    if finds_leaks "$@" && grep --quiet 'SUMMARY: .* leaked' "$work/output"; then
        echo "without $line: $(grep 'SUMMARY:' "$work/output")"
    else
        echo "without $line: no leak found, so the line is not needed"
        status=1
    fi
done
exit $status
