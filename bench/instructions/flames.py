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

    def depth(self):
        return 1 + max((box.depth() for box in self.called.values()), default=0)


def tree(profile, count):
    """The root of the boxes, which is main's caller, in instructions of one of `count` commands."""
    files = {place.stack: place.file for counter in (profile.own, profile.calls)
             for place in counter}
    root = Box()
    for place, cost in profile.own.items():
        stack = place.stack[:place.stack.index("main") + 1] if "main" in place.stack else ()
        if not stack:
            continue
        box = root
        box.cost += cost / count
        for i in reversed(range(len(stack))):
            file = files.get(place.stack[i:], "???").rpartition("/")[2]
            # Code that belongs to no file only passes calls on.
            if file != "???":
                box = box.called[file, stack[i].replace(STRING, "std::string")]
                box.cost += cost / count
    return root


def boxes(box, x, y, whole, lines):
    """Appends the boxes that `box` called to lines, the leftmost at x."""
    for (file, function), called in sorted(box.called.items(), key=lambda item: item[0]):
        if called.cost < LEAST * whole:
            continue
        width = called.cost / whole * WIDTH
        colour = next(colour for _, colour, files in COLOURS if file.startswith(files))
        # Of a library without symbols only the place is known.
        name = re.sub("^0x0*", file.partition(".")[0] + "+0x", function)
        short = name.partition("(")[0] or name
        letters = int((width - 4) / LETTER)
        text = short if len(short) <= letters else short[:letters - 2] + ".."
        lines.append(
            f'<g><title>{html.escape(name)}\n{file}: {called.cost:,.0f} instructions, '
            f'{called.cost / whole:.1%}</title>'
            f'<rect x="{x:.1f}" y="{y}" width="{width:.1f}" height="{ROW - 1}" fill="{colour}"/>' +
            (f'<text x="{x + 2:.1f}" y="{y + 12}">{html.escape(text)}</text>' if letters > 3 else "")
            + '</g>')
        boxes(called, x, y - ROW, whole, lines)
        x += width


def draw(root, heading, path):
    height = (root.depth() + 2) * ROW
    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" '
             f'viewBox="0 0 {WIDTH} {height}" font-family="monospace" font-size="11">',
             f'<rect width="{WIDTH}" height="{height}" fill="#ffffff"/>',
             f'<text x="2" y="12" font-weight="bold">{html.escape(heading)}</text>']
    files = " ".join(file for (file, _), box in walk(root) if box.cost >= LEAST * root.cost)
    x = WIDTH
    for name, colour, beginnings in COLOURS:
        if not any(f" {beginning}" in f" {files}" for beginning in beginnings):
            continue
        x -= (len(name) + 4) * LETTER
        lines += [f'<rect x="{x:.1f}" y="2" width="11" height="11" fill="{colour}"/>',
                  f'<text x="{x + 15:.1f}" y="12">{name}</text>']
    boxes(root, 0, height - ROW, root.cost, lines)
    path.write_text("\n".join([*lines, "</svg>", ""]), encoding="utf-8")


def walk(box):
    for item in box.called.items():
        yield item
        yield from walk(item[1])


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
            draw(root, heading, path)
            print(f"{path}: {heading}", flush=True)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
