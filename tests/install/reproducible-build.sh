#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# reproducible-build.sh SOURCES BUILD FOLDER BUILD_TYPE: builds and packages the sources again in
# FOLDER, at a later time and without a compiler cache, and compares the packages with those in
# BUILD/debian byte by byte.
set -euo pipefail
sources=$1 build=$2 folder=$3 build_type=$4
packages=$build/debian
rm -rf "$folder"
copy=$folder/a-path-of-another-length
mkdir -p "$copy/sources"
(cd "$sources" && tar -c --exclude=./build --exclude=./.git .) | tar -xm -C "$copy/sources"
# The copy has no git history to take the date from.
SOURCE_DATE_EPOCH=$(sed -nE 's/.*SOURCE_DATE_EPOCH\} ([0-9]+)\).*/\1/p' "$build/cpack-settings.cmake")
export SOURCE_DATE_EPOCH CCACHE_DISABLE=1
run() { "$@" >"$folder/build.log" 2>&1 || { cat "$folder/build.log"; exit 1; }; }
run cmake -G Ninja -S "$copy/sources" -B "$copy/build" -DCMAKE_BUILD_TYPE="$build_type" \
  -DQOR_BUILD_TESTS=OFF
# At low priority, since other tests run at the same time. The examples are not packaged.
run nice -n 10 cmake --build "$copy/build" -j "$(nproc)" --target sbom qor-share
unset SOURCE_DATE_EPOCH
run cpack --config "$copy/build/CPackConfig.cmake"
expected=$(cd "$packages" && sha256sum ./*.deb)
actual=$(cd "$copy/build/debian" && sha256sum ./*.deb)
if [ "$actual" != "$expected" ]; then
  diff <(echo "$expected") <(echo "$actual") || true
  for package in "$packages"/*.deb; do
    name=$(basename "$package")
    mkdir -p "$folder/expected/$name" "$folder/actual/$name"
    dpkg-deb -R "$package" "$folder/expected/$name"
    dpkg-deb -R "$copy/build/debian/$name" "$folder/actual/$name"
  done
  diff -rq "$folder/expected" "$folder/actual" || true
  exit 1
fi
