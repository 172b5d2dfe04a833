// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "support/child-process.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <system_error>

namespace bench {

ChildProcess::ChildProcess(const std::function<void()>& body) : pid_(fork()) {
  if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (pid_ > 0) return;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  signal(SIGINT, SIG_DFL);
  signal(SIGTERM, SIG_DFL);
  try {
    body();
  } catch (const std::exception& error) {
    // The parent detects the exit when it next reads from this process.
    std::fprintf(stderr, "%s\n", error.what());
  }
  _exit(0);
}

ChildProcess::~ChildProcess() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

}  // namespace bench
