#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# run.sh ARCHITECTURE BUILD SYSROOT [--unit]: builds for another Debian architecture and runs the
# tests there: natively where the kernel can, else under user-mode emulation, without those that
# start processes of that architecture. With --unit only the unit tests and the model.
set -euo pipefail
architecture=$1 build=$2 unit=${4:-}
sources=$(cd "$(dirname "$0")/../.." && pwd)
# Absolute, because programs are linked to look for their libraries there.
mkdir -p "$(dirname "$3")"
sysroot=$(cd "$(dirname "$3")" && pwd)/$(basename "$3")
if command -v ccache >/dev/null; then
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi

# Debian's release is the machine's, so that the cross compiler's libraries are those of the sysroot.
# shellcheck disable=SC1091
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
packages=libc6-dev,libstdc++-12-dev,libefl-all-dev,rapidjson-dev,libyaml-cpp-dev,libsqlite3-dev
packages+=,libsodium-dev,libpugixml-dev,libarchive-dev,libcli11-dev,libgtest-dev,libgmock-dev
if [ "$(cat "$sysroot/packages" 2>/dev/null)" != "$release $packages" ]; then
  echo "==> sysroot $sysroot"
  rm -rf "$sysroot"
  # From where this machine has its own packages. Extracting needs no emulation: nothing is configured.
  mirror=$(apt-get indextargets --format '$(REPO_URI) $(RELEASE)' |
    awk -v release="$release" '$2 == release && !found++ { print $1 }')
  [ -n "$mirror" ] || { echo "no source of Debian packages for $release in apt's configuration" >&2; exit 1; }
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
# Under emulation the model takes minutes for what it does in seconds when it is optimised.
build_type=Debug
if [ -n "$emulator" ]; then build_type=RelWithDebInfo; fi

echo "==> building $build for $architecture${emulator:+, to run under $emulator}"
cmake -G Ninja -S "$sources" -B "$build" -DCMAKE_BUILD_TYPE=$build_type -DQOR_WERROR=ON \
  -DCMAKE_TOOLCHAIN_FILE="$sources/cmake/debian-cross.cmake" \
  -DQOR_CROSS_ARCHITECTURE="$architecture" -DQOR_CROSS_SYSROOT="$sysroot" \
  -DQOR_CROSS_EMULATOR="${emulator:+$emulator;-L;$sysroot}" >"$build.log" 2>&1 ||
  { cat "$build.log"; exit 1; }

targets=all select=()
if [ -n "$unit" ]; then
  targets="qor_unit_tests qor_model"
  select=(-L '^(unit|model)$' -E NOT_BUILT)
elif [ -n "$emulator" ]; then
  # The kernel starts no program of this architecture, so tests that start processes cannot run:
  # those of installed handlers, of the tool and of peers, and death tests, which start themselves.
  # Nor can those that trace a process or look at its executable, which is the emulator.
  left_out='DeathTest|NOT_BUILT|^unit\.Bootstrap\.(ShutsDownAfterAFirst|AllowsTheProcess)'
  left_out+='|^handler\.HandlerProcess\.|^platform\.AppManager\.TellsWhetherAnApplicationRuns'
  left_out+='|^platform\.Installing\.(AnotherProcess|TwoProcesses)|^platform\.Ownership\.(ReplacesTheSocketOf|RefusesASecondOwnerInAnother)'
  left_out+='|^platform\.(Admission|AppCommon|Deliveries|Events|Identity|Interrupted|Launch'
  left_out+='|OutdatedLaunch|Proxy|ProxySync|ProxyWithPeer|RefusedDeliveries|Stub)\.'
  targets="qor-common/all src/all handler/all handler/tests/all platform/all platform/conformance/all
    platform/linux/tests/all tests/unit/all tests/fake-platform/all tests/model/all
    tests/fault-injection/all tests/fuzz/all"
  select=(-L '^(unit|model|fault-injection|conformance|handler|platform|fuzz)' -E "$left_out")
else
  # These are about this machine's packages, documents and tools.
  select=(-LE '^(install|documents|instructions)$')
fi
# shellcheck disable=SC2086
ninja -C "$build" $targets

echo "==> testing"
ctest --test-dir "$build" -j "$(nproc)" --output-on-failure --no-tests=error "${select[@]}"
