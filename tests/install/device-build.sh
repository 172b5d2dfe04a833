#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# device-build.sh PREFIX SOURCES FOLDER VERSION: builds for a device and installs to
# FOLDER/installed. Headers and pkg-config modules are those that the Linux platform installed in
# PREFIX, in a device's layout; libraries are stubs with a device's exports. All are copied to
# FOLDER/sysroot. Checks that each target links the modules whose headers it includes and that the
# result contains nothing of the Linux platform.
set -euo pipefail
prefix=$1 sources=$2 folder=$3 version=$4
tests=$sources/tests/install
rm -rf "$folder"
mkdir -p "$folder/sysroot"
"$tests/platform-modules.py" "$prefix" "$tests/device-modules.txt" \
  "$sources/packaging/platform-functions.txt"
run() { "$@" >"$folder/build.log" 2>&1 || { cat "$folder/build.log"; exit 1; }; }

pkgconfig=$(dirname "$(find "$prefix" -name rpc-port.pc)")
pkgconfig=${pkgconfig#"$prefix"/}
(cd "$prefix" && tar -c include/qor-platform "$pkgconfig"/*.pc) | tar -x -C "$folder/sysroot"
"$tests/stub-libraries.sh" "$sources/packaging/platform-functions.txt" "$folder/sysroot/$pkgconfig"
export PKG_CONFIG_PATH=$folder/sysroot/$pkgconfig
# A device's libraries are in the linker's default folder.
sed -i 's/ -Wl,-rpath,[^ ]*//' "$PKG_CONFIG_PATH"/*.pc

# Same path, flags and locale as rpmbuild in rpm-spec.sh, which then takes all objects from the
# compiler cache.
export LANG=C
copy=$folder/rpmbuild/BUILD/capi-qor-handler-manager-$version
build=$copy/build
flags=$(rpm --eval '%optflags')
mkdir -p "$copy"
(cd "$sources" && tar -c --exclude=./build --exclude=./.git .) | tar -x -C "$copy"
if command -v ccache >/dev/null; then
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi
cd "$copy"
run cmake --preset device -B "$build" -DQOR_WERROR=OFF -DCMAKE_C_FLAGS="$flags" \
  -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_LIBDIR=lib64
run cmake --build "$build"
run env DESTDIR="$folder/installed" cmake --install "$build"

library=$folder/installed/usr/lib64/libcapi-qor-handler-manager.so.0
sdk=$folder/installed/usr/lib64/libqor-handler.so.0
agent=$folder/installed/usr/lib64/libqor-agent.so.0
if grep -F "$copy/platform/" "$build/compile_commands.json"; then
  echo "the device build compiles or includes files of the Linux platform"
  exit 1
fi
for file in "$library" "$sdk" "$agent"; do
  "$sources/tests/end-to-end/library-symbols.sh" "$file" "$sources"
  if nm -C "$file" | grep -E ' [A-Za-z] platform::'; then
    echo "$file contains symbols of the Linux platform"
    exit 1
  fi
  if readelf -d "$file" | grep -E 'RPATH|RUNPATH'; then
    echo "$file has a run path"
    exit 1
  fi
done
found=$(find "$folder/installed" -name '*qor-platform*' -o -path '*/bin/qor')
[ -z "$found" ] || { echo "installed, but not for devices: $found"; exit 1; }

cp "$build/CMakeCache.txt" "$folder/"
run cmake --graphviz="$folder/targets.dot" -B "$build"
"$tests/module-owners.py" "$folder/targets.dot" "$build/compile_commands.json" \
  "$tests/device-modules.txt"
