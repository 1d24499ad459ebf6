#!/bin/sh
# check_abi.sh ABIDIFF LIBRARY ABI_FILE
#
# Fails if a program that was built against the first release of the interface would not run with the library: a function or
# a structure of the ABI file is gone or different. Additions are fine. The ABI file is written by
#
#   abidw --exported-interfaces-only --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed LIBRARY
set -eu
exec "$1" --no-added-syms "$3" "$2"
