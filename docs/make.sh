#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# make.sh FOLDER: builds HTML pages of the API reference and the documents in FOLDER. Fails if a
# public declaration is undocumented or a reference is broken.
set -euo pipefail
mkdir -p "$1"
folder=$(cd "$1" && pwd)
cd "$(dirname "$(readlink -f "$0")")/.."
version=$(sed -nE 's/^project\(.* VERSION ([0-9.]+) .*/\1/p' CMakeLists.txt)
{
  cat docs/Doxyfile
  printf 'OUTPUT_DIRECTORY = "%s"\nPROJECT_NUMBER = %s\n' "$folder" "$version"
} | doxygen -
dot -Tsvg docs/architecture.dot -o "$folder/architecture.svg"
