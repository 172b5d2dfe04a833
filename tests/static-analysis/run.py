#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Looks for faults in what a build compiles, without running it: clang-tidy with clang's static
analyser, cppcheck, and for C GCC's analyser.

usage: run.py BUILD [--compiler] [PATH...]

BUILD holds compile_commands.json; with paths, only sources below them. clang-tidy takes nearly all
of the time, so it looks at tests and benchmarks only where a path leads to them. With --compiler
the warnings of the build's own compiler instead.

Prints each finding once, headers' too, and in the end how many there are. Beside a line that is
right in spite of a finding stands why:

    // NOLINTNEXTLINE(name-of-check): reason
    // cppcheck-suppress nameOfCheck ; reason
"""

import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
# The build's commands without those for sources that it makes itself: cppcheck misses them.
SOURCES = "sources.json"
TRIAL = re.compile("/(tests|conformance|bench)/")
# The line that a finding begins with; what explains it comes below.
FINDING = re.compile(r"^(?=\S+: (?:warning|error): )", re.MULTILINE)


def is_trial(source):
    return TRIAL.search(str(source)[len(str(ROOT)):]) is not None


def clang_tidy(build, entry):
    # What tests and benchmarks begin with may throw, their random numbers come again, and they run
    # what they have built: "cert" wants none of that.
    checks = ["--checks=-cert-*"] if is_trial(entry["file"]) else []
    return ["clang-tidy", "-p", build, "--quiet", *checks, entry["file"]]


def cppcheck(build, entry):
    # Not "performance": it asks for references where a copy is meant. Headers of the system are the
    # dependencies'.
    return ["cppcheck", "-q", f"--project={build / SOURCES}",
            f"--file-filter={entry['file']}", "--enable=warning,portability", "--inline-suppr",
            "--library=googletest", "--suppress=*:/usr/*",
            "--template={file}:{line}: warning: {message} [{id}]"]


def gcc(_, entry):
    words = shlex.split(entry["command"])
    words[words.index("-o") + 1] = "/dev/null"
    return words + ["-fanalyzer", "-Wno-error"]


def compiler(_, entry):
    words = shlex.split(entry["command"])
    return words + ["-fsyntax-only", "-Wno-error"]


def analysers(source, is_asked_for):
    if is_asked_for or not is_trial(source):
        yield clang_tidy
    yield cppcheck
    # In C++ it takes whatever a function returns by value for uninitialised.
    if source.suffix == ".c":
        yield gcc


def compilations(build, folders):
    """One for each source, not for what the build itself has made."""
    found = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        source = pathlib.Path(entry["file"])
        if build not in source.parents and any(folder == source or folder in source.parents
                                               for folder in folders):
            found.setdefault(source, entry)
    return found


def look(build, analyser, entry):
    """The findings, each with what explains it."""
    result = subprocess.run([str(word) for word in analyser(build, entry)], cwd=entry["directory"],
                            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True, errors="replace")
    findings = FINDING.split(result.stdout)[1:]
    if result.returncode != 0 and not findings:
        findings = [f"{entry['file']}: {analyser.__name__} fails:\n{result.stdout}"]
    return [finding.replace(f"{ROOT}/", "").rstrip() for finding in findings]


def main(build, asked, paths):
    build = build.resolve()
    (build / SOURCES).write_text(json.dumps(list(compilations(build, [ROOT]).values())))
    work = [(analyser, entry)
            for source, entry in sorted(compilations(build, paths or [ROOT]).items())
            for analyser in asked or analysers(source, bool(paths))]
    if not work:
        sys.exit("no source of the build lies below " + ", ".join(map(str, paths or [ROOT])))
    seen = set()
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for done, findings in enumerate(pool.map(lambda each: look(build, *each), work), 1):
            for finding in findings:
                first_line = finding.partition("\n")[0]
                if first_line not in seen:
                    print(finding, flush=True)
                seen.add(first_line)
            if done * 20 // len(work) != (done - 1) * 20 // len(work):
                print(f"{done * 100 // len(work):3} % done, {len(seen)} findings", flush=True)
    print(f"{len(seen)} findings" if seen else "no findings")
    return 1 if seen else 0


if __name__ == "__main__":
    words = [word for word in sys.argv[1:] if word != "--compiler"]
    if not words:
        sys.exit(__doc__.strip())
    sys.exit(main(pathlib.Path(words[0]), [compiler] if "--compiler" in sys.argv else [],
                  [pathlib.Path(path).resolve() for path in words[1:]]))
