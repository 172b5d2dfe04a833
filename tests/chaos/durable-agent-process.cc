// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "durable-agent-process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "platform/linux/tests/support/child-process.h"

namespace chaos {

DurableAgentProcess::~DurableAgentProcess() {
  CloseInput();
  if (pid_ > 0) kill(pid_, SIGKILL);
}

void DurableAgentProcess::Start() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    throw std::system_error(errno, std::generic_category(), "socketpair");
  }
  is_draining_ = false;
  input_ = ends[0];
  fcntl(input_, F_SETFL, O_NONBLOCK);
  pid_ = platform::test::StartChildProcess(
      {programs_.durable_agent, folder_.Account(), folder_.Journal()}, {}, folder_.Log(), ends[1]);
  close(ends[1]);
  ++starts_;
}

bool DurableAgentProcess::Write(const std::string& line) {
  // A line is shorter than PIPE_BUF and so written completely or not at all.
  return input_ >= 0 && write(input_, line.data(), line.size()) >= 0;
}

void DurableAgentProcess::Signal(int signal) {
  if (pid_ > 0) kill(pid_, signal);
}

void DurableAgentProcess::Drain() {
  is_draining_ = true;
  CloseInput();
}

bool DurableAgentProcess::OnExited(pid_t pid, int status) {
  if (pid != pid_) return false;
  pid_ = 0;
  CloseInput();
  const bool is_killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  if (!is_killed && !(is_draining_ && status == 0)) {
    violations_.push_back("the durable agent exited with status " + std::to_string(status));
  }
  if (!is_draining_) Start();
  return true;
}

void DurableAgentProcess::CloseInput() {
  if (input_ >= 0) close(input_);
  input_ = -1;
}

}  // namespace chaos
