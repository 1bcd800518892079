#!/bin/sh
# Builds the DLL again, in another folder from a copy of the sources, and compares: reproducible_test.sh SOURCE BUILD DLL
set -eu
source=$1 build=$2 dll=$3
work=$build/reproducible-test
# The copy keeps its times, so what did not change is not compiled again.
rm -rf "$work/elsewhere"
mkdir -p "$work/elsewhere"
(cd "$source" && tar -c --exclude=./build --exclude=./.git .) | tar -x -C "$work/elsewhere"

cmake -G Ninja -S "$work/elsewhere" -B "$work/build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE="-O2 -DNDEBUG" \
  -DCMAKE_TOOLCHAIN_FILE="$work/elsewhere/cmake/mingw-w64.cmake" -DKIV_BUILD_TESTS=OFF >/dev/null
cmake --build "$work/build" --target kiv
cmp "$work/build/bin/kiv.dll" "$dll"
