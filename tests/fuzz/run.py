#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Fuzzes one target after another, starting from the corpus and the inputs of earlier runs.

usage: run.py BUILD [--seconds N] [--target NAME]

Prints one line per target. Inputs that fail are minimized and written to BUILD-findings.
"""

import argparse
import os
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
# Limits of one input. The timeout is generous: sanitizers are slow and machines may be busy.
INPUT_TIMEOUT_SECONDS = 60
MAX_MEGABYTES = 1500
MINIMIZE_SECONDS = 20
# Targets that run a whole platform: leak detection after each input would take nearly all the time,
# so leaks are detected only when the process exits.
LEAKS_DETECTED_AT_EXIT = {"agent-port", "handler-port", "sessions"}

# The sanitizers fail at random on kernels with more bits of address randomization than they expect.
WITHOUT_ASLR = ["setarch", "-R"]
if subprocess.run([*WITHOUT_ASLR, "true"], stderr=subprocess.DEVNULL).returncode != 0:
    WITHOUT_ASLR = []


class Target:
    def __init__(self, program, build, scratch):
        self.name = program.name[len("fuzz-"):]
        self.program = program
        self.stored_corpus = HERE / "corpus" / self.name
        self.corpus = build.with_name(build.name + "-corpus") / self.name
        self.findings = build.with_name(build.name + "-findings")
        self.environment = dict(os.environ, TMPDIR=scratch)
        self.corpus.mkdir(parents=True, exist_ok=True)
        self.findings.mkdir(exist_ok=True)

    def run(self, *arguments):
        command = [*WITHOUT_ASLR, self.program, f"-timeout={INPUT_TIMEOUT_SECONDS}",
                   f"-rss_limit_mb={MAX_MEGABYTES}", *arguments]
        return subprocess.run([str(argument) for argument in command], env=self.environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, errors="replace")

    def fuzz(self, seconds):
        """Returns the number of executions, whether the target failed, and the failing inputs."""
        before = set(self.findings.iterdir())
        # A fixed seed, so that runs are reproducible from a fresh clone. Later runs continue from
        # the inputs that earlier runs added.
        arguments = ["-seed=1", f"-max_total_time={seconds}", "-print_final_stats=1",
                     f"-artifact_prefix={self.findings}/{self.name}-"]
        if self.name in LEAKS_DETECTED_AT_EXIT:
            arguments.append("-detect_leaks=0")
        dictionary = HERE / "dictionaries" / f"{self.name}.dict"
        if dictionary.exists():
            arguments.append(f"-dict={dictionary}")
        result = self.run(*arguments, self.corpus, self.stored_corpus)
        found = sorted(file for file in set(self.findings.iterdir()) - before
                       if not file.name.startswith(f"{self.name}-slow-unit"))
        executions = int(self.number(r"stat::number_of_executed_units: +(\d+)", result.stdout))
        edges = self.number(r"cov: (\d+)", result.stdout)
        new = self.number(r"stat::new_units_added: +(\d+)", result.stdout)
        if result.returncode == 0:
            verdict = "no failures"
        elif found:
            verdict = "FAILED: " + self.cause(result.stdout)
        else:
            verdict = f"FAILED: exit status {result.returncode}"
        print(f"{self.name:18} {executions:>9} executions {edges:>6} edges {new:>5} new inputs"
              f"  {verdict}", flush=True)
        if result.returncode != 0 and not found:
            print(result.stdout[-4000:])
        return executions, result.returncode != 0, [self.minimize(file) for file in found]

    def minimize(self, file):
        smaller = file.with_name(file.name + ".small")
        # Only crashes can be minimized without changing the failure.
        if file.name.startswith(f"{self.name}-crash"):
            self.run("-minimize_crash=1", f"-max_total_time={MINIMIZE_SECONDS}",
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
        for pattern in (r"check failed: .*", r"SUMMARY: .*", r"ERROR: .*"):
            found = re.search(pattern, text)
            if found:
                return found.group(0)
        return "unknown failure"


def main():
    parser = argparse.ArgumentParser(usage="./run fuzz [--seconds N] [--target NAME]")
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--seconds", type=int, default=60, help="in total, for all targets")
    parser.add_argument("--target")
    options = parser.parse_args()
    programs = sorted(program for program in (options.build / "tests/fuzz").glob("fuzz-*")
                      if os.access(program, os.X_OK) and program.is_file())
    if options.target:
        names = [program.name[len("fuzz-"):] for program in programs]
        programs = [program for program in programs
                    if program.name == f"fuzz-{options.target}"]
        if not programs:
            parser.error(f"unknown target {options.target} (expected one of: {', '.join(names)})")
    seconds = max(1, options.seconds // len(programs))
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    executions, failures, found = 0, 0, []
    # Removes the files of processes that crashed.
    with tempfile.TemporaryDirectory(prefix="qor-fuzz-", dir=memory) as scratch:
        for program in programs:
            target = Target(program, options.build, scratch)
            count, failed, files = target.fuzz(seconds)
            executions += count
            failures += failed
            found += [(target, file) for file in files]
    for target, file in found:
        print(f"to reproduce: {target.program} {file}")
        print(f"  after the fix, add it to the corpus: mv {file} {target.stored_corpus}/")
    print(f"{executions} executions, {failures} of {len(programs)} targets failed"
          if failures else f"{executions} executions of {len(programs)} targets, no failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
