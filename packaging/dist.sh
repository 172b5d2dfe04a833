#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# dist.sh FOLDER: writes the RPM spec file and its sources to FOLDER: the manifests and a
# reproducible tarball of the files tracked by git.
set -euo pipefail
folder=$(realpath -m "$1")
cd "$(dirname "$(readlink -f "$0")")/.."
name=capi-qor-handler-manager
version=$(sed -nE 's/^project\(.* VERSION ([0-9.]+) .*/\1/p' CMakeLists.txt)
date=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}
rm -rf "$folder"
mkdir -p "$folder"
git ls-files -z |
  tar -c --null --files-from=- --transform="s,^,$name-$version/,S" --format=ustar \
    --mtime="@$date" --owner=0 --group=0 --numeric-owner --mode=u=rwX,go=rX |
  gzip -9 -n >"$folder/$name-$version.tar.gz"
cp packaging/$name.spec packaging/*.manifest "$folder/"
