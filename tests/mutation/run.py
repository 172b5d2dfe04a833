#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Mutation testing: applies each mutant to a copy of the sources and runs the unit tests; for a mutant
of the agent library or of the SDK, the simulation.

A mutant that survives shows a missing test. Mutants are defined in the .txt files of this folder:

    == name of the mutant
    path of the source
    -old text, one or more lines, which occurs exactly once in the source
    +new text, zero or more lines

usage: run.py WORK_FOLDER [NAME...]

With names, only mutants whose name contains one of them are run.
"""

import concurrent.futures
import os
import pathlib
import queue
import re
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
SOURCES = ["CMakeLists.txt", "agent", "cmake", "handler", "include", "json", "platform", "qor-common",
           "sqlite", "src", "tests", "text"]
WORKERS = 2
# Far above the duration of all tests: a mutant may loop forever.
TEST_TIMEOUT_SECONDS = 120
SIMULATED_CUTS = 6000


class MutantError(Exception):
    """A mutant that cannot be applied, compiled or tested."""


class Mutant:
    def __init__(self, lines):
        self.name = lines[0][3:].strip()
        self.file = lines[1].strip() if len(lines) > 1 else ""
        self.old = "\n".join(line[1:] for line in lines[2:] if line.startswith("-"))
        self.new = "\n".join(line[1:] for line in lines[2:] if line.startswith("+"))

    def apply(self, text):
        if not self.old or text.count(self.old) != 1 or self.old == self.new:
            raise MutantError(f"{self.name}: expected one occurrence of the old text in {self.file}, "
                              f"got {text.count(self.old)}")
        return text.replace(self.old, self.new)


def read_mutants():
    mutants = []
    for path in sorted(HERE.glob("*.txt")):
        lines = [line for line in path.read_text().splitlines() if line and line[0] != "#"]
        starts = [i for i, line in enumerate(lines) if line.startswith("== ")]
        for start, end in zip(starts, starts[1:] + [len(lines)]):
            mutants.append(Mutant(lines[start:end]))
    names = [mutant.name for mutant in mutants]
    for name in set(names):
        if names.count(name) > 1:
            raise MutantError(f"{name}: duplicate name")
    for mutant in mutants:
        mutant.apply((ROOT / mutant.file).read_text())
    return mutants


class Tree:
    """A copy of the sources with its own build folder."""

    def __init__(self, folder):
        self.folder = folder
        self.sources = folder / "sources"
        self.build = folder / "build"
        self.environment = dict(
            os.environ,
            CCACHE_BASEDIR=str(self.sources),
            CCACHE_NOHASHDIR="1",
            # Overwrites freed memory, so that uses after free fail.
            MALLOC_PERTURB_="165",
        )

    def prepare(self):
        self.copy_sources()
        # Tests that crash leave their files behind.
        temporary = self.folder / "tmp"
        shutil.rmtree(temporary, ignore_errors=True)
        temporary.mkdir()
        self.environment["TMPDIR"] = str(temporary)
        launcher = []
        if shutil.which("ccache"):
            launcher = ["-DCMAKE_C_COMPILER_LAUNCHER=ccache", "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"]
        # No debug information: nothing reads it, and writing it is slow.
        self.call("cmake", "-G", "Ninja", "-S", self.sources, "-B", self.build,
                  "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=", "-DQOR_BUILD_TOOLS=OFF",
                  *launcher, check=True)
        built, log = self.compile()
        if not built:
            raise MutantError("the unchanged sources do not compile:\n" + log)
        failure = self.test() or self.test(simulates=True)
        if failure:
            raise MutantError(f"the unchanged sources fail {failure}")

    def copy_sources(self):
        """Writes only files that differ, so that the build is incremental."""
        wanted = set()
        for name in SOURCES:
            start = ROOT / name
            for path in [start] if start.is_file() else start.rglob("*"):
                if path.is_file():
                    wanted.add(path.relative_to(ROOT))
        for path in wanted:
            copy = self.sources / path
            if not copy.exists() or copy.read_bytes() != (ROOT / path).read_bytes():
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copyfile(ROOT / path, copy)
        for copy in list(self.sources.rglob("*")):
            if copy.is_file() and copy.relative_to(self.sources) not in wanted:
                copy.unlink()

    def compile(self):
        result = self.call("ninja", "-j1", "-C", self.build, "qor_unit_tests", "qor_simulation")
        return result.returncode == 0, result.stdout

    def test(self, simulates=False):
        """The name of the first failed test, or None."""
        return self.simulate() if simulates else self.unit_test()

    def simulate(self):
        try:
            result = self.call(self.build / "tests/simulation/qor_simulation", "--cuts",
                               SIMULATED_CUTS, timeout=TEST_TIMEOUT_SECONDS)
        except subprocess.TimeoutExpired:
            return "simulation (timeout)"
        if result.returncode == 0:
            return None
        violation = re.search(r"^seed .*", result.stdout, re.MULTILINE)
        return "simulation: " + (violation.group(0) if violation else "crash")

    def unit_test(self):
        try:
            result = self.call(self.build / "tests/unit/qor_unit_tests", "--gtest_fail_fast",
                               timeout=TEST_TIMEOUT_SECONDS)
        except subprocess.TimeoutExpired as error:
            return last_started((error.stdout or b"").decode(errors="replace")) + " (timeout)"
        if result.returncode == 0:
            return None
        failed = re.search(r"^\[  FAILED  \] (\S+?)(,| \()", result.stdout, re.MULTILINE)
        return failed.group(1) if failed else last_started(result.stdout) + " (crash)"

    def run_mutant(self, mutant):
        path = self.sources / mutant.file
        original = path.read_text()
        path.write_text(mutant.apply(original))
        try:
            built, log = self.compile()
            if not built:
                raise MutantError(f"{mutant.name}: does not compile:\n{log}")
            return self.test(simulates=mutant.file.startswith(("agent/", "handler/")))
        finally:
            path.write_text(original)

    def call(self, *command, **options):
        return subprocess.run([str(part) for part in command], env=self.environment, text=True,
                              errors="replace", stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              cwd=self.folder, **options)


def last_started(output):
    started = re.findall(r"^\[ RUN      \] (\S+)", output, re.MULTILINE)
    return started[-1] if started else "before the first test"


def work(tree, waiting, report):
    """Runs mutants until the queue is empty. Returns the errors."""
    errors = []
    while True:
        try:
            mutant = waiting.get_nowait()
        except queue.Empty:
            return errors
        try:
            report(mutant, tree.run_mutant(mutant))
        except MutantError as error:
            errors.append(str(error))


def main():
    work_folder = pathlib.Path(sys.argv[1]).resolve()
    wanted = sys.argv[2:]
    mutants = [mutant for mutant in read_mutants()
               if not wanted or any(text in mutant.name for text in wanted)]
    if not mutants:
        raise MutantError("no mutant of this name")

    trees = [Tree(work_folder / f"tree{number}") for number in range(min(WORKERS, len(mutants)))]
    for tree in trees:
        tree.sources.mkdir(parents=True, exist_ok=True)
    waiting = queue.Queue()
    for mutant in mutants:
        waiting.put(mutant)
    width = max(len(mutant.name) for mutant in mutants)
    survivors = []

    def report(mutant, failed_test):
        if failed_test is None:
            survivors.append(mutant.name)
        print(f"{mutant.name:{width}}  {failed_test or 'SURVIVED'}", flush=True)

    with concurrent.futures.ThreadPoolExecutor(len(trees)) as pool:
        list(pool.map(Tree.prepare, trees))
        errors = sum(pool.map(lambda tree: work(tree, waiting, report), trees), [])

    for error in errors:
        print(error, file=sys.stderr)
    print(f"{len(mutants) - len(survivors) - len(errors)} killed, {len(survivors)} survived"
          + (f", {len(errors)} errors" if errors else ""))
    return 1 if survivors or errors else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except MutantError as error:
        sys.exit(str(error))
