#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# library-symbols.sh LIBRARY HEADER SANITIZERS: checks that the library exports exactly the functions of
# its header, depends only on the platform, the language run-time and the YAML library, and has the
# expected soname.
set -euo pipefail
library=$1 header=$2 sanitizers=$3
status=0

differ() {
  printf '%s:\n%s\n' "$1" "$2"
  status=1
}

exported=$(nm -D --defined-only "$library" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | sort)
declared=$(grep -oE 'EXPORT_API int qor_handler_manager_[a-z_]+' "$header" | awk '{ print $3 }' | sort)
[ "$(wc -l <<<"$declared")" = 15 ] || differ "the header does not declare 15 functions" "$declared"
[ "$exported" = "$declared" ] ||
  differ "exported and declared functions differ" "$(diff <(echo "$declared") <(echo "$exported"))"

soname=$(readelf -d "$library" | sed -nE 's/.*SONAME.*\[(.*)\]/\1/p')
[ "$soname" = libcapi-qor-handler-manager.so.0 ] || differ "soname" "$soname"

# Sanitizers add symbols and libraries.
if [ -z "$sanitizers" ]; then
  platform='dlog_|bundle_|rpc_port_|app_control_|package_manager_|package_info_|app_info_|app_manager_|app_get_data_path$|get_error_message$|get_last_result$|set_last_result$|(ecore|eina)_'
  foreign=$(nm -D --undefined-only "$library" | awk '{ print $2 }' |
    grep -vE "@(GLIBC|GLIBCXX|CXXABI|GCC)_|^_ITM_|^__gmon_start__|^_ZN?K?4YAML|^_ZN?K?S?t?.*4YAML|^($platform)" || true)
  [ -z "$foreign" ] || differ "undefined symbols outside the allowed libraries" "$foreign"
  needed=$(readelf -d "$library" | sed -nE 's/.*NEEDED.*\[(.*)\]/\1/p' | sort)
  foreign=$(grep -vE '^(libdlog\.so\.0|libbundle\.so\.0|librpc-port\.so\.1|libcapi-(base-common|appfw-(app-control|app-common|app-manager|package-manager))\.so\.0|lib(ecore|eina)\.so\.1|libyaml-cpp\.so\..*|lib(stdc\+\+|gcc_s|m|c|pthread)\.so\..*|ld-linux.*)$' <<<"$needed" || true)
  [ -z "$foreign" ] || differ "dependencies outside the allowed libraries" "$foreign"
fi
exit $status
