#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# pkg-config-consumer.sh PREFIX SOURCES PACKAGE FOLDER: builds the example agents and a handler with
# the flags that the installed pkg-config files give, and runs them.
set -euo pipefail
prefix=$1 sources=$2 package=$3 folder=$4
. "$(dirname "$0")/run-consumers.sh"
rm -rf "$folder"
mkdir -p "$folder"
library=$(dirname "$(find "$prefix" -name capi-qor-handler-manager.pc)")
export PKG_CONFIG_PATH=$library
$CC $CFLAGS -std=gnu99 -Wall -Wextra -Werror "$sources/examples/agent/agent.c" \
  $(pkg-config --cflags --libs capi-qor-handler-manager ecore) \
  -Wl,-rpath,"$(dirname "$library")" -o "$folder/agent"
$CXX $CXXFLAGS -std=c++17 "$sources/examples/agent/durable.cc" \
  $(pkg-config --cflags --libs qor-agent ecore) \
  -Wl,-rpath,"$(dirname "$library")" -o "$folder/durable"
if pkg-config --exists qor-handler; then
  $CXX $CXXFLAGS -std=c++17 "$sources/examples/greet-handler/main.cc" \
    $(pkg-config --cflags --libs qor-handler) \
    -Wl,-rpath,"$(dirname "$library")" -o "$folder/greet-handler"
fi
run_consumers "$prefix" "$sources/examples" "$package" "$folder"
# The platform's modules have the device's names, so they must not be on the library's path.
if pkg-config --exists rpc-port; then
  echo "pkg-config finds the platform's modules without their folder"
  exit 1
fi
