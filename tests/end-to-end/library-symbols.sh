#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# library-symbols.sh LIBRARY SOURCES [SANITIZERS]: checks the soname of one of the libraries of
# SOURCES, and that it exports its public functions only, imports nothing else than what is listed
# below, and needs only the libraries that have it.
set -euo pipefail
library=$1 sources=$2 sanitizers=${3-}
status=0

# Regular expressions, of demangled names of exports in the absence of a C header with EXPORT_API, of
# undefined symbols, and of libraries without "lib" and ".so".
header="" exports=""
symbols='dlog_|bundle_|rpc_port_|app_control_|app_get_data_path$|get_error_message$|get_last_result$|set_last_result$|(ecore|eina)_'
libraries='dlog|bundle|rpc-port|capi-base-common|capi-appfw-app-(control|common)|ecore|eina'
case $(basename "$library") in
  libcapi-qor-handler-manager.so*)
    soname=libcapi-qor-handler-manager.so.0
    header=$sources/include/qor_handler_manager.h
    symbols+='|package_manager_|package_info_|app_info_|app_manager_|_ZN?K?4YAML|_ZN?K?S?t?.*4YAML'
    libraries+='|capi-appfw-(app|package)-manager|yaml-cpp'
    ;;
  libqor-agent.so*)
    soname=libqor-agent.so.0
    header=$sources/agent/include/qor_agent.h
    symbols='qor_handler_manager_|ecore_|sqlite3_'
    libraries='capi-qor-handler-manager|ecore|sqlite3'
    ;;
  libqor-handler.so*)
    soname=libqor-handler.so.0
    exports='qor::(Command|Handler)::'
    symbols+='|service_app_|sqlite3_|sodium_|crypto_generichash'
    libraries+='|appcore-agent|sqlite3|sodium'
    ;;
esac

# expect_none TEXT LINES
expect_none() {
  [ -z "$2" ] || { printf '%s: %s:\n%s\n' "$soname" "$1" "$2"; status=1; }
}

actual=$(readelf -d "$library" | sed -nE 's/.*SONAME.*\[(.*)\]/\1/p')
[ "$actual" = "$soname" ] || expect_none "soname" "$actual"

exported=$(nm -DC --defined-only "$library" | awk '$2 != "A"' | cut -d' ' -f3- | sed 's/@.*//' | sort)
if [ -n "$header" ]; then
  declared=$(sed -nE 's/^EXPORT_API [^(]*\b(\w+)\(.*/\1/p' "$header" | sort)
  [ -n "$declared" ] || expect_none "no functions declared in" "$header"
  expect_none "exported and declared functions differ" \
    "$(diff <(echo "$declared") <(echo "$exported") || true)"
fi
# A sanitizer's run-time adds symbols and libraries.
[ -z "$sanitizers" ] || exit $status
if [ -n "$exports" ]; then
  expect_none "unexpected exports" "$(grep -vE "^($exports)" <<<"$exported" || true)"
  [ -n "$exported" ] || expect_none "no exports match" "$exports"
fi
run_time='@(GLIBC|GLIBCXX|CXXABI|GCC)_|^_ITM_|^__gmon_start__'
expect_none "unexpected undefined symbols" "$(nm -D --undefined-only "$library" |
  awk '{ print $2 }' | grep -vE "$run_time|^($symbols)" || true)"
expect_none "unexpected dependencies" "$(readelf -d "$library" |
  sed -nE 's/.*NEEDED.*\[(.*)\]/\1/p' |
  grep -vE "^lib($libraries|stdc\+\+|gcc_s|m|c|pthread)\.so\.|^ld-linux" || true)"
exit $status
