#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# make.sh FOLDER: the API reference, the documents and their drawing as pages in FOLDER. Ends with
# an error when anything public is undocumented or a reference leads nowhere.
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
