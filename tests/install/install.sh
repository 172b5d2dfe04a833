#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# install.sh BUILD PREFIX: installs, and moves all of it to PREFIX afterwards, as who unpacks an
# archive does: nothing installed may know where it stood.
set -euo pipefail
build=$1 prefix=$2
rm -rf "$prefix" "$prefix-before"
cmake --install "$build" --prefix "$prefix-before" >/dev/null
# The generated texts and the files' run paths; debug information names folders of the build.
found=$(grep -rlIF -e "$prefix-before" -e "$build" "$prefix-before" || true)
[ -z "$found" ] || { echo "files that know where they were built or installed: $found"; exit 1; }
while read -r file; do
  path=$(readelf -d "$file" | sed -nE 's/.*(RUNPATH|RPATH).*\[(.*)\]/\2/p')
  case ":$path" in *:/*) echo "$file looks for libraries in $path"; exit 1 ;; esac
done < <(find "$prefix-before" -type f \( -name '*.so.*' -o -path '*/bin/*' \))
mv "$prefix-before" "$prefix"
