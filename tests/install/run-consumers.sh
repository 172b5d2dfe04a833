# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

# run_consumers PREFIX EXAMPLES PACKAGE FOLDER: installs PACKAGE with the installed tool and sends
# it commands with FOLDER/agent and FOLDER/durable, two of the examples. If FOLDER/greet-handler
# exists, it is packaged, installed and called as well.
run_consumers() {
  local prefix=$1 examples=$2 package=$3 folder=$4
  export QOR_PLATFORM_ROOT
  QOR_PLATFORM_ROOT=$(mktemp -d)
  "$prefix/bin/qor" package install "$package" >/dev/null
  "$prefix/bin/qor" handlers | grep -q text.upper
  expect_equal 'text.upper: {"text":"MOVED","by":"org.example.text.handler"}' \
    "$("$folder/agent" text.upper '"moved"')"
  expect_equal 'text.upper: {"text":"HELLO","by":"org.example.text.handler"}' \
    "$(cd "$QOR_PLATFORM_ROOT" && "$folder/durable")"
  # The recorder is preloaded, so the sanitizer's run-time is not the first library.
  ASAN_OPTIONS=verify_asan_link_order=0 "$prefix/bin/qor" record --format json \
    -o "$QOR_PLATFORM_ROOT/record" -- "$folder/agent" text.upper '"recorded"' >/dev/null
  grep -q '"event":"answered"' "$QOR_PLATFORM_ROOT/record"
  "$prefix/bin/qor" package uninstall org.example.text >/dev/null
  if [ -e "$folder/greet-handler" ]; then
    cp -r "$examples/packages/greet" "$folder/greet"
    install -D "$folder/greet-handler" "$folder/greet/bin/greet-handler"
    "$prefix/bin/qor" package install "$folder/greet" >/dev/null
    expect_equal 'greet: {"text":"hello"}' "$("$folder/agent" greet)"
    # Also stops the handler.
    "$prefix/bin/qor" package uninstall org.example.greet >/dev/null
  fi
  rm -rf "$QOR_PLATFORM_ROOT"
}

expect_equal() {
  [ "$1" = "$2" ] || { printf 'expected: %s\ngot:      %s\n' "$1" "$2"; exit 1; }
}
