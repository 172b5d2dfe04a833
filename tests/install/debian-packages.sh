#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# debian-packages.sh BUILD FOLDER VERSION: writes the Debian packages to BUILD/debian with cpack and
# checks their files, dependencies and bill of materials, that the tool runs, and that a purge
# removes every file. Uses FOLDER as working folder.
set -euo pipefail
build=$1 folder=$2 version=$3
rm -rf "$folder" "$build/debian"
mkdir -p "$folder"
cpack --config "$build/CPackConfig.cmake" >"$folder/cpack.log" 2>&1 ||
  { cat "$folder/cpack.log"; exit 1; }
architecture=$(dpkg --print-architecture)
package() { echo "$build/debian/$1_${version}_$architecture.deb"; }
fail() { printf '%s\n' "$@"; exit 1; }

# expect_files PACKAGE PATTERN...: each pattern matches a path in the package.
expect_files() {
  local paths pattern package=$1
  shift
  paths=$(dpkg-deb -c "$(package "$package")" | awk '{ print substr($6, 2) }')
  for pattern in "$@"; do
    grep -qE "^/usr/$pattern\$" <<<"$paths" || fail "$package: no file matches $pattern:" "$paths"
  done
}
expect_files qor-handler-manager 'lib/.*libcapi-qor-handler-manager\.so\.0' \
  'lib/.*qor-platform/librpc-port\.so\.1' 'lib/.*qor-platform/qor-log-writer' share/doc/qor-handler-manager/copyright \
  share/doc/qor-handler-manager/sbom.spdx.json
expect_files qor-handler-manager-dev 'lib/.*libcapi-qor-handler-manager\.so' include/qor_handler_manager.h \
  'lib/.*pkgconfig/capi-qor-handler-manager\.pc' 'lib/.*/qor-handler-manager-config\.cmake' \
  include/qor-platform/bundle.h include/qor-platform/rpc-port/rpc-port.h
expect_files qor-handler-manager-tools bin/qor

# expect_depends PACKAGE TEXT...: the package's dependencies contain each text.
expect_depends() {
  local depends pattern package=$1
  shift
  depends=$(dpkg-deb -f "$(package "$package")" Depends)
  for pattern in "$@"; do
    grep -qF -e "$pattern" <<<"$depends" || fail "$package does not depend on $pattern: $depends"
  done
}
expect_depends qor-handler-manager 'libc6 (>=' 'libstdc++6 (>=' 'libecore1 (>=' 'libyaml-cpp0' 'libsqlite3-0' \
  'libpugixml' 'libarchive13' 'libsodium23'
expect_depends qor-handler-manager-dev "qor-handler-manager (= $version)"
expect_depends qor-handler-manager-tools "qor-handler-manager (= $version)" 'libstdc++6 (>='

# The tool runs from an unpacked archive. The bill of materials lists every dependency that dpkg
# found, with version and licence.
for name in qor-handler-manager qor-handler-manager-tools; do
  dpkg-deb -x "$(package $name)" "$folder/unpacked"
done
QOR_PLATFORM_ROOT=$folder/root "$folder/unpacked/usr/bin/qor" package list >/dev/null
for name in qor-handler-manager qor-handler-manager-tools; do
  dpkg-deb -f "$(package $name)" Depends | tr ',' '\n' | awk '{ print $1 }'
done | sort -u | python3 -c '
import json, sys
packages = {package["name"]: package for package in json.load(open(sys.argv[1]))["packages"]}
for name in sys.stdin.read().split():
    assert packages[name]["versionInfo"] and packages[name]["licenseConcluded"], name
' "$folder/unpacked/usr/share/doc/qor-handler-manager/sbom.spdx.json"

# Install and purge below a folder with a copy of this machine's dpkg database, so that the machine
# itself is unchanged. dpkg requires root.
if [ "$(id -u)" = 0 ]; then
  root=$folder/machine
  mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates" "$root/var/lib/dpkg/triggers"
  cp /var/lib/dpkg/status "$root/var/lib/dpkg/"
  list() { find "$root" -path "$root/var" -prune -o -print | sort; }
  before=$(list)
  names=(qor-handler-manager qor-handler-manager-dev qor-handler-manager-tools)
  files=()
  for name in "${names[@]}"; do files+=("$(package "$name")"); done
  dpkg --root="$root" --force-script-chrootless --log=/dev/null -i "${files[@]}" \
    >"$folder/dpkg.log" 2>&1 || fail "$(cat "$folder/dpkg.log")"
  QOR_PLATFORM_ROOT=$folder/root "$root/usr/bin/qor" package list >/dev/null
  dpkg --root="$root" --force-script-chrootless --log=/dev/null --purge "${names[@]}" \
    >>"$folder/dpkg.log" 2>&1 || fail "$(cat "$folder/dpkg.log")"
  [ "$(list)" = "$before" ] || fail "files left after the purge:" "$(diff <(echo "$before") <(list))"
fi
