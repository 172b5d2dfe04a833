#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# usage: library-symbols.sh LIBRARY [SANITIZERS]
# The library exports the functions of qor::Command and qor::Handler and nothing else, needs the
# platform, SQLite, libsodium and the language run-time and nothing else, and has its soname.
set -euo pipefail
exported=$(nm -DC --defined-only "$1" | cut -d' ' -f3-)
grep -q '^qor::Handler::Run(' <<<"$exported" || { echo "qor::Handler::Run is not exported"; exit 1; }
soname=$(readelf -d "$1" | sed -nE 's/.*SONAME.*\[(.*)\]/\1/p')
[ "$soname" = libqor-handler.so.0 ] || { echo "soname $soname"; exit 1; }
# A sanitizer's run-time brings symbols and libraries of its own.
[ -z "${2-}" ] || exit 0
foreign=$(grep -v -E '^qor::(Command|Handler)::' <<<"$exported" || true)
[ -z "$foreign" ] || { echo "exported besides:"; echo "$foreign"; exit 1; }
platform='dlog\.so\.0|bundle\.so\.0|rpc-port\.so\.1|ecore\.so\.1|appcore-agent\.so\.1|capi-(base-common|appfw-app-(common|control))\.so\.0'
foreign=$(readelf -d "$1" | sed -nE 's/.*NEEDED.*\[(.*)\]/\1/p' |
  grep -v -E "^lib(($platform)|(sqlite3|sodium|stdc\+\+|gcc_s|m|c|pthread)\.so\..*)$|^ld-linux" || true)
[ -z "$foreign" ] || { echo "needed besides:"; echo "$foreign"; exit 1; }
