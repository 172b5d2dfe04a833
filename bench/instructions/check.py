#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Compares the instruction counts of operations with a baseline file.

  check.py BUILD FILE [--update]
  check.py BUILD --share    prints the library's share of the agent's instructions per command
"""

import platform
import subprocess
import sys

import streams

MAX_GROWTH = 0.10
MAX_SHARE = 0.25
# Counts of the same program that differ by more are too noisy to compare.
MAX_NOISE = 0.01
COMMANDS = 100
UPDATES = 20

LIBRARY = "libcapi-qor-handler-manager.so"
# Attributed to their callers.
RUN_TIME = ("libc.so", "libstdc++.so", "libm.so", "libgcc_s.so", "ld-linux")
STEPS = {
    "send": "qor_handler_manager_send_command",
    "deliver": "rpc_port::stub::stub::CommandHandler::OnCommandReceived::Invoke",
    "result": "rpc_port::stub::stub::CommandHandler::OnReceivedCB",
}

HEADER = """\
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# Instructions per operation, counted by callgrind in a release build: the difference between a long
# and a short stream of the operation divided by the difference in length, which excludes start-up.
# Names end with the payload's bytes; deliver is part of send, send and result are parts of command.
# `./run bench --check` fails when a count has grown by more than 10%, `./run bench --update` writes
# this file. Valid for:
"""


def is_in(frame, *libraries):
    return frame.file.rpartition("/")[2].startswith(libraries)


def inclusive(profile, function):
    """Returns the instructions of a function and its overloads, including callees."""
    def names(frame):
        return frame.stack[0].partition("(")[0] == function

    found = (sum(cost for frame, cost in profile.own.items() if names(frame)) +
             sum(cost for (caller, callee), cost in profile.callees.items()
                 if names(caller) and not names(callee)))
    if found == 0:
        raise SystemExit(f"{function} was never called: update its name in {__file__}")
    return found


def library_instructions(profile):
    """Returns the library's instructions, including the C and C++ run-time called by it."""
    return (sum(cost for frame, cost in profile.own.items() if is_in(frame, LIBRARY)) +
            sum(cost for (caller, callee), cost in profile.callees.items()
                if is_in(caller, LIBRARY) and is_in(callee, *RUN_TIME)))


def library_share(build):
    """Returns the library's share of the agent's instructions per command."""
    run = streams.Streams(build)
    less, more = (run.commands(64, count)[0] for count in (COMMANDS, 2 * COMMANDS))
    agent = more - less
    return library_instructions(agent) / agent.total()


def runs(stream, length):
    """Returns two pairs of runs, each with a difference of `length` operations."""
    short = stream(length)
    return [(short, stream(2 * length)) for _ in range(2)]


def count(build):
    """Returns the instructions of every operation, counted twice, and the library's share."""
    run = streams.Streams(build)
    counts = ({}, {})
    for size in (64, 64 * 1024):
        for into, (less, more) in zip(counts, runs(lambda n: run.commands(size, n), COMMANDS)):
            agent, handler = more[0] - less[0], more[1] - less[1]
            if size == 64:
                for step, function in STEPS.items():
                    into[f"agent-{step}-{size}"] = inclusive(agent, function) / COMMANDS
                share = library_instructions(agent) / agent.total()
            into[f"agent-command-{size}"] = agent.total() / COMMANDS
            into[f"handler-command-{size}"] = handler.total() / COMMANDS
    for into, (less, more) in zip(counts, runs(run.updates, UPDATES)):
        into["agent-package-update"] = (more - less).total() / UPDATES
    return *counts, share


def machine(build):
    """Returns the machine and compiler that the counts are valid for."""
    with open(f"{build}/CMakeCache.txt", encoding="utf-8") as cache:
        compiler = next(line for line in cache if line.startswith("CMAKE_CXX_COMPILER:"))
    version = subprocess.run([compiler.partition("=")[2].strip(), "--version"], check=True,
                             stdout=subprocess.PIPE, text=True).stdout.splitlines()[0]
    # Without the name by which the compiler was called.
    return f"{platform.machine()}, compiler {version.partition(' ')[2]}"


def read(path):
    """Returns the machine that a baseline is valid for, and its counts."""
    with open(path, encoding="utf-8") as file:
        lines = [line.rstrip() for line in file if line.strip()]
    valid_for = [line for line in lines if line.startswith("#")][-1][2:]
    counts = dict(line.split() for line in lines if not line.startswith("#"))
    return valid_for, {name: int(number) for name, number in counts.items()}


def write(path, here, counts):
    with open(path, "w", encoding="utf-8") as file:
        file.write(f"{HEADER}# {here}\n\n")
        file.writelines(f"{name:<24}{number:>10.0f}\n" for name, number in counts.items())
    print(f"{path}: written")


def find_noise(first, second):
    """Describes the first difference between two counts that should be equal, or returns None."""
    for name, number in first.items():
        if abs(second[name] - number) > MAX_NOISE * number:
            return (f"counts are not repeatable: {name} took {number:.0f}, then "
                    f"{second[name]:.0f} instructions")
    return None


def compare(baseline, counts):
    """Prints the counts next to the baseline and returns the errors."""
    errors = [f"{name} is in the baseline but not counted"
              for name in baseline.keys() - counts.keys()]
    print(f"{'instructions per':<24}{'baseline':>10}{'now':>10}")
    for name, number in counts.items():
        if name not in baseline:
            errors.append(f"{name} is not in the baseline")
            continue
        growth = number / baseline[name] - 1
        print(f"{name:<24}{baseline[name]:>10}{number:>10.0f}{growth:>+9.1%}")
        if number > (1 + MAX_GROWTH) * baseline[name]:
            errors.append(f"{name} grew by more than {MAX_GROWTH:.0%}, from {baseline[name]} to "
                         f"{number:.0f} instructions")
    return errors


def main(build, path, *options):
    if path == "--share":
        print(f"{library_share(build):.4f}")
        return 0
    here = machine(build)
    update = options == ("--update",)
    if not update:
        valid_for, baseline = read(path)
        if here != valid_for:
            print(f"NOT COMPARED: {path} is valid for {valid_for}, this is {here}")
            return 0

    first, second, share = count(build)
    noise = find_noise(first, second)
    if noise:
        print(f"{'NOT WRITTEN' if update else 'NOT COMPARED'}: {noise}")
        return 1 if update else 0
    if update:
        write(path, here, second)
        return 0
    errors = compare(baseline, second)
    print(f"the library's share of a command in the agent: {share:.1%}; at most "
          f"{MAX_SHARE:.0%}: {'met' if share <= MAX_SHARE else 'NOT met'}")
    for text in errors:
        print(f"{path}: {text} (if intended: ./run bench --update)")
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
