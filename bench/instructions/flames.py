#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Draws what the instructions of a command are spent in, as flame graphs.

  flames.py BUILD FOLDER

FOLDER gets agent-BYTES.svg and handler-BYTES.svg for each size of the payload: who calls whom from
bottom to top, as wide as what is spent there. A box tells more when the pointer rests on it.
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
LETTER = 6.7
# Narrower boxes are left out, in parts of the whole.
LEAST = 0.0005
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
    """A function below those that called it: what was spent in it and in all that it called."""

    def __init__(self):
        self.cost = 0
        self.called = collections.defaultdict(Box)

    def prune(self, least):
        self.called = {key: box for key, box in self.called.items() if box.cost >= least}
        for box in self.called.values():
            box.prune(least)

    def depth(self):
        return 1 + max((box.depth() for box in self.called.values()), default=0)

    def files(self):
        below = (box.files() for box in self.called.values())
        return {file for file, _ in self.called}.union(*below)


def tree(profile, count):
    """The root of the boxes, below main, in instructions of one of `count` commands."""
    files = {place.stack: place.file for counter in (profile.own, profile.calls)
             for place in counter}
    root = Box()
    for place, cost in profile.own.items():
        if "main" not in place.stack:
            continue
        box = root
        box.cost += cost / count
        for i in reversed(range(place.stack.index("main") + 1)):
            file = files.get(place.stack[i:], "???").rpartition("/")[2]
            # Code that belongs to no file only passes calls on.
            if file != "???":
                box = box.called[file, place.stack[i].replace(STRING, "std::string")]
                box.cost += cost / count
    root.prune(LEAST * root.cost)
    return root


def colour_of(file):
    return next((name, colour) for name, colour, files in COLOURS if file.startswith(files))


def full_name(file, function):
    # Of a library without symbols only the place is known.
    return re.sub("^0x0*", file.partition(".")[0] + "+0x", function)


def short_name(name):
    """Without arguments; of a function object, whose it is."""
    name = name.replace("(anonymous namespace)::", "")
    function_object = re.search(r"([\w:~]+)(\([^()]*\))?(::operator\(\)|( const)?::\{lambda)", name)
    if function_object:
        return function_object[1] + "::{lambda}"
    return name.partition("(")[0]


def boxes(box, x, y, whole):
    """The boxes that `box` called, the leftmost at x, and those that they called, above them."""
    for (file, function), called in sorted(box.called.items(), key=lambda item: item[0]):
        width = called.cost / whole * WIDTH
        name = full_name(file, function)
        text = short_name(name)
        letters = int((width - 4) / LETTER)
        if len(text) > letters:
            text = text[:letters - 2] + ".." if letters > 3 else ""
        yield (f'<g><title>{html.escape(name)}\n{file}: {called.cost:,.0f} instructions, '
               f'{called.cost / whole:.1%}</title><rect x="{x:.1f}" y="{y}" width="{width:.1f}" '
               f'height="{ROW - 1}" fill="{colour_of(file)[1]}"/>'
               f'<text x="{x + 2:.1f}" y="{y + 12}">{html.escape(text)}</text></g>')
        yield from boxes(called, x, y - ROW, whole)
        x += width


def drawing(root, heading):
    """The text of an SVG file."""
    # The root's own row is the heading's.
    height = root.depth() * ROW
    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" '
             f'viewBox="0 0 {WIDTH} {height}" font-family="monospace" font-size="11">',
             f'<rect width="{WIDTH}" height="{height}" fill="#ffffff"/>',
             f'<text x="2" y="12" font-weight="bold">{html.escape(heading)}</text>']
    x = WIDTH
    for name, colour in sorted({colour_of(file) for file in root.files()}):
        x -= (len(name) + 4) * LETTER
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
            allocations = sum(calls for place, calls in profile.calls.items()
                              if place.stack[0] in ("malloc", "calloc", "realloc")) / COMMANDS
            heading = (f"{side}, a command of {size} bytes: {root.cost:,.0f} instructions, "
                       f"{allocations:.1f} allocations, "
                       f"{sum(profile.system_calls.values()) / COMMANDS:.1f} system calls")
            path = folder / f"{side}-{size}.svg"
            path.write_text(drawing(root, heading), encoding="utf-8")
            print(f"{path}: {heading}", flush=True)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
