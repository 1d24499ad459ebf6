#!/bin/sh
# check_library.sh LIBRARY LIST
#
# Fails unless the library exports exactly the symbols of the list, each with its version, is called libqordecoder.so.1, and
# needs no library but those of the compiler and the C library.
set -eu
export LC_ALL=C
library=$1
list=$2
status=0

# The name of a version is a symbol of its own, of type A.
nm --dynamic --defined-only --with-symbol-versions "$library" | awk '$2 != "A" { print $3 }' | sort |
    diff -u --label "listed in $list" --label "found in $library" "$list" - || status=1

dynamic=$(readelf --wide --dynamic "$library")
case $dynamic in
*'(SONAME)'*'[libqordecoder.so.1]'*) ;;
*)
    echo "$library: is not called libqordecoder.so.1"
    status=1
    ;;
esac
others=$(echo "$dynamic" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -vE '^(libstdc\+\+|libgcc_s|libm|libc|ld-linux-x86-64)\.so\.' || true)
if [ -n "$others" ]; then
    echo "$library: needs $others"
    status=1
fi
exit $status
