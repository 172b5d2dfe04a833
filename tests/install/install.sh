#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# install.sh BUILD PREFIX: installs to another prefix and moves the result to PREFIX. Installed
# files must be relocatable: none may contain the prefix or the build folder.
set -euo pipefail
build=$1 prefix=$2
rm -rf "$prefix" "$prefix-before"
cmake --install "$build" --prefix "$prefix-before" >/dev/null
# Text files and run paths only: debug information of binaries may name the build folder.
found=$(grep -rlIF -e "$prefix-before" -e "$build" "$prefix-before" || true)
[ -z "$found" ] || { echo "files with an absolute path of the build or the prefix: $found"; exit 1; }
while read -r file; do
  path=$(readelf -d "$file" | sed -nE 's/.*(RUNPATH|RPATH).*\[(.*)\]/\2/p')
  case ":$path" in *:/*) echo "$file has an absolute run path: $path"; exit 1 ;; esac
done < <(find "$prefix-before" -type f \( -name '*.so.*' -o -path '*/bin/*' \))
mv "$prefix-before" "$prefix"
