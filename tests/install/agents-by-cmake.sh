#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# agents-by-cmake.sh PREFIX SOURCES PACKAGE FOLDER: the example agents and a handler, built as a CMake project that
# finds the package qor-handler-manager where it is installed, work.
set -euo pipefail
prefix=$1 sources=$2 package=$3 folder=$4
. "$(dirname "$0")/use-agents.sh"
rm -rf "$folder"
cmake -G Ninja -S "$(dirname "$0")/agents" -B "$folder" -DCMAKE_PREFIX_PATH="$prefix" \
  -DEXAMPLES="$sources/examples" >/dev/null
cmake --build "$folder" >/dev/null
use_agents "$prefix" "$sources/examples" "$package" "$folder"
