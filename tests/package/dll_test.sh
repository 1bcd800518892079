#!/bin/sh
# Looks at the built file as a host's loader does: dll_test.sh SOURCE DLL
set -eu
export LC_ALL=C
source=$1 dll=$2
tool=x86_64-w64-mingw32
maximum_size=1572864

headers=$($tool-objdump -p "$dll")
exports=$(echo "$headers" | sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t\[ *[0-9]*\] //p' | sort)
fail=0
complain() { echo "$*"; fail=1; }
exported() { echo "$exports" | grep -qx "$1" || complain "not exported: $1"; }

# Hosts look these up by name. The rest of the undecorated names would be somebody else's.
plain="automationReadyMode deviceController getKivVersion libraryMode listOfSupportedDevices logger scanScsiBus testHost
updateFirmware updateFirmwareAllDevices"
[ "$(echo "$exports" | grep -Ev '^(_Z|kiv_)')" = "$(printf '%s\n' $plain)" ] ||
  complain "undecorated exports are not the ten that hosts know:" $(echo "$exports" | grep -Ev '^(_Z|kiv_)')
exported _Z7kivInitv
exported _Z7kivFiniv

# A class shows by its operations, or by its virtual table when they are all inline.
header_only=ConfigEntry
for class in $(cd "$source/include" && grep -rhoE '^(class|struct) KIV_API [A-Za-z0-9_]+' . | awk '{print $3}'); do
  [ $class = $header_only ] || echo "$exports" | grep -qE "^_Z(NK?|TV)${#class}$class" || complain "class is not exported: $class"
done
foreign=$(echo "$exports" | $tool-c++filt | grep -E '^(vtable for |typeinfo (name )?for |guard variable for )?(std|__gnu_cxx|__cxxabiv1)::' || :)
[ -z "$foreign" ] || complain "exports the C++ library's own: $foreign"

imports=$(echo "$headers" | sed -n 's/.*DLL Name: //p' | tr a-z A-Z | sort | tr '\n' ' ')
[ "$imports" = "ADVAPI32.DLL KERNEL32.DLL MSVCRT.DLL SETUPAPI.DLL " ] || complain "imports from $imports"

for flag in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
  echo "$headers" | grep -q "$flag" || complain "not set: $flag"
done
echo "$headers" | grep -q 'Base Relocation Directory' && echo "$headers" | grep -q 'DIR64' || complain "cannot be relocated"

version=$($tool-strings -e l "$dll" | grep -x -A1 ProductVersion | tail -1)
[ "$version" = 1.95 ] || complain "version resource says '$version'"

stripped=$(mktemp)
$tool-strip -o "$stripped" "$dll"
size=$(stat -c %s "$stripped")
rm "$stripped"
[ "$size" -le $maximum_size ] || complain "stripped size is $size bytes, more than $maximum_size"
exit $fail
