#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Checks the fenced blocks of a document.

usage: blocks.py DOCUMENT SOURCES BUILD PREFIX [COMPILER OPTION...]

Blocks are checked in order, in a temporary folder with links to the sources. The files installed in
PREFIX are on all search paths, and build/release is a link to BUILD.

  a block after a line that ends with `name`:   is written to the file of this name
  console   each line that begins with "$ " is run and its output compared with the lines below. A
            line "..." matches any lines; uuids, times and folders may differ. A command must exit
            with status 0, unless the next one is "echo $?"
  sh        is run. Commands that build or install the project are not, since tests/install runs
            them: only their verbs and presets are checked
  c, cpp, yaml, xml, cmake, tidl   must be an excerpt of a file in examples, handler or include
  json      must parse
"""

import difflib
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile

import markdown

TIMEOUT_SECONDS = 60
SUFFIXES = {"c": {".c", ".h"}, "cpp": {".cc", ".h"}, "yaml": {".yaml"}, "xml": {".xml"},
            "cmake": {".txt"}, "tidl": {".tidl"}}


class CheckError(Exception):
    pass


def on_alarm(*_):
    raise CheckError(f"timeout of {TIMEOUT_SECONDS} s")


def normalized(text, folder):
    """The lines of a text, with a placeholder for everything that differs between runs."""
    text = text.replace(str(folder), "/home/me")
    for pattern, placeholder in ((r"\b[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}\b", "<uuid>"),
                          (r"^\d\d-\d\d [\d:.]+[+-]\d{4} +\d+ +\d+ (\w.*: )\d+ >", r"\1<line> >"),
                          (r"\b\d\d:\d\d:\d\d(\.\d+)?\b", "<time>"),
                          (r"\b\d{4}-\d\d-\d\d\b", "<day>"),
                          (r"[ +]*\b\d+(\.\d+)? ?(us|ms|s)\b", " <time>")):
        text = re.sub(pattern, placeholder, text, flags=re.M)
    return [line.rstrip() for line in text.splitlines()]


def matches(expected, actual):
    """Whether the lines are the expected ones. A line "..." matches any lines."""
    pattern = "".join(r"(?:.*\n)*" if line == "..." else re.escape(line) + r"\n"
                      for line in expected)
    return re.fullmatch(pattern, "".join(line + "\n" for line in actual)) is not None


def commands_of(block):
    """[command, expected output] of each command in a console block."""
    commands = []
    for line in block.text.splitlines():
        if line.startswith("$ "):
            commands.append([line[2:], ""])
        elif not commands:
            raise CheckError("a console block must begin with \"$ \" and a command")
        elif commands[-1][0].endswith("\\"):
            commands[-1][0] += "\n" + line
        else:
            commands[-1][1] += line + "\n"
    return commands


class Shell:
    """One bash process for all commands of a document. Output is written to a file, not to a pipe:
    handlers outlive the commands that launch them and keep the descriptor open."""

    def __init__(self, sources, build, prefix, options):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="qor-documents-"))
        for entry in sources.iterdir():
            if entry.name not in ("build", ".git"):
                (self.folder / entry.name).symlink_to(entry)
        (self.folder / "build").mkdir()
        (self.folder / "build/root").mkdir(mode=0o700)
        (self.folder / "build/release").symlink_to(build)
        tools = self.folder / "build/tools"
        tools.mkdir()
        for name in ("cc", "c++"):
            (tools / name).write_text(
                f"#!/bin/sh\nexec {shutil.which(name)} {' '.join(options)} \"$@\"\n")
            (tools / name).chmod(0o755)
        library = next(prefix.rglob("capi-qor-handler-manager.pc")).parent.parent
        self.environment = dict(
            os.environ, HOME=str(self.folder), PATH=f"{tools}:{prefix}/bin:{os.environ['PATH']}",
            PKG_CONFIG_PATH=f"{library}/pkgconfig", CMAKE_PREFIX_PATH=str(prefix),
            LD_LIBRARY_PATH=str(library), TMPDIR=str(tools.parent),
            QOR_PLATFORM_ROOT=str(self.folder / "build/root"))
        for name in ("CC", "CXX", "CFLAGS", "CXXFLAGS", "DLOG_FILTER", "DLOG_FILE"):
            self.environment.pop(name, None)
        self.output = open(self.folder / "build/output", "w+", encoding="utf-8")
        self.bash = subprocess.Popen(["bash"], cwd=self.folder, env=self.environment, text=True,
                                     stdin=subprocess.PIPE, stdout=self.output,
                                     stderr=subprocess.STDOUT, start_new_session=True)
        self.done = self.folder / "build/done"
        os.mkfifo(self.done)

    def run(self, command):
        """The output of a command and its exit status."""
        begin = os.fstat(self.output.fileno()).st_size
        self.bash.stdin.write(f"{{ {command}\n}} </dev/null; qor_status=$?; "
                              f"echo $qor_status >'{self.done}'; (exit $qor_status)\n")
        self.bash.stdin.flush()
        signal.alarm(TIMEOUT_SECONDS)
        with open(self.done, encoding="utf-8") as done:
            status = int(done.read())
        signal.alarm(0)
        with open(self.output.name, encoding="utf-8") as output:
            output.seek(begin)
            return output.read(), status

    def close(self):
        """Stops the shell, and all handlers by uninstalling their packages."""
        try:
            self.bash.stdin.close()
            os.killpg(self.bash.pid, signal.SIGTERM)
        except OSError:
            pass
        self.bash.wait()
        tool = [shutil.which("qor", path=self.environment["PATH"]), "package"]
        for database in self.folder.glob("build/*/packages.db"):
            environment = dict(self.environment, QOR_PLATFORM_ROOT=str(database.parent))
            listed = subprocess.run([*tool, "list"], env=environment, text=True, check=False,
                                    stdout=subprocess.PIPE).stdout
            for line in listed.splitlines():
                subprocess.run([*tool, "uninstall", line.split()[0]], env=environment, check=False,
                               stdout=subprocess.DEVNULL)
        self.output.close()
        shutil.rmtree(self.folder)


class Checker:
    def __init__(self, sources, shell):
        self.sources = sources
        self.shell = shell

    def check(self, block):
        if block.file:
            path = self.shell.folder / block.file
            if self.shell.folder.joinpath(pathlib.Path(block.file).parts[0]).is_symlink():
                raise CheckError(f"{block.file} is in a folder of the sources")
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(block.text)
        elif block.language == "console":
            self.run_console(block)
        elif block.language == "sh":
            self.run_script(block)
        elif block.language == "json":
            json.loads(block.text)
        elif block.language in SUFFIXES:
            self.find_excerpt(block)
        else:
            raise CheckError(f"unsupported language of a block: \"{block.language}\"")

    def run_console(self, block):
        commands = commands_of(block)
        for index, (command, expected) in enumerate(commands):
            output, status = self.shell.run(command)
            following = commands[index + 1][0] if index + 1 < len(commands) else ""
            if status != 0 and following != "echo $?":
                raise CheckError(f"{command}\nexits with {status}:\n{output}")
            expected = normalized(expected, self.shell.folder)
            actual = normalized(output, self.shell.folder)
            if not matches(expected, actual):
                raise CheckError(f"{command}\nunexpected output:\n" + "\n".join(
                    difflib.unified_diff(expected, actual, "document", "program", lineterm="")))

    def run_script(self, block):
        commands = [command.strip() for line in block.text.splitlines()
                  for command in re.sub(r"(^|\s)#.*", "", line).split("&&") if command.strip()]
        checked = [self.is_build_command(command) for command in commands]
        if any(checked):
            if not all(checked):
                raise CheckError("a block mixes commands that build the project with others")
            return
        output, status = self.shell.run(block.text)
        if status != 0:
            raise CheckError(f"exits with {status}:\n{output}")

    def is_build_command(self, command):
        """Whether the command builds or installs the project. Its verb or preset must exist."""
        if command.startswith("./run "):
            usage = subprocess.run([self.sources / "run", "help"], check=True, text=True,
                                   stdout=subprocess.PIPE).stdout
            for word in command.split()[1:]:
                if not re.search(rf"(?<![\w-]){re.escape(word)}(?![\w-])", usage):
                    raise CheckError(f"./run help does not list {word}")
            return True
        preset = re.match(r"cmake (?:--build )?--preset (\S+)", command)
        if preset:
            presets = json.loads((self.sources / "CMakePresets.json").read_text())
            if preset.group(1) not in (each["name"] for each in presets["configurePresets"]):
                raise CheckError(f"no preset {preset.group(1)}")
            return True
        return re.match(r"(cmake (--install|--build) build/|apt install |rpmbuild |cpack )",
                        command) is not None

    def find_excerpt(self, block):
        lines = dedented(block.text)
        for folder in ("examples", "handler", "include"):
            for path in sorted((self.sources / folder).rglob("*")):
                if path.suffix in SUFFIXES[block.language] and contains_lines(lines, path):
                    return
        raise CheckError("not an excerpt of a file in examples, handler or include")


def dedented(text):
    lines = text.splitlines()
    indent = min((len(line) - len(line.lstrip()) for line in lines if line.strip()), default=0)
    return [line[indent:] for line in lines]


def contains_lines(lines, path):
    whole = path.read_text().splitlines()
    return any(dedented("\n".join(whole[at:at + len(lines)])) == lines
               for at in range(len(whole) - len(lines) + 1))


def main(document, sources, build, prefix, options):
    blocks = markdown.blocks(document.read_text())
    signal.signal(signal.SIGALRM, on_alarm)
    shell = Shell(sources, build, prefix, options)
    try:
        checker = Checker(sources, shell)
        for block in blocks:
            try:
                checker.check(block)
            except (CheckError, ValueError) as error:
                sys.exit(f"{document}:{block.line}: {error}")
    finally:
        shell.close()


if __name__ == "__main__":
    if len(sys.argv) < 5:
        sys.exit(__doc__.strip())
    main(*map(pathlib.Path, sys.argv[1:5]), sys.argv[5:])
