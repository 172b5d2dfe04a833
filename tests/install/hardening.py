#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Checks the exploit mitigations of all programs and libraries below a folder.

usage: hardening.py FOLDER [--optimized]    --optimized: also expect fortified copies
"""

import pathlib
import re
import subprocess
import sys

# Required of every file: name, and a check of the output of readelf.
REQUIRED = {
    "position-independent code": lambda facts: "Type:                              DYN" in facts,
    "full RELRO": lambda facts: "GNU_RELRO" in facts
    and re.search(r"BIND_NOW|FLAGS_1\).*NOW", facts),
    "a non-executable stack": lambda facts: re.search(r"GNU_STACK.* RW +0x", facts),
    "text without relocations": lambda facts: "TEXTREL" not in facts,
}


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def is_linked(path):
    """Whether the file is an ELF executable or shared object."""
    if path.is_symlink() or not path.is_file():
        return False
    with path.open("rb") as file:
        header = file.read(17)
    return header[:4] == b"\x7fELF" and header[16] in (2, 3)


def unprotected_functions(path):
    """The exported functions that do not begin with endbr64."""
    listing = run("objdump", "-d", "--no-show-raw-insn", path)
    first = dict(re.findall(r"^0*([0-9a-f]+) <[^>]+>:\n\s*[0-9a-f]+:\s+(\S+)", listing, re.M))
    exported = re.findall(
        r": 0*([0-9a-f]+) +\d+ FUNC +(?:GLOBAL|WEAK) +DEFAULT +\d+ (\S+)",
        run("readelf", "--dyn-syms", "-W", path))
    return [name for address, name in exported if first[address] != "endbr64"]


def lacking(path):
    facts = run("readelf", "-hldW", path)
    found = [what for what, has in REQUIRED.items() if not has(facts)]
    if "X86-64" in facts and (names := unprotected_functions(path)):
        found.append("control-flow protection of " + ", ".join(names[:3]))
    return found


def main():
    folder = pathlib.Path(sys.argv[1])
    files = [path for path in sorted(folder.rglob("*"))
             if is_linked(path) and "CMakeFiles" not in path.parts]
    wrong = [f"{path}: lacks {what}" for path in files for what in lacking(path)]
    # A small file may need neither stack protector nor fortified copies; most files need both.
    symbols = {path: run("readelf", "--dyn-syms", "-W", path) for path in files}
    guarded = [path for path in files if "__stack_chk_fail" in symbols[path]]
    if len(guarded) * 2 < len(files):
        wrong.append(f"only {len(guarded)} of {len(files)} files use the stack protector")
    checked = [path for path in files if re.search(r"__\w+_chk(@|$)", symbols[path], re.M)]
    if "--optimized" in sys.argv and len(checked) * 2 < len(files):
        wrong.append(f"only {len(checked)} of {len(files)} files use fortified copies")
    if not files:
        wrong.append(f"{folder}: no programs and no libraries")
    print("\n".join(wrong) or f"{len(files)} files checked")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
