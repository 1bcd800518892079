#!/bin/sh
# Looks at the built file as a host's loader does: dll_test.sh SOURCE DLL
set -eu
export LC_ALL=C
source=$1 dll=$2
tool=x86_64-w64-mingw32
maximum_size=655360

headers=$($tool-objdump -p "$dll")
fail=0
complain() { echo "$*"; fail=1; }

# Hosts look these names up: one that goes or changes breaks them.
pinned=$source/tests/package/exports.txt
changes=$("$source/tests/package/exports.sh" "$dll" | diff --unchanged-line-format= --old-line-format='no longer exported: %L' \
  --new-line-format='newly exported: %L' "$pinned" -) || complain "exports differ from tests/package/exports.txt:
$(echo "$changes" | $tool-c++filt)
If that is meant, write the list anew: tests/package/exports.sh $dll > tests/package/exports.txt"

foreign=$($tool-c++filt < "$pinned" | grep -E '^(vtable for |typeinfo (name )?for |guard variable for )?(std|__gnu_cxx|__cxxabiv1)::' || :)
[ -z "$foreign" ] || complain "exports the C++ library's own: $foreign"

imports=$(echo "$headers" | sed -n 's/.*DLL Name: //p' | tr '[:lower:]' '[:upper:]' | sort | tr '\n' ' ')
[ "$imports" = "ADVAPI32.DLL KERNEL32.DLL MSVCRT.DLL SETUPAPI.DLL " ] || complain "imports from $imports"

for flag in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
  echo "$headers" | grep -q "$flag" || complain "not set: $flag"
done
echo "$headers" | grep -q 'Base Relocation Directory' || complain "cannot be relocated"
echo "$headers" | grep -q 'DIR64' || complain "has no relocations"

version=$($tool-strings -e l "$dll" | grep -x -A1 ProductVersion | tail -1)
[ "$version" = 1.95 ] || complain "version resource says '$version'"

stripped=$(mktemp)
$tool-strip -o "$stripped" "$dll"
size=$(stat -c %s "$stripped")
rm "$stripped"
[ "$size" -le $maximum_size ] || complain "stripped size is $size bytes, more than $maximum_size"
exit $fail
