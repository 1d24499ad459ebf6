#!/bin/sh
# check_named_tests.sh FOLDER DOCUMENT...
#
# Checks that every test that a document names, as `Suite.Name` between backquotes, exists in the sources of FOLDER.
set -eu
folder=$1
shift
status=0
found=0
for document in "$@"; do
    for test in $(grep --only-matching --extended-regexp '`[A-Z][A-Za-z0-9]+(\.[A-Za-z]+)?\.[A-Z][A-Za-z0-9]+`' "$document" | tr -d '`'); do
        found=$((found + 1))
        suite=${test%%.*} name=${test#*.}
        # A GoogleTest test, a test added by CMake, or one that CMake adds for each of a list of targets or texts.
        grep --recursive --quiet --extended-regexp --null-data "TEST(_F|_P)?\\(\\s*$suite,\\s*$name\\)" "$folder" ||
            grep --recursive --quiet --fixed-strings "NAME $test" "$folder" ||
            grep --recursive --quiet --extended-regexp "NAME $suite\\.${name%.*}\\.\\\$\\{" "$folder" ||
            grep --recursive --quiet --fixed-strings "\"$test " "$folder" || {
            echo "$document: there is no test $test"
            status=1
        }
    done
done
[ "$found" -gt 0 ] || { echo "the documents name no tests" && status=1; }
exit $status
