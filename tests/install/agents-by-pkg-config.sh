#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# agents-by-pkg-config.sh PREFIX SOURCES PACKAGE FOLDER: the example agents and a handler, built with the
# compiler and pkg-config alone against what is installed, work.
set -euo pipefail
prefix=$1 sources=$2 package=$3 folder=$4
. "$(dirname "$0")/use-agents.sh"
rm -rf "$folder"
mkdir -p "$folder"
library=$(dirname "$(find "$prefix" -name capi-qor-handler-manager.pc)")
export PKG_CONFIG_PATH=$library
for agent in agent send; do
  $CC $CFLAGS -std=gnu99 -Wall -Wextra -Werror "$sources/examples/agent/$agent.c" \
    $(pkg-config --cflags --libs capi-qor-handler-manager ecore) \
    -Wl,-rpath,"$(dirname "$library")" -o "$folder/$agent"
done
if pkg-config --exists qor-handler; then
  $CXX $CXXFLAGS -std=c++17 "$sources/examples/greet-handler/main.cc" \
    $(pkg-config --cflags --libs qor-handler) \
    -Wl,-rpath,"$(dirname "$library")" -o "$folder/greet-handler"
fi
use_agents "$prefix" "$sources/examples" "$package" "$folder"
# The platform's modules bear a device's names: only who asks for their folder finds them.
if pkg-config --exists rpc-port; then
  echo "the platform's modules are found beside the library's"
  exit 1
fi
