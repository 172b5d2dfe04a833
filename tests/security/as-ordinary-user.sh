#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# as-ordinary-user.sh PROGRAM: runs the tests in PROGRAM as an unprivileged user. Some attacks, such as
# mounts, then need a user namespace.
set -euo pipefail
[ "$(id -u)" = 0 ] || exec "$1"
TMPDIR=$(mktemp -d)
export TMPDIR HOME=$TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
# The user "nobody" of every Debian system.
chown 65534:65534 "$TMPDIR"
setpriv --reuid=65534 --regid=65534 --clear-groups "$1"
