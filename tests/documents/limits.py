#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Compares the limits in a document with the constants that the table names.

usage: limits.py DOCUMENT SOURCES
"""

import pathlib
import re
import sys

import markdown

CONSTANT = re.compile(r"^`([\w./-]+)` `(\w+)`$")


def value_of(source, name):
    """The value of a constant: a number, a product or a shift."""
    found = re.search(rf"\b{name}\s*(?:=\s*|\{{)([^;]*?)\}}?;", source.read_text())
    if not found:
        return None
    text = re.sub(r"[\w:]+\{(\d+)\}", r"\1", found.group(1)).replace("'", "")
    if not re.fullmatch(r"[\d\s*<().-]+", text):
        return None
    return eval(text)  # only digits and operators


def main(document, sources):
    errors, count = [], 0
    for row in markdown.rows(document.read_text()):
        constant = CONSTANT.match(row[-1])
        if not constant:
            continue
        count += 1
        number = int(re.match(r"\d+", row[1]).group())
        actual = value_of(sources / constant.group(1), constant.group(2))
        if actual != number:
            errors.append(f"{document}: {row[0]}: documented {number}, but {row[-1]} is {actual}")
    if errors or not count:
        sys.exit("\n".join(errors) or f"{document}: no limits found")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__.strip())
    main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]))
