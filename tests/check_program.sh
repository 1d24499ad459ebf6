#!/bin/bash
# check_program.sh CODE OUTPUT ERRORS PROGRAM [ARGUMENT...]
#
# Fails unless the program exits with CODE and its whole standard output and standard error match these extended regular
# expressions. Trailing newlines are ignored.
set -u
code=$1 output=$2 errors=$3
shift 3

files=$(mktemp -d)
trap 'rm -rf "$files"' EXIT
"$@" >"$files/output" 2>"$files/errors"
ended=$?
written=$(cat "$files/output")
complaints=$(cat "$files/errors")

status=0
expect() {
    local what=$1 seen=$2 pattern=$3
    [[ $seen =~ ^($pattern)$ ]] && return
    printf '%s: expected "%s":\n%s\n' "$what" "$pattern" "$seen"
    status=1
}
expect 'exit code' "$ended" "$code"
expect 'standard output' "$written" "$output"
expect 'standard error' "$complaints" "$errors"
exit $status
