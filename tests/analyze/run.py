#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Looks for faults in what a build compiles, without running it: clang-tidy with clang's static
analyser, cppcheck, and for C GCC's analyser.

usage: run.py BUILD [PATH...]    BUILD holds compile_commands.json; only sources below the paths

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
TRIAL = re.compile("/(tests|conformance|bench)/")
# The line that a finding begins with; what explains it comes below.
FINDING = re.compile(r"^(?=\S+: (?:warning|error): )", re.MULTILINE)


def clang_tidy(build, entry):
    # What tests and benchmarks begin with may throw, their random numbers come again, and they run
    # what they have built: "cert" wants none of that.
    is_trial = TRIAL.search(entry["file"][len(str(ROOT)):])
    checks = ["--checks=-cert-*"] if is_trial else []
    return ["clang-tidy", "-p", build, "--quiet", *checks, entry["file"]]


def cppcheck(build, entry):
    # Not "performance": it asks for references where a copy is meant. Headers of the system are the
    # dependencies'.
    return ["cppcheck", "-q", f"--project={build}/compile_commands.json",
            f"--file-filter={entry['file']}", "--enable=warning,portability", "--inline-suppr",
            "--library=googletest", "--suppress=*:/usr/*",
            "--template={file}:{line}: warning: {message} [{id}]"]


def gcc(_, entry):
    words = shlex.split(entry["command"])
    words[words.index("-o") + 1] = "/dev/null"
    return words + ["-fanalyzer", "-Wno-error"]


def analysers(source):
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


def main(build, paths):
    build = build.resolve()
    work = [(analyser, entry)
            for source, entry in sorted(compilations(build, paths).items())
            for analyser in analysers(source)]
    if not work:
        sys.exit("no source of the build lies below " + ", ".join(map(str, paths)))
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
    if len(sys.argv) < 2:
        sys.exit(__doc__.strip())
    sys.exit(main(pathlib.Path(sys.argv[1]),
                  [pathlib.Path(path).resolve() for path in sys.argv[2:]] or [ROOT]))
