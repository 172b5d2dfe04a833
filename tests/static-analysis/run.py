#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Runs static analysers on the sources of a build: clang-tidy with the Clang static analyser,
cppcheck, and the GCC analyser for C.

usage: run.py BUILD [--compiler] [PATH...]

BUILD contains compile_commands.json. With paths, only sources below them are analysed. clang-tidy
takes nearly all of the time, so it runs on tests and benchmarks only if a path selects them. With
--compiler, prints the warnings of the build's compiler instead.

Prints each finding once, including those in headers, and the number of findings. To suppress a
false positive, state the reason on the line before:

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
# A compilation database without generated sources, which cppcheck does not find.
SOURCES = "sources.json"
TEST_CODE = re.compile("/(tests|conformance|bench)/")
# The first line of a finding; notes follow on the lines below.
FINDING = re.compile(r"^(?=\S+: (?:warning|error): )", re.MULTILINE)


def is_test_code(source):
    return TEST_CODE.search(str(source)[len(str(ROOT)):]) is not None


def clang_tidy(build, entry):
    # The cert checks forbid static initializers that throw, fixed random seeds and subprocesses,
    # all of which tests and benchmarks use.
    checks = ["--checks=-cert-*"] if is_test_code(entry["file"]) else []
    return ["clang-tidy", "-p", build, "--quiet", *checks, entry["file"]]


def cppcheck(build, entry):
    # Not "performance": it reports deliberate copies. System headers belong to dependencies.
    return ["cppcheck", "-q", f"--project={build / SOURCES}",
            f"--file-filter={entry['file']}", "--enable=warning,portability", "--inline-suppr",
            "--library=googletest", "--suppress=*:/usr/*",
            "--template={file}:{line}: warning: {message} [{id}]"]


def gcc(_, entry):
    arguments = shlex.split(entry["command"])
    arguments[arguments.index("-o") + 1] = "/dev/null"
    return arguments + ["-fanalyzer", "-Wno-error"]


def compiler(_, entry):
    arguments = shlex.split(entry["command"])
    return arguments + ["-fsyntax-only", "-Wno-error"]


def analysers(source, is_selected):
    if is_selected or not is_test_code(source):
        yield clang_tidy
    yield cppcheck
    # In C++ it reports values returned by functions as uninitialized.
    if source.suffix == ".c":
        yield gcc


def compilations(build, folders):
    """One compile command for each source below the folders, except generated sources."""
    found = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        source = pathlib.Path(entry["file"])
        if build not in source.parents and any(folder == source or folder in source.parents
                                               for folder in folders):
            found.setdefault(source, entry)
    return found


def analyse(build, analyser, entry):
    """The findings, each with its notes."""
    command = [str(argument) for argument in analyser(build, entry)]
    result = subprocess.run(command, cwd=entry["directory"], stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                            errors="replace")
    findings = FINDING.split(result.stdout)[1:]
    if result.returncode != 0 and not findings:
        findings = [f"{entry['file']}: {analyser.__name__} failed:\n{result.stdout}"]
    return [finding.replace(f"{ROOT}/", "").rstrip() for finding in findings]


def main(build, selected, paths):
    build = build.resolve()
    (build / SOURCES).write_text(json.dumps(list(compilations(build, [ROOT]).values())))
    work = [(analyser, entry)
            for source, entry in sorted(compilations(build, paths or [ROOT]).items())
            for analyser in selected or analysers(source, bool(paths))]
    if not work:
        sys.exit("no sources below " + ", ".join(map(str, paths or [ROOT])))
    seen = set()
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for done, findings in enumerate(pool.map(lambda each: analyse(build, *each), work), 1):
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
    arguments = [argument for argument in sys.argv[1:] if argument != "--compiler"]
    if not arguments:
        sys.exit(__doc__.strip())
    sys.exit(main(pathlib.Path(arguments[0]), [compiler] if "--compiler" in sys.argv else [],
                  [pathlib.Path(path).resolve() for path in arguments[1:]]))
