// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_LOG_PIPE_H_
#define PLATFORM_LINUX_APP_CONTROL_LOG_PIPE_H_

#include <sys/types.h>

#include <string>

#include "platform/linux/common/unix-socket.h"

namespace platform {

// The way of a process's standard output and error to the log of its application.
//
// A process of its own, the log writer, reads a pipe and writes the file (log-writer.cc). The
// application could write to the file directly, but nothing would limit the file while it does, and
// lines would have no time. The launcher could read the pipe, but its exit would kill the
// application with SIGPIPE, and a copy of it (fork) would hold its memory and look like it to the
// platform. The log writer costs one start of a small program beside a launch.
struct LogPipe {
  // The end for the application. Empty when its output must be discarded, since there is no log or
  // the log writer is not installed or cannot be started.
  UniqueFd input;
  // The log writer, a child of this process; it exits when `input` and its copies are closed and
  // all lines are written. -1 when there is none.
  pid_t writer = -1;
};

// Starts a log writer for one process of the application. It is in a session of its own, so that
// signals of the launcher's terminal do not reach it. Creates the log. Throws
// std::bad_alloc.
LogPipe OpenLogPipe(const std::string& app_id);

}  // namespace platform

#endif
