# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Runs streams of operations, agent and handler each under callgrind."""

import contextlib
import os
import pathlib
import select
import shutil
import signal
import subprocess
import tempfile

import callgrind

HANDLER = "stream-handler"
HERE = pathlib.Path(__file__).parent
TOOL = pathlib.Path("/usr/libexec/valgrind/callgrind-amd64-linux")
LIMIT_SECONDS = 120
# The C library's functions for any x86_64, so that the counts do not depend on the processor.
TUNABLES = "glibc.cpu.hwcaps=" + ",".join("-" + feature for feature in (
    "AVX", "AVX2", "AVX_Fast_Unaligned_Load", "BMI2", "ERMS", "FSRM", "LZCNT", "MOVBE", "RTM",
    "SSE4_2", "SSSE3"))


class Streams:
    """What `build`, a build folder with the benchmarks, runs. options: of callgrind."""

    def __init__(self, build, *options):
        if not TOOL.exists():
            raise SystemExit(f"{TOOL} is missing: install Debian's package valgrind, on x86_64")
        # One process after the other, none interrupted by what it wakes up: else it depends on their
        # speed how often one finds something to receive.
        os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})
        os.sched_setscheduler(0, os.SCHED_BATCH, os.sched_param(0))
        build = pathlib.Path(build).resolve()
        self.program = build / "bench/instructions/command-stream"
        self.package = build / "packages/stream"
        self.options = ["--tool=callgrind", "--collect-systime=yes", *options]

    def commands(self, payload_bytes, count):
        """The Profiles of an agent that sends commands to a connected handler, and of the handler."""
        with self._folder() as (folder, environment):
            package = folder / "package"
            shutil.copytree(self.package, package)
            shutil.copy(HERE / "handler-under-callgrind", package / "bin" / HANDLER)
            self._install(package, 1, environment)
            try:
                self._run(folder, environment, "commands", payload_bytes, count)
            finally:
                _end(folder / "handler.pid")
            return (callgrind.read(folder / "agent.callgrind"),
                    callgrind.read(folder / "handler.callgrind"))

    def updates(self, count):
        """The Profile of an agent that hears of updates of a handler's package."""
        with self._folder() as (folder, environment):
            self._install(self.package, 1, environment)
            self._run(folder, environment, "updates", count,
                      when_it_listens=lambda: self._install(self.package, count, environment))
            return callgrind.read(folder / "agent.callgrind")

    @contextlib.contextmanager
    def _folder(self):
        with tempfile.TemporaryDirectory(prefix="qor-streams-") as name:
            folder = pathlib.Path(name)
            # Nothing of the caller's: it may say how to log, and takes time to search.
            environment = {
                "PATH": os.environ["PATH"],
                "HOME": name,
                "GLIBC_TUNABLES": TUNABLES,
                "QOR_PLATFORM_ROOT": str(folder / "root"),
                # Under callgrind the executable is callgrind's.
                "QOR_PLATFORM_HOST_NAME": "command-stream",
                # For handler-under-callgrind.
                "QOR_STREAMS_FOLDER": name,
                "QOR_STREAMS_HANDLER": str(self.package / "bin" / HANDLER),
                "QOR_STREAMS_TOOL": str(TOOL),
                "QOR_STREAMS_OPTIONS": " ".join(["-q", *self.options]),
            }
            (folder / "root").mkdir()
            yield folder, environment

    def _install(self, package, count, environment):
        subprocess.run([self.program, "install", package, str(count)], env=environment, check=True,
                       timeout=LIMIT_SECONDS)

    def _run(self, folder, environment, *words, when_it_listens=None):
        command = ["valgrind", "-q", *self.options,
                   f"--callgrind-out-file={folder / 'agent.callgrind'}",
                   self.program, *map(str, words)]
        # In a file: the handler keeps it open.
        with open(folder / "messages", "w+", encoding="utf-8") as messages:
            with subprocess.Popen(command, env=environment, stdout=subprocess.PIPE,
                                  stderr=messages) as agent:
                try:
                    if when_it_listens and agent.stdout.readline():
                        when_it_listens()
                    agent.communicate(timeout=LIMIT_SECONDS)
                except BaseException:
                    agent.kill()
                    raise
            if agent.returncode != 0:
                messages.seek(0)
                raise SystemExit(f"command-stream {' '.join(map(str, words))} failed:\n"
                                 + messages.read())


def _end(pid_file):
    """Ends the handler, which outlives its agent, and waits until it is gone."""
    try:
        process = os.pidfd_open(int(pid_file.read_text(encoding="ascii")))
    except (FileNotFoundError, ProcessLookupError):
        return
    signal.pidfd_send_signal(process, signal.SIGTERM)
    if not select.select([process], [], [], LIMIT_SECONDS)[0]:
        signal.pidfd_send_signal(process, signal.SIGKILL)
    os.close(process)
