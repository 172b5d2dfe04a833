#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""The document names every log line of the sources, by priority and text, and no other.

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
WORDS = re.compile(r"\b(?:QOR_(?:DEBUG|INFO|WARN|ERROR)(?:_AT)?|STUB_ERROR|QOR_SCOPE)\(")
# The places that write lines by themselves, and which, so that a new one is seen.
PLACES = {"logging.h": {("debug", "Exit")}, "stub.cc": set(),
          "callback-guard.h": {("error", "Exception in a callback: %s")}}
PRIORITIES = {"DEBUG": "debug", "INFO": "info", "WARN": "warning", "ERROR": "error"}


def lines_of(path):
    """The priority and text of each line that a source writes."""
    text = path.read_text()
    code = re.sub(r"^#define .*(?:\\\n.*)*", "", text, flags=re.M)
    calls = CALLS.findall(code)
    if len(calls) != len(WORDS.findall(code)):
        raise SystemExit(f"{path}: a log line's text is no literal, which this test cannot read")
    for priority, stub, scope, literals in calls:
        words = "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', literals))
        level = PRIORITIES["ERROR" if stub else priority or scope]
        yield level, ("Enter " if scope else "") + words
    if FRAMES.search(code):
        yield "debug", "Enter "
    if "dlog_print(" in text:
        if any(words not in text for _, words in PLACES.get(path.name, {("", "\0")})):
            raise SystemExit(f"{path}: writes log lines in a way that this test does not know")
        yield from PLACES[path.name]


def main(document, folders):
    written = set()
    for folder in folders:
        for path in sorted([*folder.rglob("*.cc"), *folder.rglob("*.h")]):
            written |= set(lines_of(path))
    named = {(row[0], row[1].split("`")[1]) for row in markdown.rows(document.read_text())
             if row[0] in PRIORITIES.values()}
    faults = [f"{document}: lacks {' '.join(line)}" for line in sorted(written - named)]
    faults += [f"{document}: nothing writes {' '.join(line)}" for line in sorted(named - written)]
    if faults or not written:
        sys.exit("\n".join(faults) or "the sources write nothing")


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__.strip())
    main(pathlib.Path(sys.argv[1]), [pathlib.Path(folder) for folder in sys.argv[2:]])
