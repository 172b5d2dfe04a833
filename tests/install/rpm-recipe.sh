#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# rpm-recipe.sh SOURCES BUILD VERSION: the recipe can be read, is of this version, asks for every
# module that the device's build in BUILD does, and its packages take what that build installs, all of
# it and nothing else.
set -euo pipefail
sources=$1 build=$2 version=$3
installed=$build/installed
recipe=$sources/packaging/capi-qor-handler-manager.spec
fail() { printf '%s\n' "$@"; exit 1; }
library_folder=$(dirname "$(find "$installed" -name libcapi-qor-handler-manager.so.0)")
query() {
  rpmspec --define "_sourcedir $sources/packaging" --define '_prefix /usr' \
    --define "_libdir ${library_folder#"$installed"}" --define '_datadir /usr/share' \
    --define '_includedir /usr/include' "$@" "$recipe"
}

names=$(query -q --qf '%{name} %{version} %{license}\n')
[ "$names" = "capi-qor-handler-manager $version Apache-2.0
capi-qor-handler-manager-devel $version Apache-2.0" ] || fail "packages:" "$names"

modules=$(sed -nE 's/.*_MODULE_NAME:INTERNAL=(.+)/\1/p' "$build/CMakeCache.txt")
grep -qxF rpc-port <<<"$modules" || fail "the device's build asked for no platform:" "$modules"
asked=$(query -q --buildrequires)
for module in $modules yaml-cpp RapidJSON; do
  grep -qxF "pkgconfig($module)" <<<"$asked" || fail "does not ask for pkgconfig($module)"
done

recipe_text=$(query -P)
grep -q -e '-DQOR_PLATFORM=device' <<<"$recipe_text" || fail "does not build for a device"
for manifest in $(awk '$1 == "%manifest" { print $2 }' <<<"$recipe_text"); do
  [ -e "$sources/packaging/$manifest" ] || fail "there is no packaging/$manifest"
done
patterns=$(sed -n '/^%files/,$p' <<<"$recipe_text" | grep -E '^/usr/')
files=$(cd "$installed" && find . ! -type d | sed 's,^\.,,')
taken=
while read -r pattern; do
  # A folder stands for all that is in it.
  found=$(while read -r file; do
    case $file in $pattern | $pattern/*) echo "$file" ;; esac
  done <<<"$files")
  [ -n "$found" ] || fail "nothing is installed as $pattern:" "$files"
  taken+=$found$'\n'
done <<<"$patterns"
left=$(comm -23 <(sort -u <<<"$files") <(sort -u <<<"$taken"))
[ -z "$left" ] || fail "in no package:" "$left"
