#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# differences.sh ABI HEADERS BASELINE LIBRARY ONE_LESS ONE_MORE: tests that the script ABI reports
# incompatible changes and accepts compatible ones.
set -euo pipefail
abi=$1 headers=$2 baseline=$3 library=$4 one_less=$5 one_more=$6
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

expect_incompatible() {
  local message status=0
  message=$("$abi" compare "$1" "$headers" "$2" 2>&1) || status=$?
  [ $status = 1 ] || { echo "$3: not reported: $message"; exit 1; }
  grep -qF -e "$4" <<<"$message" || { echo "$3: expected $4 in the report: $message"; exit 1; }
}

expect_incompatible "$one_less" "$baseline" "a removed function" qor_handler_manager_shutdown
"$abi" compare "$one_more" "$headers" "$baseline"

# Edits the baseline instead of building further variants of the library.
edit() { sed "$1" "$baseline" >"$folder/edited.abi"; ! cmp -s "$baseline" "$folder/edited.abi"; }
edit "/QOR_HANDLER_UPDATE_UPDATED/ s/'2'/'3'/"
expect_incompatible "$library" "$folder/edited.abi" "a changed value" QOR_HANDLER_UPDATE_UPDATED
int=$(sed -nE "s/.*<type-decl name='int' .*id='([0-9a-f]+)'.*/\1/p" "$baseline")
double=$(sed -nE "s/.*<type-decl name='double' .*id='([0-9a-f]+)'.*/\1/p" "$baseline")
edit "/<function-decl name='qor_handler_manager_configuration_set_connection_timeout'/,/<\/function-decl>/ \
  s/<parameter type-id='$int'/<parameter type-id='$double'/"
expect_incompatible "$library" "$folder/edited.abi" "a parameter's changed type" \
  qor_handler_manager_configuration_set_connection_timeout
expect_incompatible "$library" "$folder/none.abi" "a missing baseline" "./run abi --update"

# The stored baseline is up to date.
"$abi" update "$library" "$headers" "$folder/now.abi"
diff "$baseline" "$folder/now.abi"
