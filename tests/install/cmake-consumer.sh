#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# cmake-consumer.sh PREFIX SOURCES PACKAGE FOLDER: builds the example agents and a handler as a
# CMake project that finds the installed package qor-handler-manager, and runs them.
set -euo pipefail
prefix=$1 sources=$2 package=$3 folder=$4
. "$(dirname "$0")/run-consumers.sh"
rm -rf "$folder"
cmake -G Ninja -S "$(dirname "$0")/consumers" -B "$folder" -DCMAKE_PREFIX_PATH="$prefix" \
  -DEXAMPLES="$sources/examples" >/dev/null
cmake --build "$folder" >/dev/null
run_consumers "$prefix" "$sources/examples" "$package" "$folder"
