#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Compares the instructions of operations with those on file.

  check.py BUILD FILE [--update]
  check.py BUILD --share    prints the library's own part of the agent's instructions per command
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
    """What a function and its overloads spent, with all that they called."""
    def names(place):
        return place.stack[0].partition("(")[0] == function

    found = (sum(cost for place, cost in profile.own.items() if names(place)) +
             sum(cost for (caller, called), cost in profile.through.items()
                 if names(caller) and not names(called)))
    if found == 0:
        raise SystemExit(f"{function} was never called: name another one in {__file__}")
    return found


def of_the_library(profile):
    """What the library spent, with the C and C++ run-time's work for it."""
    return (sum(cost for place, cost in profile.own.items() if is_in(place, LIBRARY)) +
            sum(cost for (caller, called), cost in profile.through.items()
                if is_in(caller, LIBRARY) and is_in(called, *RUN_TIME)))


def share_of_the_library(build):
    """The library's part of what the agent spends on a command."""
    run = streams.Streams(build)
    less, more = (run.commands(64, count)[0] for count in (COMMANDS, 2 * COMMANDS))
    agent = more - less
    return of_the_library(agent) / agent.total()


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


def read(path):
    """The machine that the counts in a file hold for, and the counts."""
    with open(path, encoding="utf-8") as file:
        lines = [line.rstrip() for line in file if line.strip()]
    holds_for = [line for line in lines if line.startswith("#")][-1][2:]
    counts = dict(line.split() for line in lines if not line.startswith("#"))
    return holds_for, {name: int(number) for name, number in counts.items()}


def write(path, here, counts):
    with open(path, "w", encoding="utf-8") as file:
        file.write(f"{HEAD}# {here}\n\n")
        file.writelines(f"{name:<24}{number:>10.0f}\n" for name, number in counts.items())
    print(f"{path}: written")


def differing(first, second):
    """What keeps two counts of the same from telling anything, or None."""
    for name, number in first.items():
        if abs(second[name] - number) > REPEATABLE * number:
            return (f"the counts do not repeat here: {name} took {number:.0f}, then "
                    f"{second[name]:.0f} instructions")
    return None


def compare(on_file, counts):
    """Prints them side by side; returns a text about each that is not as it should be."""
    wrong = [f"{name} is on file and no longer counted" for name in on_file.keys() - counts.keys()]
    print(f"{'instructions of one':<24}{'on file':>10}{'now':>10}")
    for name, number in counts.items():
        if name not in on_file:
            wrong.append(f"{name} is not on file")
            continue
        growth = number / on_file[name] - 1
        print(f"{name:<24}{on_file[name]:>10}{number:>10.0f}{growth:>+9.1%}")
        if number > (1 + MOST_GROWTH) * on_file[name]:
            wrong.append(f"{name} grew by more than {MOST_GROWTH:.0%}, from {on_file[name]} to "
                         f"{number:.0f} instructions")
    return wrong


def main(build, path, *options):
    if path == "--share":
        print(f"{share_of_the_library(build):.4f}")
        return 0
    here = machine(build)
    update = options == ("--update",)
    if not update:
        holds_for, on_file = read(path)
        if here != holds_for:
            print(f"NOT COMPARED: {path} holds for {holds_for}, and this is {here}")
            return 0

    first, second, share = count(build)
    trouble = differing(first, second)
    if trouble:
        print(f"{'NOT WRITTEN' if update else 'NOT COMPARED'}: {trouble}")
        return 1 if update else 0
    if update:
        write(path, here, second)
        return 0
    wrong = compare(on_file, second)
    print(f"the library's own part of an agent's command: {share:.1%}; at most "
          f"{MOST_OF_THE_AGENT:.0%}: {'reached' if share <= MOST_OF_THE_AGENT else 'NOT reached'}")
    for text in wrong:
        print(f"{path}: {text}; if that is wanted: ./run bench --update")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
