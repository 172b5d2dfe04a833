#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# abi.sh update LIBRARY HEADERS BASELINE: writes the ABI of LIBRARY to BASELINE: exported functions
# with the types that the headers in HEADERS declare. LIBRARY must have debug information.
# abi.sh compare LIBRARY HEADERS BASELINE: fails if LIBRARY is not backward compatible with BASELINE.
# Additions are compatible.
set -euo pipefail
[ $# = 4 ] || { sed -n 's/^# //; 5,8p' "$0" >&2; exit 2; }
action=$1 library=$2 headers=$3 baseline=$4

# Types that the headers declare but do not define are opaque and excluded. So are paths, so that the
# output does not depend on the machine.
describe() {
  abidw --exported-interfaces-only --headers-dir "$headers" --drop-private-types --no-corpus-path \
    --no-comp-dir-path --no-show-locs --no-elf-needed --no-parameter-names --type-id-style hash \
    "$library"
}

case $action in
  update)
    mkdir -p "$(dirname "$baseline")"
    describe >"$baseline"
    ;;
  compare)
    [ -e "$baseline" ] ||
      { echo "abi: no baseline $baseline (./run abi --update writes it)" >&2; exit 1; }
    now=$(mktemp)
    trap 'rm -f "$now"' EXIT
    describe >"$now"
    if ! differences=$(abidiff --no-added-syms "$baseline" "$now"); then
      echo "$differences"
      echo "abi: $(basename "$library") is not compatible with programs built for the baseline" \
        "(restore the interface, or change the soname and run ./run abi --update)"
      exit 1
    fi
    ;;
  *) echo "abi: unknown action: $action" >&2; exit 2 ;;
esac
