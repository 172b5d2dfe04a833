#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Each number in the document's table of limits is the one in the source that the row names.

usage: limits.py DOCUMENT SOURCES
"""

import pathlib
import re
import sys

import markdown

PLACE = re.compile(r"^`([\w./-]+)` `(\w+)`$")


def value_of(source, name):
    """What a constant of that name is set to: a product or a shift of numbers."""
    found = re.search(rf"\b{name}\s*(?:=\s*|\{{)([^;]*?)\}}?;", source.read_text())
    if not found:
        return None
    text = re.sub(r"[\w:]+\{(\d+)\}", r"\1", found.group(1)).replace("'", "")
    if not re.fullmatch(r"[\d\s*<().-]+", text):
        return None
    return eval(text)  # nothing but numbers and operators


def main(document, sources):
    faults, count = [], 0
    for row in markdown.rows(document.read_text()):
        place = PLACE.match(row[-1])
        if not place:
            continue
        count += 1
        number = int(re.match(r"\d+", row[1]).group())
        actual = value_of(sources / place.group(1), place.group(2))
        if actual != number:
            faults.append(f"{document}: {row[0]}: {number}, but {row[-1]} is {actual}")
    if faults or not count:
        sys.exit("\n".join(faults) or f"{document}: there are no limits")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__.strip())
    main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]))
