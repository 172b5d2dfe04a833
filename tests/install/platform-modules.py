#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Compares the installed pkg-config modules of the Linux platform with those of a device.

usage: platform-modules.py PREFIX MODULES FUNCTIONS

MODULES is device-modules.txt, FUNCTIONS is packaging/platform-functions.txt. CC is the compiler.
"""

import os
import pathlib
import re
import subprocess
import sys

import modules


def output_of(*command, **options):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE, **options).stdout


def compiles(header, flags):
    compiler = [*os.environ["CC"].split(), "-std=gnu99", "-x", "c", "-fsyntax-only"]
    return subprocess.run([*compiler, *flags, "-"], input=f"#include <{header}>\n", text=True,
                          check=False).returncode == 0


def module_errors(module, pkgconfig, headers):
    text = (pkgconfig / f"{module.name}.pc").read_text()
    if re.findall(r"^Cflags: (.*)$", text, re.M) != ["-I${includedir}"]:
        yield "Cflags: expected its own include folder only"
    folder = pathlib.Path(output_of("pkg-config", "--variable=includedir", module.name).strip())
    if folder.resolve() != (headers / module.folder).resolve():
        yield f"its include folder is {folder}, expected {module.folder}"
    requires = sorted(output_of("pkg-config", "--print-requires", module.name).split())
    if requires != module.requires:
        yield f"requires {requires}, expected {module.requires}"
    flags = output_of("pkg-config", "--cflags", module.name).split()
    for header in module.headers:
        if not (folder / header).exists():
            yield f"{header} is missing in {folder}"
        elif not compiles(header, flags):
            yield f"{header} does not compile with {' '.join(flags)}"


def function_errors(functions, pkgconfig):
    for module, soname in sorted({(function.module, function.soname) for function in functions}):
        libraries = re.findall(r" -l(\S+)", (pkgconfig / f"{module}.pc").read_text())
        if libraries != [soname.split(".so.")[0].removeprefix("lib")]:
            yield f"{module}: links {libraries}, expected {soname}"
        dynamic = output_of("readelf", "-d", pkgconfig / soname)
        if f"[{soname}]" not in re.findall(r"SONAME.*(\[.*\])", dynamic):
            yield f"{soname} has another soname"
        exported = set(re.findall(r" [A-Z] (\S+)$",
                                  output_of("nm", "-D", "--defined-only", pkgconfig / soname), re.M))
        for function in functions:
            if function.soname == soname and function.name not in exported:
                yield f"{soname} does not export {function.name}"


def main(prefix, module_table, function_table):
    pkgconfig = next(pathlib.Path(prefix).rglob("rpc-port.pc")).parent
    headers = pathlib.Path(prefix) / "include/qor-platform"
    os.environ["PKG_CONFIG_PATH"] = str(pkgconfig)
    table = modules.read_modules(module_table)
    errors = [f"{module.name}: {error}" for module in table
              for error in module_errors(module, pkgconfig, headers)]
    errors += function_errors(modules.read_functions(function_table), pkgconfig)
    expected = sorted(str(pathlib.Path(module.folder) / header)
                      for module in table for header in module.headers)
    installed = sorted(str(path.relative_to(headers)) for path in headers.rglob("*.h"))
    if installed != expected:
        errors.append(f"headers differ from the table: {set(installed) ^ set(expected)}")
    names = {path.stem for path in pkgconfig.glob("*.pc")}
    if names != {module.name for module in table}:
        errors.append(f"modules differ from the table: {names ^ {module.name for module in table}}")
    return "\n".join(errors) or None


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
