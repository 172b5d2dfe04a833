# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""What the tests need of a Markdown document: its fenced blocks, its links, its tables."""

import collections
import re

# `line` counts from 1. `file` is the name in a line that ends with `name`: before the block.
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
        raise ValueError(f"line {start}: the block has no end")
    return found


def without_blocks(text):
    """The text with an empty line for each line of a fenced block."""
    lines, inside = [], False
    for line in text.splitlines():
        fence = FENCE.match(line)
        lines.append("" if inside or fence else line)
        inside = inside != bool(fence)
    return "\n".join(lines)


def links(text):
    """The target and line of each link and image."""
    return [(match.group(1), number)
            for number, line in enumerate(without_blocks(text).splitlines(), 1)
            for match in re.finditer(r"\]\(([^)\s]+)\)", line)]


def anchors(text):
    """The names by which links reach the document's titles."""
    return {re.sub(r"[^\w\- ]", "", title.strip().lower()).replace(" ", "-")
            for title in re.findall(r"^#+ (.*)$", without_blocks(text), re.M)}


def rows(text):
    """The cells of each row of each table, without titles."""
    found = []
    for line in text.splitlines():
        if line.startswith("|") and not set(line) <= set("|-: "):
            cells = [cell.strip() for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
            found.append([cell.replace("\\|", "|") for cell in cells])
    return found
