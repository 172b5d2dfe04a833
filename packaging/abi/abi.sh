#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# abi.sh update LIBRARY HEADERS BASELINE: writes to BASELINE what users of the folder HEADERS can see
# of LIBRARY, which was built with debug information.
# abi.sh compare LIBRARY HEADERS BASELINE: fails when LIBRARY is no longer what programs that were
# built for BASELINE rely on. More than they rely on is welcome.
set -euo pipefail
[ $# = 4 ] || { sed -n 's/^# //; 5,9p' "$0" >&2; exit 2; }
word=$1 library=$2 headers=$3 baseline=$4

# Types that the headers only name are opaque: their layout is nobody's business. Nothing of the
# machine or of the build goes in.
describe() {
  abidw --exported-interfaces-only --headers-dir "$headers" --drop-private-types --no-corpus-path \
    --no-comp-dir-path --no-show-locs --no-elf-needed --no-parameter-names --type-id-style hash \
    "$library"
}

case $word in
  update)
    mkdir -p "$(dirname "$baseline")"
    describe >"$baseline"
    ;;
  compare)
    [ -e "$baseline" ] ||
      { echo "abi: there is no baseline $baseline: ./run abi --update writes it" >&2; exit 1; }
    now=$(mktemp)
    trap 'rm -f "$now"' EXIT
    describe >"$now"
    if ! differences=$(abidiff --no-added-syms "$baseline" "$now"); then
      echo "$differences"
      echo "abi: $(basename "$library") breaks programs that were built for it." \
        "Keep what they use, or raise the soname and run ./run abi --update."
      exit 1
    fi
    ;;
  *) echo "abi: no such word: $word" >&2; exit 2 ;;
esac
