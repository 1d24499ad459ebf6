#!/bin/sh
# check_named_tests.sh FOLDER DOCUMENT...
#
# Fails if a document names a test, as `Suite.Name` in backquotes, that is not in the sources of FOLDER.
set -eu
folder=$1
shift
status=0
found=0
for document in "$@"; do
    for test in $(grep --only-matching --extended-regexp '`[A-Z][A-Za-z0-9]+(\.[A-Za-z]+)?\.[A-Z][A-Za-z0-9]+`' "$document" | tr -d '`'); do
        found=$((found + 1))
        suite=${test%%.*} name=${test#*.}
        # A GoogleTest test, one that CMake adds, or one that CMake adds for each item of a list of targets or texts.
        grep --recursive --quiet --extended-regexp --null-data "TEST(_F|_P)?\\(\\s*$suite,\\s*$name\\)" "$folder" ||
            grep --recursive --quiet --fixed-strings "NAME $test" "$folder" ||
            grep --recursive --quiet --extended-regexp "NAME $suite\\.${name%.*}\\.\\\$\\{" "$folder" ||
            grep --recursive --quiet --fixed-strings "\"$test " "$folder" || {
            echo "$document: no such test: $test"
            status=1
        }
    done
done
[ "$found" -gt 0 ] || { echo "no document names a test" && status=1; }
exit $status
