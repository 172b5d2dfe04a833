# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Reads what callgrind writes with --collect-systime=yes."""

import collections

# Where a cost arose: the file of a library or program, and a function in it. With --separate-callers
# that is a tuple of it and those that called it, one after another; a tuple of one without.
Place = collections.namedtuple("Place", "file stack")


class Profile:
    """own: the instructions that each place spent by itself; system_calls: those it made by itself;
    through: the instructions spent in others that it called, for each pair of caller and called;
    calls: how often each place was called."""

    def __init__(self):
        self.own = collections.Counter()
        self.system_calls = collections.Counter()
        self.through = collections.Counter()
        self.calls = collections.Counter()

    def __sub__(self, other):
        """What this run did beyond the other one."""
        rest = Profile()
        for mine, theirs, difference in zip(vars(self).values(), vars(other).values(),
                                            vars(rest).values()):
            difference.update(mine)
            difference.subtract(theirs)
        return rest

    def total(self):
        return sum(self.own.values())


def read(path):
    """The Profile in a file."""
    profile = Profile()
    names = {}

    def name(text):
        # "kind=(7) text" names it, "kind=(7)" alone refers to that.
        kind, _, rest = text.rstrip("\n").partition("=")
        number, _, given = rest.partition(" ")
        key = kind[-2:], number
        if given:
            names[key] = tuple(given.split("'")) if key[0] == "fn" else given
        return names[key]

    file = called_file = place = called = None
    with open(path, encoding="utf-8", errors="replace") as lines:
        for line in lines:
            if line[0].isdigit() or line[0] in "+-*":
                costs = [int(number) for number in line.split()[1:3]] + [0, 0]
                if called:
                    profile.through[place, called] += costs[0]
                    called = None
                else:
                    profile.own[place] += costs[0]
                    profile.system_calls[place] += costs[1]
            elif line.startswith("ob="):
                file = name(line)
            elif line.startswith("fn="):
                place = Place(file, name(line))
            elif line.startswith("cob="):
                called_file = name(line)
            elif line.startswith("cfn="):
                callee = Place(called_file or file, name(line))
                called_file = None
            elif line.startswith("calls="):
                called = callee
                profile.calls[called] += int(line[6:].split()[0])
    return profile
