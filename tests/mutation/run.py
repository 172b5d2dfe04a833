#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Puts small faults into copies of the sources, one at a time, and tells which unit test sees each.

A fault that no test sees is a test that is missing. The faults stand in the .txt files beside this
script:

    == name of the fault
    path of the source
    -text that stands there exactly once, over as many lines as it takes
    +text that takes its place; nothing, where the old text is only dropped

usage: run.py WORK_FOLDER [NAME...]    only faults whose name holds one of the given texts
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
SOURCES = ["CMakeLists.txt", "cmake", "handler", "include", "json", "platform", "qor-common",
           "sqlite", "src", "tests", "text"]
WORKERS = 2
# Far above what all tests take; a fault may make one wait for ever.
SECONDS_TO_TEST = 120


class ListError(Exception):
    """The list of faults is wrong."""


class Mutant:
    def __init__(self, lines):
        self.name = lines[0][3:].strip()
        self.file = lines[1].strip() if len(lines) > 1 else ""
        self.old = "\n".join(line[1:] for line in lines[2:] if line.startswith("-"))
        self.new = "\n".join(line[1:] for line in lines[2:] if line.startswith("+"))

    def apply(self, text):
        if not self.old or text.count(self.old) != 1 or self.old == self.new:
            raise ListError(f"{self.name}: stands {text.count(self.old)} times in {self.file}")
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
            raise ListError(f"{name}: two faults of this name")
    for mutant in mutants:
        mutant.apply((ROOT / mutant.file).read_text())
    return mutants


class Tree:
    """A copy of the sources with a build of its own."""

    def __init__(self, folder):
        self.folder = folder
        self.sources = folder / "sources"
        self.build = folder / "build"
        self.environment = dict(
            os.environ,
            CCACHE_BASEDIR=str(self.sources),
            CCACHE_NOHASHDIR="1",
            # Released memory does not keep its contents, so that its users are found out.
            MALLOC_PERTURB_="165",
        )

    def prepare(self):
        self.copy_sources()
        # A fault that ends the tests leaves their files behind.
        temporary = self.folder / "tmp"
        shutil.rmtree(temporary, ignore_errors=True)
        temporary.mkdir()
        self.environment["TMPDIR"] = str(temporary)
        launcher = []
        if shutil.which("ccache"):
            launcher = ["-DCMAKE_C_COMPILER_LAUNCHER=ccache", "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"]
        # Debug without debug information, which takes long to write and is not looked at.
        self.call("cmake", "-G", "Ninja", "-S", self.sources, "-B", self.build,
                  "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=", "-DQOR_BUILD_TOOLS=OFF",
                  *launcher, check=True)
        built, log = self.compile()
        if not built:
            raise ListError("the sources do not compile:\n" + log)
        failure = self.test()
        if failure:
            raise ListError(f"the tests fail without any fault: {failure}")

    def copy_sources(self):
        """Touches only what differs, so that the build goes on from where it was."""
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
        result = self.call("ninja", "-j1", "-C", self.build, "qor_unit_tests")
        return result.returncode == 0, result.stdout

    def test(self):
        """The name of the first test that fails; none when all pass."""
        try:
            result = self.call(self.build / "tests/unit/qor_unit_tests", "--gtest_fail_fast",
                               timeout=SECONDS_TO_TEST)
        except subprocess.TimeoutExpired as error:
            return last_started((error.stdout or b"").decode(errors="replace")) + " (does not end)"
        if result.returncode == 0:
            return None
        failed = re.search(r"^\[  FAILED  \] (\S+?)(,| \()", result.stdout, re.MULTILINE)
        return failed.group(1) if failed else last_started(result.stdout) + " (crash)"

    def try_out(self, mutant):
        path = self.sources / mutant.file
        original = path.read_text()
        path.write_text(mutant.apply(original))
        try:
            built, log = self.compile()
            if not built:
                raise ListError(f"{mutant.name}: does not compile\n{log}")
            return self.test()
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
    """Returns the errors of the list that came up."""
    errors = []
    while True:
        try:
            mutant = waiting.get_nowait()
        except queue.Empty:
            return errors
        try:
            report(mutant, tree.try_out(mutant))
        except ListError as error:
            errors.append(str(error))


def main():
    work_folder = pathlib.Path(sys.argv[1]).resolve()
    wanted = sys.argv[2:]
    mutants = [mutant for mutant in read_mutants()
               if not wanted or any(text in mutant.name for text in wanted)]
    if not mutants:
        raise ListError("no fault of this name")

    trees = [Tree(work_folder / f"tree{number}") for number in range(min(WORKERS, len(mutants)))]
    for tree in trees:
        tree.sources.mkdir(parents=True, exist_ok=True)
    waiting = queue.Queue()
    for mutant in mutants:
        waiting.put(mutant)
    width = max(len(mutant.name) for mutant in mutants)
    survivors = []

    def report(mutant, caught_by):
        if caught_by is None:
            survivors.append(mutant.name)
        print(f"{mutant.name:{width}}  {caught_by or 'SURVIVED'}", flush=True)

    with concurrent.futures.ThreadPoolExecutor(len(trees)) as pool:
        list(pool.map(Tree.prepare, trees))
        errors = sum(pool.map(lambda tree: work(tree, waiting, report), trees), [])

    for error in errors:
        print(error, file=sys.stderr)
    print(f"{len(mutants) - len(survivors) - len(errors)} caught, {len(survivors)} survived"
          + (f", {len(errors)} wrong in the list" if errors else ""))
    return 1 if survivors or errors else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except ListError as error:
        sys.exit(str(error))
