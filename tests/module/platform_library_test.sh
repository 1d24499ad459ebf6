#!/bin/bash
# Links the module and the contract tests with another platform's library, as a build that is configured with
# QOR_PLATFORM_LIBRARY does. That build takes the static libraries and objects of this one, which are the same, since compiling
# them again would take long.
#
#   platform_library_test.sh CMAKE SOURCE_FOLDER BUILD_FOLDER C_COMPILER CXX_COMPILER PORT_LIBRARY RUN_PORT PLATFORM_LIBRARY
set -euo pipefail

cmake=$1 source=$2 built=$3 c_compiler=$4 cxx_compiler=$5 port=$6 run_port=$7 platform=$8
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
library=$folder/libqorplatform.so
build=$folder/build

fail() {
    echo "$1" >&2
    exit 1
}

cp "$port" "$library"
ln -s "${library##*/}" "$library.1" # the name that the loader looks for
# The objects below are those of that build, so sources are grouped as there.
grouped=$(sed -n 's/^QOR_GROUPED_SOURCES:[A-Z]*=//p' "$built/CMakeCache.txt")
"$cmake" -S "$source" -B "$build" -G Ninja "-DCMAKE_C_COMPILER=$c_compiler" "-DCMAKE_CXX_COMPILER=$cxx_compiler" -DCMAKE_BUILD_TYPE=Debug \
    "-DQOR_GROUPED_SOURCES=$grouped" "-DQOR_PLATFORM_LIBRARY=$library" >"$folder/log" 2>&1 || fail "$(cat "$folder/log")"
for archive in plugin/libqorplugin.a decoder/libqordecoder.a; do
    cp "$built/$archive" "$build/$archive"
done
# Runs the last command that makes a target: its linker.
link() {
    local command
    command=$(ninja -C "$build" -t commands "$1" | tail -n 1)
    (cd "$build" && sh -c "$command") >"$folder/log" 2>&1
}

link OndreQORHIDStatistics || fail "$(cat "$folder/log")"
printed=$("$run_port" "$build/bin/OndreQORHIDStatistics.so")
[ "$printed" = $'no object\ntext of a report: none' ] || fail "on the library the module prints: $printed"

"$c_compiler" -shared -x c /dev/null -Wl,-soname,libqorplatform.so.1 -o "$library"
! link OndreQORHIDStatistics || fail "the module is linked with a library that lacks every operation"
grep --quiet "undefined reference to .TvRelease'" "$folder/log" || fail "another error: $(cat "$folder/log")"

# The contract tests, with the port that knows the host, are bound to a copy of the host's library at that place.
cp "$platform" "$library"
mkdir -p "$build/tests/contract/CMakeFiles" "$build/tests/CMakeFiles"
cp -r "$built/tests/contract/CMakeFiles/contract_tests.dir" "$build/tests/contract/CMakeFiles/"
link contract_tests || fail "$(cat "$folder/log")"
tests=$build/tests/contract_tests
"$tests" --gtest_filter='StatusContract.*:StoreContract.*' >"$folder/log" 2>&1 || fail "$(cat "$folder/log")"
cp "$port" "$library"
! "$tests" --gtest_list_tests >"$folder/log" 2>&1 || fail "the contract tests run on another library than the one named"
grep --quiet 'libqorplatform\|undefined symbol' "$folder/log" || fail "another error: $(cat "$folder/log")"
