#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# debian-packages.sh BUILD FOLDER VERSION: cpack makes three packages into BUILD/debian, which hold
# what they should, name what they need, work, and leave nothing when purged. Works in FOLDER.
set -euo pipefail
build=$1 folder=$2 version=$3
rm -rf "$folder" "$build/debian"
mkdir -p "$folder"
cpack --config "$build/CPackConfig.cmake" >"$folder/cpack.log" 2>&1 ||
  { cat "$folder/cpack.log"; exit 1; }
architecture=$(dpkg --print-architecture)
package() { echo "$build/debian/$1_${version}_$architecture.deb"; }
fail() { printf '%s\n' "$@"; exit 1; }

# holds PACKAGE PATTERN...: each pattern is some path of the package.
holds() {
  local paths pattern package=$1
  shift
  paths=$(dpkg-deb -c "$(package "$package")" | awk '{ print substr($6, 2) }')
  for pattern in "$@"; do
    grep -qE "^/usr/$pattern\$" <<<"$paths" || fail "$package holds no $pattern:" "$paths"
  done
}
holds qor-handler-manager 'lib/.*libcapi-qor-handler-manager\.so\.0' \
  'lib/.*qor-platform/librpc-port\.so\.1' share/doc/qor-handler-manager/copyright \
  share/doc/qor-handler-manager/sbom.spdx.json
holds qor-handler-manager-dev 'lib/.*libcapi-qor-handler-manager\.so' include/qor_handler_manager.h \
  'lib/.*pkgconfig/capi-qor-handler-manager\.pc' 'lib/.*/qor-handler-manager-config\.cmake' \
  include/qor-platform/bundle.h include/qor-platform/rpc-port/rpc-port.h
holds qor-handler-manager-tools bin/qor

# needs PACKAGE PATTERN...
needs() {
  local named pattern package=$1
  shift
  named=$(dpkg-deb -f "$(package "$package")" Depends)
  for pattern in "$@"; do
    grep -qF -e "$pattern" <<<"$named" || fail "$package does not need $pattern: $named"
  done
}
needs qor-handler-manager 'libc6 (>=' 'libstdc++6 (>=' 'libecore1 (>=' 'libyaml-cpp0' 'libsqlite3-0' \
  'libpugixml' 'libarchive13' 'libsodium23'
needs qor-handler-manager-dev "qor-handler-manager (= $version)"
needs qor-handler-manager-tools "qor-handler-manager (= $version)" 'libstdc++6 (>='

# Unpacked by hand, the tool runs from there, and the bill of materials names all that dpkg found to be
# needed, each with a licence.
for name in qor-handler-manager qor-handler-manager-tools; do
  dpkg-deb -x "$(package $name)" "$folder/unpacked"
done
QOR_PLATFORM_ROOT=$folder/root "$folder/unpacked/usr/bin/qor" package list >/dev/null
for name in qor-handler-manager qor-handler-manager-tools; do
  dpkg-deb -f "$(package $name)" Depends | tr ',' '\n' | awk '{ print $1 }'
done | sort -u | python3 -c '
import json, sys
parts = {part["name"]: part for part in json.load(open(sys.argv[1]))["packages"]}
for name in sys.stdin.read().split():
    assert parts[name]["versionInfo"] and parts[name]["licenseConcluded"], name
' "$folder/unpacked/usr/share/doc/qor-handler-manager/sbom.spdx.json"

# Installed beside this machine's other packages, but below a folder, so that the machine stays as it
# is, and purged again. Only root may.
if [ "$(id -u)" = 0 ]; then
  below=$folder/machine
  mkdir -p "$below/var/lib/dpkg/info" "$below/var/lib/dpkg/updates" "$below/var/lib/dpkg/triggers"
  cp /var/lib/dpkg/status "$below/var/lib/dpkg/"
  list() { find "$below" -path "$below/var" -prune -o -print | sort; }
  before=$(list)
  names=(qor-handler-manager qor-handler-manager-dev qor-handler-manager-tools)
  files=()
  for name in "${names[@]}"; do files+=("$(package "$name")"); done
  dpkg --root="$below" --force-script-chrootless --log=/dev/null -i "${files[@]}" \
    >"$folder/dpkg.log" 2>&1 || fail "$(cat "$folder/dpkg.log")"
  QOR_PLATFORM_ROOT=$folder/root "$below/usr/bin/qor" package list >/dev/null
  dpkg --root="$below" --force-script-chrootless --log=/dev/null --purge "${names[@]}" \
    >>"$folder/dpkg.log" 2>&1 || fail "$(cat "$folder/dpkg.log")"
  [ "$(list)" = "$before" ] || fail "left after the purge:" "$(diff <(echo "$before") <(list))"
fi
