#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Every fenced block of a document is true.

usage: blocks.py DOCUMENT SOURCES BUILD PREFIX [COMPILER OPTION...]

In the order of the document, in a folder of its own that looks like the sources, with what is
installed in PREFIX ready to be used and build/release standing for BUILD:

  a block after a line that ends with `name`:   is written to the file of this name
  console   each line that begins with "$ " is run; the lines below are what it prints. A line "..."
            stands for any lines; uuids, times and folders may differ. A command ends with status 0,
            unless the next one is "echo $?"
  sh        is run, unless it is about building and installing the project, which tests/install
            does: then its words exist
  others    stand line for line in a file of examples, handler or include, or are JSON
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

PATIENCE_SECONDS = 60
SUFFIXES = {"c": {".c", ".h"}, "cpp": {".cc", ".h"}, "yaml": {".yaml"}, "xml": {".xml"},
            "cmake": {".txt"}, "tidl": {".tidl"}}


class Fault(Exception):
    pass


def lose_patience(*_):
    raise Fault(f"takes longer than {PATIENCE_SECONDS} s")


def settled(text, folder):
    """The text with one word for everything that differs from one run to the next."""
    text = text.replace(str(folder), "/home/me")
    for pattern, word in ((r"\b[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}\b", "<uuid>"),
                          (r"^\d\d-\d\d [\d:.]+[+-]\d{4} +\d+ +\d+ (\w.*: )\d+ >", r"\1<line> >"),
                          (r"\b\d\d:\d\d:\d\d(\.\d+)?\b", "<time>"),
                          (r"\b\d{4}-\d\d-\d\d\b", "<day>"),
                          (r"[ +]*\b\d+(\.\d+)? ?(us|ms|s)\b", " <time>")):
        text = re.sub(pattern, word, text, flags=re.M)
    return [line.rstrip() for line in text.splitlines()]


def fits(expected, actual):
    """Whether the lines are the expected ones, of which "..." stands for any."""
    pattern = "".join(r"(?:.*\n)*" if line == "..." else re.escape(line) + r"\n"
                      for line in expected)
    return re.fullmatch(pattern, "".join(line + "\n" for line in actual)) is not None


def commands_of(block):
    """[command, expected output] of each command of a console block."""
    commands = []
    for line in block.text.splitlines():
        if line.startswith("$ "):
            commands.append([line[2:], ""])
        elif not commands:
            raise Fault("a console block begins with a command after \"$ \"")
        elif commands[-1][0].endswith("\\"):
            commands[-1][0] += "\n" + line
        else:
            commands[-1][1] += line + "\n"
    return commands


class Shell:
    """One bash for all commands of a document. What they print goes to a file: handlers outlive
    the commands that launch them and keep what they write to open."""

    def __init__(self, sources, build, prefix, options):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="qor-documents-"))
        for entry in sources.iterdir():
            if entry.name not in ("build", ".git"):
                (self.folder / entry.name).symlink_to(entry)
        (self.folder / "build").mkdir()
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
        self.ended = self.folder / "build/ended"
        os.mkfifo(self.ended)

    def run(self, command):
        """What the command printed, and its exit status."""
        begin = os.fstat(self.output.fileno()).st_size
        self.bash.stdin.write(f"{{ {command}\n}} </dev/null; qor_status=$?; "
                              f"echo $qor_status >'{self.ended}'; (exit $qor_status)\n")
        self.bash.stdin.flush()
        signal.alarm(PATIENCE_SECONDS)
        with open(self.ended, encoding="utf-8") as ended:
            status = int(ended.read())
        signal.alarm(0)
        with open(self.output.name, encoding="utf-8") as output:
            output.seek(begin)
            return output.read(), status

    def close(self):
        """Ends what runs: the shell, and with their packages the handlers."""
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
                raise Fault(f"{block.file} would be written to the sources")
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(block.text)
        elif block.language == "console":
            self.run_console(block)
        elif block.language == "sh":
            self.run_words(block)
        elif block.language == "json":
            json.loads(block.text)
        elif block.language in SUFFIXES:
            self.find(block)
        else:
            raise Fault(f"no test knows what to do with a block of \"{block.language}\"")

    def run_console(self, block):
        commands = commands_of(block)
        for index, (command, expected) in enumerate(commands):
            output, status = self.shell.run(command)
            then = commands[index + 1][0] if index + 1 < len(commands) else ""
            if status != 0 and then != "echo $?":
                raise Fault(f"{command}\nends with {status}:\n{output}")
            expected = settled(expected, self.shell.folder)
            actual = settled(output, self.shell.folder)
            if not fits(expected, actual):
                raise Fault(f"{command}\nprints something else:\n" + "\n".join(
                    difflib.unified_diff(expected, actual, "document", "program", lineterm="")))

    def run_words(self, block):
        pieces = [piece.strip() for line in block.text.splitlines()
                  for piece in re.sub(r"(^|\s)#.*", "", line).split("&&") if piece.strip()]
        held = [self.is_held(piece) for piece in pieces]
        if any(held):
            if not all(held):
                raise Fault("a block is run, or it is about building the project, not both")
            return
        output, status = self.shell.run(block.text)
        if status != 0:
            raise Fault(f"ends with {status}:\n{output}")

    def is_held(self, words):
        """Whether these are words about building, packing and installing, which must exist."""
        if words.startswith("./run "):
            usage = subprocess.run([self.sources / "run", "help"], check=True, text=True,
                                   stdout=subprocess.PIPE).stdout
            for word in words.split()[1:]:
                if not re.search(rf"(?<![\w-]){re.escape(word)}(?![\w-])", usage):
                    raise Fault(f"./run help does not know {word}")
            return True
        preset = re.match(r"cmake (?:--build )?--preset (\S+)", words)
        if preset:
            presets = json.loads((self.sources / "CMakePresets.json").read_text())
            if preset.group(1) not in (each["name"] for each in presets["configurePresets"]):
                raise Fault(f"there is no preset {preset.group(1)}")
            return True
        return re.match(r"(cmake (--install|--build) build/|apt install |rpmbuild |cpack )",
                        words) is not None

    def find(self, block):
        lines = dedented(block.text)
        for folder in ("examples", "handler", "include"):
            for path in sorted((self.sources / folder).rglob("*")):
                if path.suffix in SUFFIXES[block.language] and stands_in(lines, path):
                    return
        raise Fault("stands in no file of examples, handler or include")


def dedented(text):
    lines = text.splitlines()
    indent = min((len(line) - len(line.lstrip()) for line in lines if line.strip()), default=0)
    return [line[indent:] for line in lines]


def stands_in(lines, path):
    whole = path.read_text().splitlines()
    return any(dedented("\n".join(whole[at:at + len(lines)])) == lines
               for at in range(len(whole) - len(lines) + 1))


def main(document, sources, build, prefix, options):
    blocks = markdown.blocks(document.read_text())
    signal.signal(signal.SIGALRM, lose_patience)
    shell = Shell(sources, build, prefix, options)
    try:
        checker = Checker(sources, shell)
        for block in blocks:
            try:
                checker.check(block)
            except (Fault, ValueError) as fault:
                sys.exit(f"{document}:{block.line}: {fault}")
    finally:
        shell.close()


if __name__ == "__main__":
    if len(sys.argv) < 5:
        sys.exit(__doc__.strip())
    main(*map(pathlib.Path, sys.argv[1:5]), sys.argv[5:])
