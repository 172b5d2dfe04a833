# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Runs streams of operations, with agent and handler each under callgrind."""

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
TOOL = pathlib.Path("/usr/libexec/valgrind/callgrind-amd64-linux")
TIMEOUT_SECONDS = 120
# Selects the C library's baseline functions, so that the counts do not depend on the processor.
TUNABLES = "glibc.cpu.hwcaps=" + ",".join("-" + feature for feature in (
    "AVX", "AVX2", "AVX_Fast_Unaligned_Load", "BMI2", "ERMS", "FSRM", "LZCNT", "MOVBE", "RTM",
    "SSE4_2", "SSSE3"))


class Streams:
    """Runs the streams of `build`, a build folder with the benchmarks. options: of callgrind."""

    def __init__(self, build, *options):
        if not TOOL.exists():
            raise SystemExit(f"{TOOL} not found: install the Debian package valgrind, on x86_64")
        # One core, and no preemption by a woken process: otherwise the number of receive calls would
        # depend on the relative speed of the processes.
        os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})
        os.sched_setscheduler(0, os.SCHED_BATCH, os.sched_param(0))
        build = pathlib.Path(build).resolve()
        self.program = build / "bench/instructions/command-stream"
        self.handler_under_callgrind = build / "bench/instructions/handler-under-callgrind"
        self.package = build / "packages/stream"
        self.options = ["--tool=callgrind", "--collect-systime=yes", *options]

    def commands(self, payload_bytes, count):
        """Returns the Profiles of an agent that sends commands, and of its connected handler."""
        with self._folder() as (folder, environment):
            package = folder / "package"
            shutil.copytree(self.package, package)
            shutil.copy(self.handler_under_callgrind, package / "bin" / HANDLER)
            self._install(package, 1, environment)
            try:
                self._run(folder, environment, "commands", payload_bytes, count)
            finally:
                _terminate(folder / "handler.pid")
            return (callgrind.read(folder / "agent.callgrind"),
                    callgrind.read(folder / "handler.callgrind"))

    def updates(self, count):
        """Returns the Profile of an agent during updates of a handler's package."""
        with self._folder() as (folder, environment):
            self._install(self.package, 1, environment)
            self._run(folder, environment, "updates", count,
                      on_listening=lambda: self._install(self.package, count, environment))
            return callgrind.read(folder / "agent.callgrind")

    @contextlib.contextmanager
    def _folder(self):
        with tempfile.TemporaryDirectory(prefix="qor-streams-") as name:
            folder = pathlib.Path(name)
            # Nothing of the caller's environment, which could change logging and look-up times.
            environment = {
                "PATH": os.environ["PATH"],
                "HOME": name,
                "GLIBC_TUNABLES": TUNABLES,
                "QOR_PLATFORM_ROOT": str(folder / "root"),
                # Set explicitly, because the executable is callgrind's.
                "QOR_PLATFORM_HOST_NAME": "command-stream",
                # Read by handler-under-callgrind.
                "QOR_STREAMS_FOLDER": name,
                "QOR_STREAMS_HANDLER": str(self.package / "bin" / HANDLER),
                "QOR_STREAMS_TOOL": str(TOOL),
                "QOR_STREAMS_OPTIONS": " ".join(["-q", *self.options]),
            }
            (folder / "root").mkdir()
            yield folder, environment

    def _install(self, package, count, environment):
        subprocess.run([self.program, "install", package, str(count)], env=environment, check=True,
                       timeout=TIMEOUT_SECONDS)

    def _run(self, folder, environment, *arguments, on_listening=None):
        command = ["valgrind", "-q", *self.options,
                   f"--callgrind-out-file={folder / 'agent.callgrind'}",
                   self.program, *map(str, arguments)]
        # A file, not a pipe: the handler inherits it and outlives the agent.
        with open(folder / "messages", "w+", encoding="utf-8") as messages:
            with subprocess.Popen(command, env=environment, stdout=subprocess.PIPE,
                                  stderr=messages) as agent:
                try:
                    if on_listening and agent.stdout.readline():
                        on_listening()
                    agent.communicate(timeout=TIMEOUT_SECONDS)
                except BaseException:
                    agent.kill()
                    raise
            if agent.returncode != 0:
                messages.seek(0)
                raise SystemExit(f"command-stream {' '.join(map(str, arguments))} failed:\n"
                                 + messages.read())


def _terminate(pid_file):
    """Terminates the handler, which outlives its agent, and waits for its exit."""
    try:
        process = os.pidfd_open(int(pid_file.read_text(encoding="ascii")))
    except (FileNotFoundError, ProcessLookupError):
        return
    signal.pidfd_send_signal(process, signal.SIGTERM)
    if not select.select([process], [], [], TIMEOUT_SECONDS)[0]:
        signal.pidfd_send_signal(process, signal.SIGKILL)
    os.close(process)
