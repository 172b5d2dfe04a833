#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# run.sh ARCHITECTURE BUILD SYSROOT [--unit]: builds for another Debian architecture and runs the
# tests: natively if the kernel supports the architecture, else under user-mode emulation and
# without the tests that start processes of that architecture. --unit selects the unit tests and the
# model.
set -euo pipefail
architecture=$1 build=$2 unit=${4:-}
sources=$(cd "$(dirname "$0")/../.." && pwd)
# Absolute, because it becomes the run path of programs.
mkdir -p "$(dirname "$3")"
sysroot=$(cd "$(dirname "$3")" && pwd)/$(basename "$3")
if command -v ccache >/dev/null; then
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi

# The sysroot is of the same Debian release as the cross compiler, for matching libraries.
# shellcheck disable=SC1091
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
packages=libc6-dev,libstdc++-12-dev,libefl-all-dev,rapidjson-dev,libyaml-cpp-dev,libsqlite3-dev
packages+=,libsodium-dev,libpugixml-dev,libarchive-dev,libcli11-dev,libgtest-dev,libgmock-dev
packages+=,libglib2.0-dev,libuv1-dev,qt6-base-dev
if [ "$(cat "$sysroot/packages" 2>/dev/null)" != "$release $packages" ]; then
  echo "==> sysroot $sysroot"
  rm -rf "$sysroot"
  # Uses this machine's mirror. Packages are extracted but not configured, which needs no emulation.
  mirror=$(apt-get indextargets --format '$(REPO_URI) $(RELEASE)' |
    awk -v release="$release" '$2 == release && !found++ { print $1 }')
  [ -n "$mirror" ] || { echo "no mirror for $release in the configuration of apt" >&2; exit 1; }
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
# The model takes seconds in an optimized build, but minutes in a debug build under emulation.
build_type=Debug
if [ -n "$emulator" ]; then build_type=RelWithDebInfo; fi

echo "==> building $build for $architecture${emulator:+ (tests run under $emulator)}"
cmake -G Ninja -S "$sources" -B "$build" -DCMAKE_BUILD_TYPE=$build_type -DQOR_WERROR=ON \
  -DCMAKE_TOOLCHAIN_FILE="$sources/cmake/debian-cross.cmake" \
  -DQOR_CROSS_ARCHITECTURE="$architecture" -DQOR_CROSS_SYSROOT="$sysroot" \
  -DQOR_CROSS_EMULATOR="${emulator:+$emulator;-L;$sysroot}" >"$build.log" 2>&1 ||
  { cat "$build.log"; exit 1; }

targets=all select=() excluded_tests=()
if [ -n "$unit" ]; then
  targets="qor_unit_tests qor_model"
  select=(-L '^(unit|model)$' -E NOT_BUILT)
elif [ -n "$emulator" ]; then
  # The kernel cannot execute programs of this architecture, so tests that start processes are left
  # out: those of installed handlers, of the tool and of peers, and death tests, which re-execute
  # themselves. So are tests that trace a process or read its executable, which is the emulator.
  excluded_tests=(
    DeathTest
    '^unit\.Bootstrap\.ShutsDownAfterFailedFirstStart'
    '^unit\.Bootstrap\.AllowsProcessExitWithoutShutdown'
    '^handler\.HandlerProcess\.'
    '^platform\.AppManagerTest\.ReportsRunningApplication'
    '^platform\.InstallTest\.IsVisibleAcrossProcesses'
    '^platform\.InstallTest\.SerializesTwoProcesses'
    '^platform\.Ownership.*\..*DeadProcess'
    '^platform\.Ownership.*\..*AnotherProcess'
    '^platform\.Admission(Test)?\.'
    '^platform\.AppCommonTest\.'
    '^platform\.PackageEventTest\.'
    '^platform\.ProcessIdentityTest\.'
    '^platform\.InterruptedInstallTest\.'
    '^platform\.LaunchTest\.'
    '^platform\.RequestDeliveryTest\.'
    '^platform\.OutdatedLaunchTest\.'
    '^platform\.Proxy(Test)?\.'
    '^platform\.ProxySync(Test)?\.'
    '^platform\.ProxyWithPeer(Test)?\.'
    '^platform\.LostRequestTest\.'
    '^platform\.Stub(Test)?\.'
  )
  targets="qor-common/all src/all handler/all handler/tests/all platform/all platform/conformance/all
    platform/linux/tests/all tests/unit/all tests/fake-platform/all tests/model/all
    tests/fault-injection/all tests/fuzz/all"
  select=(-L '^(unit|model|fault-injection|conformance|handler|platform|fuzz)'
    -E "NOT_BUILT|$(IFS='|'; echo "${excluded_tests[*]}")")
else
  # The excluded labels test this machine's packages, documents and tools.
  select=(-LE '^(install|documents|instructions)$')
fi
# shellcheck disable=SC2086
ninja -C "$build" $targets

# A pattern without a match is the name of a test that was renamed.
for pattern in "${excluded_tests[@]}"; do
  ! ctest --test-dir "$build" -N -R "$pattern" | grep -q 'Total Tests: 0' ||
    { echo "no test matches $pattern" >&2; exit 1; }
done

echo "==> running the tests"
ctest --test-dir "$build" -j "$(nproc)" --output-on-failure --no-tests=error "${select[@]}"
