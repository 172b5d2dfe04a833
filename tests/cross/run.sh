#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# run.sh ARCHITECTURE BUILD SYSROOT [--unit]: builds for another Debian architecture and runs the
# tests there: natively where the kernel can, else under user-mode emulation, without those that
# start processes of that architecture. With --unit only the unit tests and the model.
set -euo pipefail
architecture=$1 build=$2 sysroot=$3 unit=${4:-}
sources=$(cd "$(dirname "$0")/../.." && pwd)
jobs=$(nproc)

# Debian's release is the machine's, so that the cross compiler's libraries are those of the sysroot.
# shellcheck disable=SC1091
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
packages=libc6-dev,libstdc++-12-dev,libefl-all-dev,rapidjson-dev,libyaml-cpp-dev,libsqlite3-dev
packages+=,libpugixml-dev,libarchive-dev,libcli11-dev,libgtest-dev,libgmock-dev
if [ "$(cat "$sysroot/packages" 2>/dev/null)" != "$release $packages" ]; then
  echo "==> sysroot $sysroot"
  rm -rf "$sysroot"
  # From where this machine has its own packages. Extracting needs no emulation: nothing is configured.
  mirror=$(apt-get indextargets --format '$(REPO_URI) $(RELEASE)' |
    awk -v release="$release" '$2 == release { print $1; exit }')
  mmdebstrap --variant=extract --architectures="$architecture" --include="$packages" \
    "$release" "$sysroot" "deb $mirror $release main" >"$sysroot.log" 2>&1 ||
    { cat "$sysroot.log"; exit 1; }
  echo "$release $packages" >"$sysroot/packages"
fi

case $architecture in
  i386) emulator=qemu-i386-static ;;
  armhf) emulator=qemu-arm-static ;;
  arm64) emulator=qemu-aarch64-static ;;
esac
loader=$(find "$sysroot/lib/" -maxdepth 1 -name 'ld-linux*.so.*')
if "$loader" --version >/dev/null 2>&1; then emulator=; fi

echo "==> building $build for $architecture${emulator:+, to run under $emulator}"
cmake -G Ninja -S "$sources" -B "$build" -DCMAKE_BUILD_TYPE=Debug -DQOR_WERROR=ON \
  -DCMAKE_TOOLCHAIN_FILE="$sources/cmake/debian-cross.cmake" \
  -DQOR_CROSS_ARCHITECTURE="$architecture" -DQOR_CROSS_SYSROOT="$sysroot" \
  -DQOR_CROSS_EMULATOR="${emulator:+$emulator;-L;$sysroot}" >"$build.log" 2>&1 ||
  { cat "$build.log"; exit 1; }

if [ -n "$unit" ]; then
  ninja -C "$build" qor_unit_tests qor_model
  echo "==> testing"
  exec ctest --test-dir "$build" -j "$jobs" --output-on-failure --no-tests=error -L '^(unit|model)$' \
    -E NOT_BUILT
fi
ninja -C "$build"

echo "==> testing"
