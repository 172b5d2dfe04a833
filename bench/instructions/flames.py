#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Draws the instructions of a command as flame graphs.

  flames.py BUILD FOLDER

Writes agent-BYTES.svg and handler-BYTES.svg to FOLDER for each payload size. Callees are above
their callers; the width of a box is its inclusive cost; tooltips have full names and numbers.
"""

import collections
import html
import pathlib
import re
import sys

import streams

COMMANDS = 100
WIDTH = 1400
ROW = 17
LETTER_WIDTH = 6.7
# Boxes below this share of the total are omitted.
MIN_SHARE = 0.0005
COLOURS = (
    ("the library", "#f4a261", ("libcapi-qor-handler-manager.so",)),
    ("the SDK", "#f4a261", ("libqor-handler.so",)),
    ("Ecore", "#8ecae6", ("libecore", "libeina.so", "libeo.so", "libefl")),
    ("C and C++", "#d3d3d3", ("libc.so", "libstdc++.so", "libm.so", "libgcc_s.so", "ld-linux")),
    ("the platform", "#b5d99c", ("lib",)),
    ("the program", "#e9d8f4", ("",)),
)
STRING = "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >"


class Box:
    """A function in one call stack, with its inclusive cost."""

    def __init__(self):
        self.cost = 0
        self.callees = collections.defaultdict(Box)

    def prune(self, min_cost):
        self.callees = {key: box for key, box in self.callees.items() if box.cost >= min_cost}
        for box in self.callees.values():
            box.prune(min_cost)

    def depth(self):
        return 1 + max((box.depth() for box in self.callees.values()), default=0)

    def files(self):
        below = (box.files() for box in self.callees.values())
        return {file for file, _ in self.callees}.union(*below)


def tree(profile, count):
    """Returns the call tree below main, in instructions per command of `count` commands."""
    files = {frame.stack: frame.file for counter in (profile.own, profile.calls)
             for frame in counter}
    root = Box()
    for frame, cost in profile.own.items():
        if "main" not in frame.stack:
            continue
        box = root
        box.cost += cost / count
        for i in reversed(range(frame.stack.index("main") + 1)):
            file = files.get(frame.stack[i:], "???").rpartition("/")[2]
            # Code without a file is a trampoline.
            if file != "???":
                box = box.callees[file, frame.stack[i].replace(STRING, "std::string")]
                box.cost += cost / count
    root.prune(MIN_SHARE * root.cost)
    return root


def colour_of(file):
    return next((name, colour) for name, colour, files in COLOURS if file.startswith(files))


def full_name(file, function):
    # Without symbols, the function is an address.
    return re.sub("^0x0*", file.partition(".")[0] + "+0x", function)


def short_name(name):
    """Returns a function's name without arguments; lambdas get the name of their function."""
    name = name.replace("(anonymous namespace)::", "")
    function_object = re.search(r"([\w:~]+)(\([^()]*\))?(::operator\(\)|( const)?::\{lambda)", name)
    if function_object:
        return function_object[1] + "::{lambda}"
    return name.partition("(")[0]


def boxes(box, x, y, total):
    """Yields the boxes of the callees of `box`, starting at x, and their callees above them."""
    for (file, function), callee in sorted(box.callees.items(), key=lambda item: item[0]):
        width = callee.cost / total * WIDTH
        name = full_name(file, function)
        text = short_name(name)
        letters = int((width - 4) / LETTER_WIDTH)
        if len(text) > letters:
            text = text[:letters - 2] + ".." if letters > 3 else ""
        yield (f'<g><title>{html.escape(name)}\n{file}: {callee.cost:,.0f} instructions, '
               f'{callee.cost / total:.1%}</title><rect x="{x:.1f}" y="{y}" width="{width:.1f}" '
               f'height="{ROW - 1}" fill="{colour_of(file)[1]}"/>'
               f'<text x="{x + 2:.1f}" y="{y + 12}">{html.escape(text)}</text></g>')
        yield from boxes(callee, x, y - ROW, total)
        x += width


def drawing(root, heading):
    """Returns the text of an SVG file."""
    # The root has no box; its row holds the heading.
    height = root.depth() * ROW
    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" '
             f'viewBox="0 0 {WIDTH} {height}" font-family="monospace" font-size="11">',
             f'<rect width="{WIDTH}" height="{height}" fill="#ffffff"/>',
             f'<text x="2" y="12" font-weight="bold">{html.escape(heading)}</text>']
    x = WIDTH
    for name, colour in sorted({colour_of(file) for file in root.files()}):
        x -= (len(name) + 4) * LETTER_WIDTH
        lines += [f'<rect x="{x:.1f}" y="2" width="11" height="11" fill="{colour}"/>',
                  f'<text x="{x + 15:.1f}" y="12">{name}</text>']
    return "\n".join([*lines, *boxes(root, 0, height - ROW, root.cost), "</svg>", ""])


def main(build, folder):
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    run = streams.Streams(build, "--separate-callers=200", "--separate-recs=1", "--dump-line=no")
    for size in (64, 64 * 1024):
        pairs = zip(run.commands(size, COMMANDS), run.commands(size, 2 * COMMANDS))
        for side, (less, more) in zip(("agent", "handler"), pairs):
            profile = more - less
            root = tree(profile, COMMANDS)
            allocations = sum(calls for frame, calls in profile.calls.items()
                              if frame.stack[0] in ("malloc", "calloc", "realloc")) / COMMANDS
            heading = (f"{side}, a command of {size} bytes: {root.cost:,.0f} instructions, "
                       f"{allocations:.1f} allocations, "
                       f"{sum(profile.system_calls.values()) / COMMANDS:.1f} system calls")
            path = folder / f"{side}-{size}.svg"
            path.write_text(drawing(root, heading), encoding="utf-8")
            print(f"{path}: {heading}", flush=True)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
