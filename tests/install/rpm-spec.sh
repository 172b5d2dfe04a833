#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# rpm-spec.sh SOURCES DEVICE VERSION: builds the RPM packages from the source tarball of
# packaging/dist.sh against DEVICE/sysroot of device-build.sh, and compares version, required
# modules and packaged files with the device build.
set -euo pipefail
sources=$1 device=$2 version=$3
name=capi-qor-handler-manager
work=$device/rpmbuild
fail() { printf '%s\n' "$@"; exit 1; }
spec() { rpmspec --define "_sourcedir $work/SOURCES" "$@" "$work/SOURCES/$name.spec"; }

# The tarball is reproducible.
rm -rf "$work"
"$sources/packaging/dist.sh" "$work/again"
"$sources/packaging/dist.sh" "$work/SOURCES"
diff -r "$work/again" "$work/SOURCES"
tarball=$work/SOURCES/$name-$version.tar.gz
diff <(git -C "$sources" ls-files | sed "s,^,$name-$version/,") <(tar -tf "$tarball")

names=$(spec -q --qf '%{name} %{version} %{license}\n')
[ "$names" = "$name $version Apache-2.0
$name-devel $version Apache-2.0" ] || fail "packages:" "$names"
modules=$(sed -nE 's/.*_MODULE_NAME:INTERNAL=(.+)/\1/p' "$device/CMakeCache.txt")
grep -qxF rpc-port <<<"$modules" || fail "the device build found no platform modules:" "$modules"
expected=$(printf 'pkgconfig(%s)\n' $modules | sort -u)
asked=$(spec -q --buildrequires | grep '^pkgconfig(' | sort -u)
[ "$asked" = "$expected" ] || fail "required modules of the spec file and of the build differ:" \
  "$(diff <(echo "$asked") <(echo "$expected"))"

# On Debian there is no database of installed RPM packages (--nodeps), no %manifest, an extension of
# the device's rpm, and no debugedit. Generator and build folder are those of device-build.sh.
export PKG_CONFIG_PATH CMAKE_GENERATOR=Ninja
PKG_CONFIG_PATH=$(dirname "$(find "$device/sysroot" -name rpc-port.pc)")
if command -v ccache >/dev/null; then
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi
rpmbuild -bb --noclean --nodeps --define "_topdir $work" --define '_lib lib64' \
  --define '_libdir /usr/lib64' --define 'debug_package %{nil}' --define 'manifest() %{nil}' \
  "$work/SOURCES/$name.spec" >"$device/rpmbuild.log" 2>&1 || fail "$(cat "$device/rpmbuild.log")"

for manifest in $(awk '$1 == "%manifest" { print $2 }' <(spec -P)); do
  [ -e "$work/BUILD/$name-$version/$manifest" ] || fail "the spec file does not copy $manifest"
done

package() { find "$work/RPMS" -name "$1-$version-*.rpm"; }
# Lists the files of a package, without folders.
files() {
  rpm -qp --qf '[%{FILEMODES:perms} %{FILENAMES}\n]' "$(package "$1")" |
    sed -nE '/^d/!s/^\S+ //p' | sort
}
packaged=$(sort <(files "$name") <(files "$name-devel") | grep -v '/licenses/')
expected=$(cd "$device/installed" && find . ! -type d | sed 's,^\.,,' | sort)
[ "$packaged" = "$expected" ] || fail "packaged and installed files differ:" \
  "$(diff <(echo "$packaged") <(echo "$expected"))"
grep -q '/licenses/' <<<"$(files "$name")" || fail "$name: no licence file"
found=$(files "$name-devel" | grep -E '\.so\.[0-9]' || true)
[ -z "$found" ] || fail "libraries in $name-devel:" "$found"

needed=$(rpm -qp --requires "$(package "$name")")
for soname in $(awk '!/^#/ { print $3 }' "$sources/packaging/platform-functions.txt" | sort -u); do
  grep -qF "$soname" <<<"$needed" || fail "$name does not require $soname:" "$needed"
done
