#!/bin/sh
# Installs the SDK, builds hosts against it that know nothing of this tree, and runs them:
# sdk_test.sh SOURCE BUILD WINE KIVROOM-DLL
set -eu
source=$1 build=$2 wine=$3 room=$4
work=$build/sdk-test
rm -rf "$work"
cmake --install "$build" --prefix "$work/sdk" >/dev/null

fail=0
expect() { [ -e "$work/sdk/$1" ] || { echo "not installed: $1"; fail=1; }; }
for file in bin/kiv.dll bin/kivhost.exe lib/libkiv.dll.a lib/kiv.lib lib/cmake/kiv/kivConfig.cmake share/kiv/Config.txt \
            share/kiv/Devlist.txt share/kiv/python/kiv.py $(cd "$source" && find include -name '*.h'); do
  expect "$file"
done

sample() { sed -n "/^    #include <kiv\\/$2>/,/^    }\$/s/^    //p" "$source/docs/$1" > "$work/$3"; }
sample embedding.md kiv_c.h embedding.c
sample sdk.md kiv.h sdk_plain.c
sample sdk.md sdk.h sdk_classes.cpp

cmake -G Ninja -S "$source/tests/package/consumer" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/sdk" \
  -DCMAKE_TOOLCHAIN_FILE="$source/cmake/mingw-w64.cmake" -DCMAKE_FIND_ROOT_PATH="$work/sdk" \
  -DSAMPLES="$work" -DKIVROOM_INCLUDE="$source/tests/package/room" -DKIVROOM_DLL="$room" >/dev/null
cmake --build "$work/build"

# For Microsoft's ABI: no header and no library of Microsoft's, their import libraries are made here.
import_library() {
  dll=$1
  shift
  { echo "LIBRARY $dll"; echo EXPORTS; printf '%s\n' "$@"; } > "$work/$dll.def"
  llvm-dlltool -m i386:x86-64 -d "$work/$dll.def" -l "$work/$dll.lib"
}
import_library msvcrt.dll printf memset memcpy
import_library kivroom.dll kivroom_open kivroom_image kivroom_close
for language in c c++; do
  clang --target=x86_64-pc-windows-msvc -x $language -nostdlibinc -Wall -Werror -I "$work/sdk/include" \
    -I "$source/tests/package/room" -c "$source/tests/package/consumer/story.c" -o "$work/story.obj"
  lld-link /nodefaultlib /entry:main /subsystem:console "/out:$work/build/story_msvc_$language.exe" "$work/story.obj" \
    "$work/sdk/lib/kiv.lib" "$work/msvcrt.dll.lib" "$work/kivroom.dll.lib"
done

mkdir "$work/run"
cd "$work/run"
cp "$work"/sdk/bin/kiv.dll "$room" "$work"/build/*.exe .
for host in plain classes; do
  "$wine" ./$host.exe || { echo "$host.exe failed"; fail=1; }
done
grep -q '<SVMInventory' scsiInv.txt || { echo "plain.exe wrote no inventory"; fail=1; }

cp "$work"/sdk/share/kiv/*.txt .
for story in story_c99 story_cpp20 story_msvc_c story_msvc_c++; do
  "$wine" ./$story.exe > $story.out || { echo "$story.exe failed:"; cat $story.out; fail=1; }
  cmp $story.out story_c99.out || fail=1
done
exit $fail
