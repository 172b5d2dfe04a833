#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# new-project.sh PREFIX FOLDER: creates projects with the installed `qor new`, builds and tests them
# with the installed SDK, and sends commands to the installed packages.
set -euo pipefail
prefix=$1 folder=$2
. "$(dirname "$0")/run-consumers.sh"
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name qor-handler.pc)")
export PKG_CONFIG_PATH PATH=$prefix/bin:$PATH

# build_project NAME TYPE...: the project's own test passes.
build_project() {
  qor new "$@" >/dev/null
  cmake -S "$1" -B "$1/build" -DCMAKE_CXX_FLAGS="${CXXFLAGS:-} -Wall -Wextra -Werror" >/dev/null
  cmake --build "$1/build" >/dev/null
  ctest --test-dir "$1/build" --output-on-failure --no-tests=error
}

types=('a"quoted\type' "it's" 'x:#y' '#z' null '→ü' '%d?' '$(false)' '@package@' '@yaml-type@' '@end@')
build_project org.example.one volume.get
build_project several "${types[@]}"

QOR_PLATFORM_ROOT=$(mktemp -d)
export QOR_PLATFORM_ROOT
for package in org.example.one several; do
  qor package install "$package/build/package" >/dev/null
done
for type in volume.get "${types[@]}"; do
  expect_equal '{"done":true}' "$(qor send -- "$type")"
done
# Also stops the handlers.
for package in org.example.one several; do
  qor package uninstall "$package" >/dev/null
done
rm -rf "$QOR_PLATFORM_ROOT"
