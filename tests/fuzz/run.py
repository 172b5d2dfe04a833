#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Makes inputs up for one target after another, from the kept ones and those found before.

usage: run.py BUILD [--seconds N] [--target NAME]

Prints a line for each target. What goes wrong is made small and kept in BUILD-findings."""
import argparse
import os
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
# Of one input, before it counts as endless. Sanitizers are slow, and busy machines may rest.
MOST_SECONDS = 60
MOST_MEGABYTES = 1500
SECONDS_TO_MINIMISE = 20
# Where a whole platform is alive, searching its memory after each input takes nearly all the time.
LEAKS_AT_THE_END = {"agent-port", "handler-port", "sessions"}

# The sanitizers lose their way where the kernel spreads addresses wider than they know.
AT_FIXED_ADDRESSES = ["setarch", "-R"]
if subprocess.run([*AT_FIXED_ADDRESSES, "true"], stderr=subprocess.DEVNULL).returncode != 0:
    AT_FIXED_ADDRESSES = []


class Target:
    def __init__(self, program, build, scratch):
        self.name = program.name[len("fuzz-"):]
        self.program = program
        self.kept = HERE / "corpus" / self.name
        self.corpus = build.with_name(build.name + "-corpus") / self.name
        self.findings = build.with_name(build.name + "-findings")
        self.environment = dict(os.environ, TMPDIR=scratch)
        self.corpus.mkdir(parents=True, exist_ok=True)
        self.findings.mkdir(exist_ok=True)

    def run(self, *arguments):
        command = [*AT_FIXED_ADDRESSES, self.program, f"-timeout={MOST_SECONDS}",
                   f"-rss_limit_mb={MOST_MEGABYTES}", *arguments]
        return subprocess.run([str(word) for word in command], env=self.environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, errors="replace")

    def fuzz(self, seconds):
        """Returns the count of executions, and the files of what was found."""
        before = set(self.findings.iterdir())
        # A fresh clone makes up the same inputs each time; what they add to the corpus leads on.
        words = ["-seed=1", f"-max_total_time={seconds}", "-print_final_stats=1",
                 f"-artifact_prefix={self.findings}/{self.name}-"]
        if self.name in LEAKS_AT_THE_END:
            words.append("-detect_leaks=0")
        dictionary = HERE / "dictionaries" / f"{self.name}.dict"
        if dictionary.exists():
            words.append(f"-dict={dictionary}")
        result = self.run(*words, self.corpus, self.kept)
        found = sorted(file for file in set(self.findings.iterdir()) - before
                       if not file.name.startswith(f"{self.name}-slow-unit"))
        executions = int(self.number(r"stat::number_of_executed_units: +(\d+)", result.stdout))
        edges = self.number(r"cov: (\d+)", result.stdout)
        new = self.number(r"stat::new_units_added: +(\d+)", result.stdout)
        if result.returncode == 0:
            verdict = "nothing found"
        elif found:
            verdict = "FOUND " + self.cause(result.stdout)
        else:
            verdict = f"FAILED with status {result.returncode}"
        print(f"{self.name:18} {executions:>9} executions {edges:>6} edges {new:>5} new inputs"
              f"  {verdict}", flush=True)
        if result.returncode != 0 and not found:
            print(result.stdout[-4000:])
        return executions, result.returncode != 0, [self.minimise(file) for file in found]

    def minimise(self, file):
        smaller = file.with_name(file.name + ".small")
        # Only what ends the process can be made smaller without changing what is found.
        if file.name.startswith(f"{self.name}-crash"):
            self.run("-minimize_crash=1", f"-max_total_time={SECONDS_TO_MINIMISE}",
                     f"-exact_artifact_path={smaller}", file)
        if smaller.exists():
            smaller.replace(file)
        return file

    @staticmethod
    def number(pattern, text):
        numbers = re.findall(pattern, text)
        return numbers[-1] if numbers else "0"

    @staticmethod
    def cause(text):
        for pattern in (r"required, but not so: .*", r"SUMMARY: .*", r"ERROR: .*"):
            found = re.search(pattern, text)
            if found:
                return found.group(0)
        return "something"


def main():
    parser = argparse.ArgumentParser(usage="./run fuzz [--seconds N] [--target NAME]")
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--seconds", type=int, default=60, help="for all targets together")
    parser.add_argument("--target")
    options = parser.parse_args()
    programs = sorted(program for program in (options.build / "tests/fuzz").glob("fuzz-*")
                      if os.access(program, os.X_OK) and program.is_file())
    if options.target:
        names = [program.name[len("fuzz-"):] for program in programs]
        programs = [program for program in programs
                    if program.name == f"fuzz-{options.target}"]
        if not programs:
            parser.error(f"there is no target {options.target}; there are {', '.join(names)}")
    seconds = max(1, options.seconds // len(programs))
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    executions, failures, found = 0, 0, []
    # A process that crashed leaves its files behind: they go with this folder.
    with tempfile.TemporaryDirectory(prefix="qor-fuzz-", dir=memory) as scratch:
        for program in programs:
            target = Target(program, options.build, scratch)
            count, failed, files = target.fuzz(seconds)
            executions += count
            failures += failed
            found += [(target, file) for file in files]
    for target, file in found:
        print(f"to see it again: {target.program} {file}")
        print(f"  once it is put right, it stays so with: mv {file} {target.kept}/")
    print(f"{executions} executions, {failures} of {len(programs)} targets found something"
          if failures else f"{executions} executions of {len(programs)} targets: nothing found")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
