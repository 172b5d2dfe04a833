#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Writes a program listed in a document to a file, with each text OLD replaced by NEW.

usage: program.py DOCUMENT NAME FILE [OLD NEW]...

The program is the block after a line that ends with `NAME`:
"""

import pathlib
import sys

import markdown


def main(document, name, file, *replacements):
    found = [block.text for block in markdown.blocks(pathlib.Path(document).read_text())
             if block.file == name]
    if len(found) != 1:
        sys.exit(f"{document}: expected one block of the file {name}, got {len(found)}")
    text = found[0]
    for old, new in zip(replacements[::2], replacements[1::2]):
        if text.count(old) != 1:
            sys.exit(f"{document}: {name}: expected one \"{old}\", got {text.count(old)}")
        text = text.replace(old, new)
    pathlib.Path(file).write_text(text)


if __name__ == "__main__":
    if len(sys.argv) < 4 or len(sys.argv) % 2:
        sys.exit(__doc__.strip())
    main(*sys.argv[1:])
