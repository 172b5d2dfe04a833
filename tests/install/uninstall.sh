#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# uninstall.sh BUILD FOLDER: the target uninstall removes the installed files and no others.
set -euo pipefail
build=$1 folder=$2
rm -rf "$folder"
mkdir -p "$folder/prefix/include"
echo "not ours" >"$folder/prefix/include/other.h"
before=$(cd "$folder" && find . | sort)

cmake --install "$build" --prefix "$folder/prefix" >/dev/null
[ -x "$folder/prefix/bin/qor" ]
cmake --build "$build" --target uninstall >/dev/null
after=$(cd "$folder" && find . | sort)
[ "$after" = "$before" ] || { diff <(echo "$before") <(echo "$after"); exit 1; }

# Single components, with DESTDIR.
DESTDIR=$folder/stage cmake --install "$build" --prefix /opt/qor --component runtime >/dev/null
DESTDIR=$folder/stage cmake --install "$build" --prefix /opt/qor --component dev >/dev/null
[ -e "$folder/stage/opt/qor/include/qor_handler_manager.h" ]
[ ! -e "$folder/stage/opt/qor/bin" ]
DESTDIR=$folder/stage cmake --build "$build" --target uninstall >/dev/null
left=$(find "$folder/stage" ! -type d)
[ -z "$left" ] || { echo "files left: $left"; exit 1; }

# A second uninstall fails.
if message=$(cmake --build "$build" --target uninstall 2>&1); then
  echo "the second uninstall succeeded: $message"
  exit 1
fi
grep -q "nothing was installed from" <<<"$message"
