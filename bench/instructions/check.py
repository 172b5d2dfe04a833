#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Compares the instructions of operations with those on file.

  check.py BUILD FILE [--update]
"""

import platform
import subprocess
import sys

import streams

MOST_GROWTH = 0.10
MOST_OF_THE_AGENT = 0.25
# Two counts of the same program that differ by more do not tell anything.
REPEATABLE = 0.01
COMMANDS = 100
UPDATES = 20

LIBRARY = "libcapi-qor-handler-manager.so"
# Work for whoever calls them.
RUN_TIME = ("libc.so", "libstdc++.so", "libm.so", "libgcc_s.so", "ld-linux")
STEPS = {
    "send": "qor_handler_manager_send_command",
    "deliver": "rpc_port::stub::stub::CommandHandler::OnCommandReceived::Invoke",
    "result": "rpc_port::stub::stub::CommandHandler::OnReceivedCB",
}

HEAD = """\
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# Instructions of one operation, counted by callgrind in a release build: what a long stream of it
# takes beyond a short one, divided by the difference, so that nothing of the start is in it. A name
# ends with the bytes of the payload; deliver is a part of send, send and result of the command.
# `./run bench --check` fails when one has grown by more than 10%, `./run bench --update` writes
# this file. They hold for:
"""


def is_in(place, *libraries):
    return place.file.rpartition("/")[2].startswith(libraries)


def inclusive(profile, function):
    """What a function spent, with all that it called."""
    def names(place):
        return place.stack[0].partition("(")[0] == function

    found = (sum(cost for place, cost in profile.own.items() if names(place)) +
             sum(cost for (caller, _), cost in profile.through.items() if names(caller)))
    if found == 0:
        raise SystemExit(f"{function} was never called: name another one in {__file__}")
    return found


def of_the_library(profile):
    """What the library spent, with the C and C++ run-time's work for it."""
    return (sum(cost for place, cost in profile.own.items() if is_in(place, LIBRARY)) +
            sum(cost for (caller, called), cost in profile.through.items()
                if is_in(caller, LIBRARY) and is_in(called, *RUN_TIME)))


def runs(stream, length):
    """Pairs of runs, one `length` operations longer than the other; all pairs should differ alike."""
    short = stream(length)
    return [(short, stream(2 * length)) for _ in range(2)]


def count(build):
    """Two dictionaries with the instructions of every operation, and the library's share."""
    run = streams.Streams(build)
    counts = ({}, {})
    for size in (64, 64 * 1024):
        for into, (less, more) in zip(counts, runs(lambda n: run.commands(size, n), COMMANDS)):
            agent, handler = more[0] - less[0], more[1] - less[1]
            if size == 64:
                for step, function in STEPS.items():
                    into[f"agent-{step}-{size}"] = inclusive(agent, function) / COMMANDS
                share = of_the_library(agent) / agent.total()
            into[f"agent-command-{size}"] = agent.total() / COMMANDS
            into[f"handler-command-{size}"] = handler.total() / COMMANDS
    for into, (less, more) in zip(counts, runs(run.updates, UPDATES)):
        into["agent-package-update"] = (more - less).total() / UPDATES
    return *counts, share


def machine(build):
    """What the counts hold for."""
    with open(f"{build}/CMakeCache.txt", encoding="utf-8") as cache:
        compiler = next(line for line in cache if line.startswith("CMAKE_CXX_COMPILER:"))
    version = subprocess.run([compiler.partition("=")[2].strip(), "--version"], check=True,
                             stdout=subprocess.PIPE, text=True).stdout.splitlines()[0]
    # Not by which name it was called.
    return f"{platform.machine()}, compiler {version.partition(' ')[2]}"


def main(build, path, *options):
    here = machine(build)
    on_file = {}
    if options != ("--update",):
        with open(path, encoding="utf-8") as file:
            lines = file.read().splitlines()
        if f"# {here}" not in lines:
            print(f"NOT COMPARED: {path} does not hold for this machine: {here}")
            return 0
        on_file = {name: int(number) for name, number in
                   (line.split() for line in lines if line and line[0] != "#")}

    first, second, share = count(build)
    for name, number in first.items():
        if abs(second[name] - number) > REPEATABLE * number:
            print(f"NOT COMPARED: the counts do not repeat here: {name} took {number:.0f}, then "
                  f"{second[name]:.0f} instructions")
            return 0
    if options == ("--update",):
        with open(path, "w", encoding="utf-8") as file:
            file.write(f"{HEAD}# {here}\n\n")
            file.writelines(f"{name:<24}{number:>10.0f}\n" for name, number in second.items())
        print(f"{path}: written")
        return 0

    grown = []
    print(f"{'instructions of one':<24}{'on file':>10}{'now':>10}")
    for name, number in second.items():
        if name not in on_file:
            grown.append(f"{name} is not in {path}")
            continue
        growth = number / on_file[name] - 1
        print(f"{name:<24}{on_file[name]:>10}{number:>10.0f}{growth:>+9.1%}")
        if growth > MOST_GROWTH:
            grown.append(f"{name} grew from {on_file[name]} to {number:.0f} instructions, "
                         f"by more than {MOST_GROWTH:.0%}")
    print(f"the library's own part of an agent's command: {share:.1%}, "
          f"{'reached' if share <= MOST_OF_THE_AGENT else 'NOT reached'}: "
          f"at most {MOST_OF_THE_AGENT:.0%}")
    for line in grown:
        print(f"{line}; if that is wanted: ./run bench --update")
    return 1 if grown else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
