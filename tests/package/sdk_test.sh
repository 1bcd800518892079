#!/bin/sh
# Installs the SDK, builds two hosts against it that know nothing of this tree, and runs them: sdk_test.sh SOURCE BUILD WINE
set -eu
source=$1 build=$2 wine=$3
work=$build/sdk-test
rm -rf "$work"
cmake --install "$build" --prefix "$work/sdk" >/dev/null

fail=0
expect() { [ -e "$work/sdk/$1" ] || { echo "not installed: $1"; fail=1; }; }
for file in bin/kiv.dll bin/kivhost.exe lib/libkiv.dll.a lib/cmake/kiv/kivConfig.cmake share/kiv/Config.txt \
            share/kiv/Devlist.txt $(cd "$source" && find include -name '*.h'); do
  expect "$file"
done

cmake -G Ninja -S "$source/tests/package/consumer" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/sdk" \
  -DCMAKE_TOOLCHAIN_FILE="$source/cmake/mingw-w64.cmake" -DCMAKE_FIND_ROOT_PATH="$work/sdk" >/dev/null
cmake --build "$work/build"

mkdir "$work/run"
cd "$work/run"
cp "$work"/sdk/bin/kiv.dll "$work"/build/*.exe .
for host in plain classes; do
  "$wine" ./$host.exe || { echo "$host.exe failed"; fail=1; }
done
grep -q '<SVMInventory' scsiInv.txt || { echo "plain.exe wrote no inventory"; fail=1; }
exit $fail
