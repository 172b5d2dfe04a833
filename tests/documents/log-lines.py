#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Compares the log lines of a document with those of the sources, by priority and text.

usage: log-lines.py DOCUMENT FOLDER...
"""

import pathlib
import re
import sys

import markdown

LITERALS = r'((?:"(?:[^"\\]|\\.)*"\s*)+)'
CALLS = re.compile(r"\b(?:QOR_(DEBUG|INFO|WARN|ERROR)(?:_AT)?|(STUB_ERROR)|QOR_SCOPE)"
                   r"\((?:\s*DLOG_(\w+),)?(?:\s*(?:\d+|__LINE__),)?\s*" + LITERALS)
FRAMES = re.compile(r"\bQOR_FRAME(?:_AT)?\(")
MACROS = re.compile(r"\b(?:QOR_(?:DEBUG|INFO|WARN|ERROR)(?:_AT)?|STUB_ERROR|QOR_SCOPE)\(")
# Files that call dlog_print() directly, with the lines that they write; any other file is an error.
DIRECT = {"logging.h": {("debug", "Exit")}, "stub.cc": set(),
          "callback-guard.h": {("error", "Exception in a callback: %s")}}
PRIORITIES = {"DEBUG": "debug", "INFO": "info", "WARN": "warning", "ERROR": "error"}


def lines_of(path):
    """The priority and text of each log line in a source file."""
    text = path.read_text()
    code = re.sub(r"^#define .*(?:\\\n.*)*", "", text, flags=re.M)
    calls = CALLS.findall(code)
    if len(calls) != len(MACROS.findall(code)):
        raise SystemExit(f"{path}: the text of a log line is not a literal")
    for priority, stub, scope, literals in calls:
        message = "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', literals))
        level = PRIORITIES["ERROR" if stub else priority or scope]
        yield level, ("Enter " if scope else "") + message
    if FRAMES.search(code):
        yield "debug", "Enter "
    if "dlog_print(" in text:
        if any(message not in text for _, message in DIRECT.get(path.name, {("", "\0")})):
            raise SystemExit(f"{path}: unexpected call of dlog_print()")
        yield from DIRECT[path.name]


def main(document, folders):
    written = set()
    for folder in folders:
        for path in sorted([*folder.rglob("*.cc"), *folder.rglob("*.h")]):
            written |= set(lines_of(path))
    documented = {(row[0], row[1].split("`")[1]) for row in markdown.rows(document.read_text())
                  if row[0] in PRIORITIES.values()}
    errors = [f"{document}: missing: {' '.join(line)}" for line in sorted(written - documented)]
    errors += [f"{document}: not in the sources: {' '.join(line)}"
               for line in sorted(documented - written)]
    if errors or not written:
        sys.exit("\n".join(errors) or "no log lines found in the sources")


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__.strip())
    main(pathlib.Path(sys.argv[1]), [pathlib.Path(folder) for folder in sys.argv[2:]])
