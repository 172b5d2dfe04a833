#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Compares the platform version that each library requires with the documented one.

usage: platform-versions.py SOURCES FOLDER

FOLDER contains the libraries, built for a device. A library requires the version of its newest
undefined platform function, according to SOURCES/packaging/platform-functions.txt.
"""

import pathlib
import re
import subprocess
import sys

import modules

# By library: files that state the version, with the pattern of the sentence.
STATEMENTS = {
    "libcapi-qor-handler-manager.so.0": [
        ("include/qor_handler_manager.h", r"Requires version ([\d.]+) of the platform or later\."),
        ("docs/packaging-guide.md", r"\| the library \| ([\d.]+) \|"),
        ("packaging/capi-qor-handler-manager.spec",
         r"The library requires version ([\d.]+) of the platform or later\."),
    ],
    "libqor-handler.so.0": [
        ("handler/include/qor/handler.h", r"Version ([\d.]+) of the platform or later\."),
        ("docs/packaging-guide.md", r"\| the SDK for handlers \| ([\d.]+) \|"),
        ("packaging/capi-qor-handler-manager.spec",
         r"The SDK for handlers requires version ([\d.]+) or later\."),
    ],
}
# Undefined symbols that are not the platform's: the language run-time, yaml-cpp, SQLite, libsodium,
# Ecore and Eina; and the C library, whose symbols are versioned.
OTHERS = re.compile(r"_ITM_|__gmon_start__|_Z|sqlite3_|sodium_|crypto_|ecore_|eina_|.*@")


def platform_symbols(library):
    symbols = subprocess.run(["nm", "-D", "--undefined-only", library], check=True, text=True,
                             stdout=subprocess.PIPE).stdout
    return {name for _, name in re.findall(r" ([Uw]) (\S+)$", symbols, re.M)
            if not OTHERS.match(name)}


def dotted(version):
    return ".".join(str(part) for part in version)


def main(sources, folder):
    functions = {function.name: function for function in modules.read_functions(
        sources + "/packaging/platform-functions.txt")}
    errors = []
    unused = set(functions)
    for name, statements in STATEMENTS.items():
        used = platform_symbols(next(pathlib.Path(folder).rglob(name)))
        unused -= used
        errors += [f"{name} calls {symbol}, which is not in platform-functions.txt"
                   for symbol in sorted(used - functions.keys())]
        newest = max((functions[symbol] for symbol in used & functions.keys()),
                     key=lambda function: (function.version, function.name))
        for path, pattern in statements:
            text = " ".join(pathlib.Path(sources, path).read_text().split())
            stated = re.findall(pattern, text)
            if stated != [dotted(newest.version)]:
                errors.append(f"{path} states {stated} for {name}, expected "
                              f"{dotted(newest.version)} because of {newest.name}")
    errors += [f"platform-functions.txt lists {symbol}, which no library calls"
               for symbol in sorted(unused)]
    return "\n".join(errors) or None


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
