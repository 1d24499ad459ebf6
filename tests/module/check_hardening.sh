#!/bin/sh
# check_hardening.sh FILE [fortified]
#
# Fails if a program or shared library lacks one of its hardening properties, and names each that is missing: a table
# of addresses that is read-only after start (RELRO) and filled before the first line runs (immediate binding), stack
# protection, no relocations in the code, no executable stack and, if "fortified" is given, functions of the C library
# that check the sizes of the buffers they write to.
set -eu
export LC_ALL=C
file=$1
status=0

complain() {
    echo "$file: $1"
    status=1
}

segments=$(readelf --wide --program-headers "$file")
dynamic=$(readelf --wide --dynamic "$file")
imports=$(nm --dynamic --undefined-only "$file" | awk '{ sub(/@.*/, "", $NF); print $NF }')

has() { echo "$1" | grep --quiet --extended-regexp "$2"; }

has "$segments" '^ *GNU_RELRO ' || complain 'no segment is made read-only after relocation (RELRO)'
has "$dynamic" '\(FLAGS\).* BIND_NOW|\(FLAGS_1\).* NOW|\(BIND_NOW\)' || complain 'names are bound lazily'
has "$dynamic" '\(TEXTREL\)|\(FLAGS\).* TEXTREL' && complain 'the code has relocations'
has "$segments" '^ *GNU_STACK ' || complain 'nothing says that the stack holds no code'
has "$segments" '^ *GNU_STACK .* R?W?E ' && complain 'the stack may hold code'
has "$imports" '^__stack_chk_fail$' || complain 'no function checks its stack frame'
if [ "${2-}" = fortified ]; then
    has "$imports" '^__[a-z_]+_chk$' || complain 'no function of the C library checks sizes'
fi
exit $status
