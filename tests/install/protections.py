#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Tells which programs and libraries below a folder lack a protection.

usage: check.py FOLDER [--optimised]    with --optimised, copies must be checked ones, too
"""

import pathlib
import re
import subprocess
import sys

# The protections of a whole, which every file must have.
WHOLE = {
    "position-independent code": lambda facts: "Type:                              DYN" in facts,
    "a table of addresses that becomes read-only": lambda facts: "GNU_RELRO" in facts
    and re.search(r"BIND_NOW|FLAGS_1\).*NOW", facts),
    "a stack that is not executable": lambda facts: re.search(r"GNU_STACK.* RW +0x", facts),
    "code that is never written to": lambda facts: "TEXTREL" not in facts,
}


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def is_linked(path):
    """Whether a file is a program or a library, other than an object that will become a part of one."""
    if path.is_symlink() or not path.is_file():
        return False
    with path.open("rb") as file:
        header = file.read(17)
    return header[:4] == b"\x7fELF" and header[16] in (2, 3)


def unprotected_functions(path):
    """The functions open to others that do not begin with a landing mark for jumps."""
    listing = run("objdump", "-d", "--no-show-raw-insn", path)
    first = dict(re.findall(r"^0*([0-9a-f]+) <[^>]+>:\n\s*[0-9a-f]+:\s+(\S+)", listing, re.M))
    open_to_others = re.findall(
        r": 0*([0-9a-f]+) +\d+ FUNC +(?:GLOBAL|WEAK) +DEFAULT +\d+ (\S+)",
        run("readelf", "--dyn-syms", "-W", path))
    return [name for address, name in open_to_others if first[address] != "endbr64"]


def lacking(path):
    facts = run("readelf", "-hldW", path)
    found = [what for what, has in WHOLE.items() if not has(facts)]
    if "X86-64" in facts and (names := unprotected_functions(path)):
        found.append("control-flow protection of " + ", ".join(names[:3]))
    return found


def main():
    folder = pathlib.Path(sys.argv[1])
    files = [path for path in sorted(folder.rglob("*"))
             if is_linked(path) and "CMakeFiles" not in path.parts]
    wrong = [f"{path}: lacks {what}" for path in files for what in lacking(path)]
    # Not every file has something on its stack or copies, but together they do.
    symbols = {path: run("readelf", "--dyn-syms", "-W", path) for path in files}
    guarded = [path for path in files if "__stack_chk_fail" in symbols[path]]
    if len(guarded) * 2 < len(files):
        wrong.append(f"only {len(guarded)} of {len(files)} files guard their stacks")
    checked = [path for path in files if re.search(r"__\w+_chk(@|$)", symbols[path], re.M)]
    if "--optimised" in sys.argv and len(checked) * 2 < len(files):
        wrong.append(f"only {len(checked)} of {len(files)} files check their copies")
    if not files:
        wrong.append(f"{folder}: no program and no library")
    print("\n".join(wrong) or f"{len(files)} files are protected")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
