#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# same-bytes.sh SOURCES BUILD FOLDER BUILD_TYPE: the same sources, built and packaged once more in
# FOLDER, later and without a compiler cache, give the packages in BUILD/debian byte by byte.
set -euo pipefail
sources=$1 build=$2 folder=$3 build_type=$4
packages=$build/debian
rm -rf "$folder"
copy=$folder/a-place-whose-name-is-of-another-length
mkdir -p "$copy/sources"
(cd "$sources" && tar -c --exclude=./build --exclude=./.git .) | tar -xm -C "$copy/sources"
# The copy has no history to take the sources' date from.
SOURCE_DATE_EPOCH=$(sed -nE 's/.*SOURCE_DATE_EPOCH\} ([0-9]+)\).*/\1/p' "$build/cpack-settings.cmake")
export SOURCE_DATE_EPOCH CCACHE_DISABLE=1
run() { "$@" >"$folder/build.log" 2>&1 || { cat "$folder/build.log"; exit 1; }; }
run cmake -G Ninja -S "$copy/sources" -B "$copy/made" -DCMAKE_BUILD_TYPE="$build_type" \
  -DQOR_BUILD_TESTS=OFF
run cmake --build "$copy/made"
unset SOURCE_DATE_EPOCH
run cpack --config "$copy/made/CPackConfig.cmake"
one=$(cd "$packages" && sha256sum ./*.deb)
other=$(cd "$copy/made/debian" && sha256sum ./*.deb)
if [ "$one" != "$other" ]; then
  diff <(echo "$one") <(echo "$other") || true
  for package in "$packages"/*.deb; do
    name=$(basename "$package")
    mkdir -p "$folder/one/$name" "$folder/other/$name"
    dpkg-deb -R "$package" "$folder/one/$name"
    dpkg-deb -R "$copy/made/debian/$name" "$folder/other/$name"
  done
  diff -rq "$folder/one" "$folder/other" || true
  exit 1
fi
