#!/bin/bash
# check_program.sh CODE OUTPUT ERRORS PROGRAM [ARGUMENT...]
#
# Fails unless the program ends with this exit code and all that it writes to standard output and to standard error
# matches these extended regular expressions. Newlines at the end of either do not count.
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
    printf '%s, where "%s" is expected:\n%s\n' "$what" "$pattern" "$seen"
    status=1
}
expect 'exit code' "$ended" "$code"
expect 'standard output' "$written" "$output"
expect 'standard error' "$complaints" "$errors"
exit $status
