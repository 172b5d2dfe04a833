# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Reads the fenced blocks, links, headings and tables of Markdown documents."""

import collections
import re

# `line` counts from 1. `file` is the name in the line before the block, if that ends with `name`:
Block = collections.namedtuple("Block", "line language file text")

FENCE = re.compile(r"^```(\S*)")
FILE = re.compile(r"`([\w./-]+\.\w+)`:$")


def blocks(text):
    found, language, name, body, start = [], None, None, [], 0
    before = ""
    for number, line in enumerate(text.splitlines(), 1):
        fence = FENCE.match(line)
        if fence and language is None:
            language, body, start = fence.group(1), [], number
            named = FILE.search(before)
            name = named.group(1) if named else None
        elif fence:
            found.append(Block(start, language, name, "".join(part + "\n" for part in body)))
            language, before = None, ""
        elif language is not None:
            body.append(line)
        elif line.strip():
            before = line
    if language is not None:
        raise ValueError(f"line {start}: unterminated block")
    return found


def without_blocks(text):
    """The text with fenced blocks replaced by empty lines."""
    lines, inside = [], False
    for line in text.splitlines():
        fence = FENCE.match(line)
        lines.append("" if inside or fence else line)
        inside = inside != bool(fence)
    return "\n".join(lines)


def links(text):
    """The target and line number of each link and image."""
    return [(match.group(1), number)
            for number, line in enumerate(without_blocks(text).splitlines(), 1)
            for match in re.finditer(r"\]\(([^)\s]+)\)", line)]


def anchors(text):
    """The anchors of the document's headings."""
    return {re.sub(r"[^\w\- ]", "", heading.strip().lower()).replace(" ", "-")
            for heading in re.findall(r"^#+ (.*)$", without_blocks(text), re.M)}


def rows(text):
    """The cells of each table row, header rows included."""
    found = []
    for line in text.splitlines():
        if line.startswith("|") and not set(line) <= set("|-: "):
            cells = [cell.strip() for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
            found.append([cell.replace("\\|", "|") for cell in cells])
    return found
