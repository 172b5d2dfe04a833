#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# device-build.sh PREFIX SOURCES FOLDER: the device's build, against the modules, headers and
# libraries that the Linux platform installs under a device's names. The same library comes out, with
# nothing of the Linux platform inside. It is installed to FOLDER/installed for who looks on.
set -euo pipefail
prefix=$1 sources=$2 folder=$3
rm -rf "$folder"
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name rpc-port.pc)")
export PKG_CONFIG_PATH
if command -v ccache >/dev/null; then
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi
mkdir -p "$folder"
run() { "$@" >"$folder.log" 2>&1 || { cat "$folder.log"; exit 1; }; }
cd "$sources"
run cmake --preset device -B "$folder" -DCMAKE_INSTALL_PREFIX=/usr
run cmake --build "$folder"
run env DESTDIR="$folder/installed" cmake --install "$folder"

library=$(find "$folder/installed" -name 'libcapi-qor-handler-manager.so.0')
"$sources/tests/end-to-end/library-symbols.sh" "$library" \
  "$sources/include/qor_handler_manager.h" ""
if grep -F "$sources/platform/" "$folder/compile_commands.json"; then
  echo "the device's build compiles or sees sources of the platform"
  exit 1
fi
if nm -C "$library" | grep -E ' [A-Za-z] platform::'; then
  echo "the device's library holds parts of the Linux platform"
  exit 1
fi
found=$(find "$folder/installed" -name '*qor-platform*' -o -path '*/bin/qor')
[ -z "$found" ] || { echo "no device has: $found"; exit 1; }
