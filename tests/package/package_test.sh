#!/bin/sh
# Makes the package twice, from here and from a clone elsewhere, and treats it as those do who get it: package_test.sh
# The simulated room that the consumers need is the only thing that does not come out of the zip.
set -eu
export LC_ALL=C
source=$(cd "$(dirname "$0")/../.." && pwd)
room=$source/build/windows/bin/kivroom.dll
work=$source/build/package-test
# A folder that neither CMake nor a compiler knows, with a blank in its name.
sdk="$work/moved to/kiv"
tool=x86_64-w64-mingw32
fail=0
complain() { echo "$*"; fail=1; }
unpack() { python3 -c 'import sys, zipfile; zipfile.ZipFile(sys.argv[1]).extractall(sys.argv[2])' "$1" "$2"; }

cd "$source"
[ -z "$(git status --porcelain)" ] || { echo "Commit first: a package is made of a commit."; exit 1; }
commit=$(git rev-parse HEAD)
rm -rf "$work"
mkdir -p "$work/elsewhere"
scripts/package
cmake --build --preset windows --target kivroom
name=$(basename "$(ls build/package/*-x86_64.zip)" .zip)
(cd build/package && sha256sum --quiet -c SHA256SUMS)

git clone -q --shared . "$work/elsewhere/clone"
"$work/elsewhere/clone/scripts/package"
for zip in "$name" "$name-symbols"; do
  cmp "build/package/$zip.zip" "$work/elsewhere/clone/build/package/$zip.zip" || complain "$zip.zip differs when it is made elsewhere"
done

unpack "build/package/$name.zip" "$sdk"
unpack "build/package/$name-symbols.zip" "$work/symbols"
(cd "$sdk" && find . -type f ! -path './docs/api/*' ! -path './include/*' | sort) > "$work/files"
diff "$source/tests/package/files.txt" "$work/files" || complain "the zip holds other files"
diff -r "$source/include" "$sdk/include" || complain "the headers differ"
grep -rlF "$source" "$sdk" "$work/symbols" && complain "these tell the folder that they were made in"
python3 "$source/tests/package/reference_test.py" "$sdk" || fail=1

for binary in kiv.dll kivhost.exe; do
  $tool-strings -n 3 -e l "$sdk/bin/$binary" > "$work/texts"
  while read -r key value; do
    [ "$(grep -A 1 -xF "$key" "$work/texts" | tail -1)" = "$value" ] || complain "$binary: $key is not $value"
  done << EOF
Comments Commit $commit
CompanyName kiv
FileVersion 1.95
OriginalFilename $binary
ProductName kiv
ProductVersion 1.95
EOF
  python3 -c 'import struct, sys
data = open(sys.argv[1], "rb").read()
numbers = struct.unpack_from("<4I", data, data.index(b"\xbd\x04\xef\xfe") + 8)
sys.exit(numbers != (1 << 16 | 95, 0) * 2)' "$sdk/bin/$binary" || complain "$binary: its version in numbers is not 1.95.0.0"
  $tool-objdump -h "$sdk/bin/$binary" | grep -q ' \.gnu_debuglink ' || complain "$binary does not name its symbols"
  $tool-objdump -h "$sdk/bin/$binary" | grep -q ' \.debug_' && complain "$binary has its symbols inside"
done
entry=$($tool-nm "$work/symbols/kiv.dll.debug" | sed -n 's/ T kiv_scan$//p')
line=$($tool-addr2line -e "$work/symbols/kiv.dll.debug" "$entry")
case $line in *src/c_interface/*.cpp:[1-9]*) ;; *) complain "the symbols place kiv_scan at $line" ;; esac

# Whoever signs has a certificate; this one is thrown away.
for owner in signer other; do
  openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj "/CN=$owner" -addext extendedKeyUsage=codeSigning \
    -keyout "$work/$owner.key" -out "$work/$owner.crt" 2>/dev/null
done
cat "$work/signer.key" "$work/signer.crt" > "$work/signer.pem"
echo secret > "$work/password"
openssl pkcs12 -export -in "$work/signer.pem" -passout "file:$work/password" -out "$work/signer.p12"
verifies() { osslsigncode verify -CAfile "$1" -in "$2" >/dev/null 2>&1; }
for kind in pem p12; do
  (cd "$work" && KIV_SIGN_PASSWORD_FILE=password elsewhere/clone/scripts/package --sign "signer.$kind" >/dev/null)
  unpack "$work/elsewhere/clone/build/package/$name.zip" "$work/signed-$kind"
  for binary in kiv.dll kivhost.exe; do
    verifies "$work/signer.crt" "$work/signed-$kind/bin/$binary" || complain "$binary: the signature does not verify"
    ! verifies "$work/other.crt" "$work/signed-$kind/bin/$binary" || complain "$binary: verifies for another signer"
  done
done
! verifies "$work/signer.crt" "$sdk/bin/kiv.dll" || complain "kiv.dll: verifies without a signature"
if "$work/elsewhere/clone/scripts/package" --sign "$work/signer.crt" >/dev/null 2>&1; then complain "signs without a key"; fi

# With mingw-w64, in C alone, in C and C++.
sample() { sed -n "/^    #include <kiv\\/$2>/,/^    }\$/s/^    //p" "$sdk/docs/$1" > "$work/$3"; }
sample embedding.md kiv_c.h embedding.c
sample sdk.md kiv.h sdk_plain.c
sample sdk.md sdk.h sdk_classes.cpp
consumer() {
  build=$1
  shift
  cmake -G Ninja -S "$source/tests/package/consumer" -B "$work/$build" -DCMAKE_PREFIX_PATH="$sdk" \
    -DCMAKE_FIND_ROOT_PATH="$sdk" -DSAMPLES="$work" -DKIVROOM_INCLUDE="$source/tests/package/room" "$@" >/dev/null
  cmake --build "$work/$build"
}
consumer mingw -DCMAKE_TOOLCHAIN_FILE="$source/cmake/mingw-w64.cmake" -DKIVROOM_LIBRARY="$room"

# For Microsoft's ABI: no header and no library of Microsoft's, their import libraries are made here.
import_library() {
  dll=$1
  shift
  { echo "LIBRARY $dll"; echo EXPORTS; printf '%s\n' "$@"; } > "$work/$dll.def"
  llvm-dlltool -m i386:x86-64 -d "$work/$dll.def" -l "$work/$dll.lib"
}
import_library msvcrt.dll printf memset memcpy
import_library kivroom.dll kivroom_open kivroom_image kivroom_close
consumer msvc -DCMAKE_TOOLCHAIN_FILE="$source/tests/package/consumer/microsoft_abi.cmake" \
  -DKIVROOM_LIBRARY="$work/kivroom.dll.lib;$work/msvcrt.dll.lib"
# kiv.def is for those who make the import library with their own tools.
llvm-dlltool -m i386:x86-64 -d "$sdk/lib/kiv.def" -l "$work/own.lib"
cmp "$work/own.lib" "$sdk/lib/kiv.lib" || complain "kiv.def and kiv.lib differ"

mkdir "$work/run"
cd "$work/run"
cp "$sdk/bin/kiv.dll" "$room" "$work"/mingw/*.exe "$work"/msvc/*.exe .
for host in plain classes; do
  "$source/cmake/wine" ./$host.exe || complain "$host.exe failed"
done
grep -q '<SVMInventory' scsiInv.txt || complain "plain.exe wrote no inventory"
cp "$sdk"/samples/*.txt .
for story in story_c99 story_cpp20 story_msvc_c story_msvc_cpp; do
  "$source/cmake/wine" ./$story.exe > $story.out || complain "$story.exe failed: $(cat $story.out)"
  cmp $story.out story_c99.out || fail=1
done
exit $fail
