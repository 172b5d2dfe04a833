# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Reads the output of callgrind --collect-systime=yes."""

import collections

# The source of a cost: the file of a library or program, and a tuple of a function and, with
# --separate-callers, its callers from the innermost outwards.
Frame = collections.namedtuple("Frame", "file stack")


class Profile:
    """The counters of a run.

    own: instructions of each frame itself; system_calls: system calls of each frame itself;
    callees: inclusive instructions of calls, by (caller, callee); calls: calls of each frame.
    """

    def __init__(self):
        self.own = collections.Counter()
        self.system_calls = collections.Counter()
        self.callees = collections.Counter()
        self.calls = collections.Counter()

    def __sub__(self, other):
        """Returns the counters of this run minus those of the other."""
        rest = Profile()
        for mine, theirs, difference in zip(vars(self).values(), vars(other).values(),
                                            vars(rest).values()):
            difference.update(mine)
            difference.subtract(theirs)
        return rest

    def total(self):
        return sum(self.own.values())


def read(path):
    """Returns the Profile in a file."""
    profile = Profile()
    names = {}

    def name(text):
        # Name compression: "kind=(7) text" defines a name, "kind=(7)" refers to it.
        kind, _, rest = text.rstrip("\n").partition("=")
        number, _, given = rest.partition(" ")
        key = kind[-2:], number
        if given:
            names[key] = tuple(given.split("'")) if key[0] == "fn" else given
        return names[key]

    file = called_file = frame = called = None
    with open(path, encoding="utf-8", errors="replace") as lines:
        for line in lines:
            if line[0].isdigit() or line[0] in "+-*":
                costs = [int(number) for number in line.split()[1:3]] + [0, 0]
                if called:
                    profile.callees[frame, called] += costs[0]
                    called = None
                else:
                    profile.own[frame] += costs[0]
                    profile.system_calls[frame] += costs[1]
            elif line.startswith("ob="):
                file = name(line)
            elif line.startswith("fn="):
                frame = Frame(file, name(line))
            elif line.startswith("cob="):
                called_file = name(line)
            elif line.startswith("cfn="):
                callee = Frame(called_file or file, name(line))
                called_file = None
            elif line.startswith("calls="):
                called = callee
                profile.calls[called] += int(line[6:].split()[0])
    return profile
