#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# usage: library-symbols.sh LIBRARY [SANITIZERS]
# Checks that the library exports only the functions of qor::Command and qor::Handler, needs only the
# platform, SQLite, libsodium and the language run-time, and has the expected soname.
set -euo pipefail
exported=$(nm -DC --defined-only "$1" | cut -d' ' -f3-)
grep -q '^qor::Handler::Run(' <<<"$exported" || { echo "missing export: qor::Handler::Run"; exit 1; }
soname=$(readelf -d "$1" | sed -nE 's/.*SONAME.*\[(.*)\]/\1/p')
[ "$soname" = libqor-handler.so.0 ] || { echo "unexpected soname: $soname"; exit 1; }
# A sanitizer's run-time adds symbols and libraries.
[ -z "${2-}" ] || exit 0
foreign=$(grep -v -E '^qor::(Command|Handler)::' <<<"$exported" || true)
[ -z "$foreign" ] || { echo "unexpected exports:"; echo "$foreign"; exit 1; }
platform='dlog\.so\.0|bundle\.so\.0|rpc-port\.so\.1|ecore\.so\.1|appcore-agent\.so\.1|capi-(base-common|appfw-app-(common|control))\.so\.0'
foreign=$(readelf -d "$1" | sed -nE 's/.*NEEDED.*\[(.*)\]/\1/p' |
  grep -v -E "^lib(($platform)|(sqlite3|sodium|stdc\+\+|gcc_s|m|c|pthread)\.so\..*)$|^ld-linux" || true)
[ -z "$foreign" ] || { echo "unexpected dependencies:"; echo "$foreign"; exit 1; }
