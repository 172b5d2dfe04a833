#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# stub-libraries.sh TABLE FOLDER: writes shared libraries with a device's names and sonames to
# FOLDER, which export the functions of TABLE (packaging/platform-functions.txt). For linking only.
set -euo pipefail
table=$1 folder=$2
mkdir -p "$folder"
for soname in $(awk '!/^#/ { print $3 }' "$table" | sort -u); do
  library=$folder/$soname
  awk -v soname="$soname" '!/^#/ && $3 == soname { print "void " $1 "(void) {}" }' "$table" |
    $CC -x c -shared -fPIC -nostdlib -Wl,-soname,"$soname" -o "$library" -
  ln -sf "$soname" "${library%.so.*}.so"
done
