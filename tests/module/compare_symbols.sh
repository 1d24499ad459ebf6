#!/bin/sh
# compare_symbols.sh exports MODULE LIST
# compare_symbols.sh imports MODULE LIST PLATFORM_LIBRARY
#
# Compares the dynamic symbols that the module defines, or those that it imports from the platform library, with a
# checked-in list. Prints any difference (- listed, + found) and fails.
set -eu
export LC_ALL=C

defined() { nm -D --defined-only "$1" | awk '{ print $NF }' | sort -u; }
undefined() { nm -D --undefined-only "$1" | awk '{ print $NF }' | sort -u; }

scratch=$(mktemp -d)
trap 'rm -r "$scratch"' EXIT

case $1 in
exports)
    defined "$2" >"$scratch/found"
    ;;
imports)
    defined "$4" >"$scratch/platform"
    undefined "$2" >"$scratch/undefined"
    comm -12 "$scratch/undefined" "$scratch/platform" >"$scratch/found"
    ;;
*)
    echo "$0: invalid mode: $1: expected exports or imports" >&2
    exit 2
    ;;
esac
sort -u "$3" | diff -u --label "listed in $3" --label "found in $2" - "$scratch/found"
