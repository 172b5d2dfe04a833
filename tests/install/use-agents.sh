# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

# use_agents PREFIX EXAMPLES PACKAGE FOLDER: installs the package with the installed tool and lets
# FOLDER/agent and FOLDER/send, two of the examples, send it commands. The same for FOLDER/greet-handler,
# where it was built.
use_agents() {
  local prefix=$1 examples=$2 package=$3 folder=$4
  export QOR_PLATFORM_ROOT
  QOR_PLATFORM_ROOT=$(mktemp -d)
  "$prefix/bin/qor" package install "$package" >/dev/null
  "$prefix/bin/qor" handlers | grep -q text.upper
  same 'command-1: {"text":"MOVED","by":"org.example.text.handler"}' \
    "$("$folder/agent" text.upper '"moved"')"
  same 'command-1: 0 {"text":"HELLO","by":"org.example.text.handler"}' "$("$folder/send")"
  # A sanitizer's run-time wants to be loaded first, where a recorder is.
  ASAN_OPTIONS=verify_asan_link_order=0 "$prefix/bin/qor" record --format json \
    -o "$QOR_PLATFORM_ROOT/record" -- "$folder/agent" text.upper '"recorded"' >/dev/null
  grep -q '"event":"answered"' "$QOR_PLATFORM_ROOT/record"
  "$prefix/bin/qor" package uninstall org.example.text >/dev/null
  if [ -e "$folder/greet-handler" ]; then
    cp -r "$examples/packages/greet" "$folder/greet"
    install -D "$folder/greet-handler" "$folder/greet/bin/greet-handler"
    "$prefix/bin/qor" package install "$folder/greet" >/dev/null
    same 'command-1: {"text":"hello"}' "$("$folder/agent" greet)"
    # Which ends the handler, too.
    "$prefix/bin/qor" package uninstall org.example.greet >/dev/null
  fi
  rm -rf "$QOR_PLATFORM_ROOT"
}

same() {
  [ "$1" = "$2" ] || { printf 'expected: %s\nbut:      %s\n' "$1" "$2"; exit 1; }
}
