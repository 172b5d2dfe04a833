# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Reads device-modules.txt and packaging/platform-functions.txt."""

import collections
import pathlib

Module = collections.namedtuple("Module", "name folder headers requires")
Function = collections.namedtuple("Function", "name module soname version")


def rows(path):
    for line in pathlib.Path(path).read_text().splitlines():
        if line and not line.startswith("#"):
            yield line.split()


def names(text):
    return [] if text == "-" else text.split(",")


def read_modules(path):
    return [Module(name, folder, names(headers), names(requires))
            for name, folder, headers, requires in rows(path)]


def read_functions(path):
    return [Function(name, module, soname, tuple(int(part) for part in version.split(".")))
            for name, module, soname, version in rows(path)]
