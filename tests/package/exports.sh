#!/bin/sh
# Lists what a DLL exports, sorted: exports.sh DLL. What kiv.dll exports is pinned in exports.txt; after a change that
# is meant, write it anew:
#
#   tests/package/exports.sh build/windows/bin/kiv.dll > tests/package/exports.txt
set -eu
x86_64-w64-mingw32-objdump -p "$1" |
  sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t\[ *[0-9]*\] //p' | LC_ALL=C sort
