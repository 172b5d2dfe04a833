// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/tests/support/program.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "platform/linux/common/unix-socket.h"
#include "platform/linux/tests/support/child-process.h"

namespace platform::test {
namespace {

constexpr int kTimeoutMs = 30'000;

bool EndsWithin(pid_t pid, int milliseconds) {
  const UniqueFd process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  if (!process) return true;
  pollfd entry{process.Get(), POLLIN, 0};
  int ready = 0;
  // Ecore handles SIGCHLD, which interrupts poll().
  do ready = poll(&entry, 1, milliseconds);
  while (ready < 0 && errno == EINTR);
  return ready == 1;
}

}  // namespace

int Await(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0)
    if (errno != EINTR) return -1;
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

void Signal(pid_t pid, int signal) {
  ASSERT_GT(pid, 0) << "no process to send a signal to";
  kill(pid, signal);
}

bool HasEnded(pid_t pid) { return EndsWithin(pid, 0); }

bool AwaitEnd(pid_t pid) { return EndsWithin(pid, kTimeoutMs); }

std::string ToolPath() { return TEST_TOOL; }

std::string ProgramPath(const std::string& name) { return TEST_PROGRAM_FOLDER "/" + name; }

pid_t StartTool(const std::vector<std::string>& arguments) {
  std::vector<std::string> command = {TEST_TOOL};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return StartChildProcess(std::move(command));
}

int RunTool(const std::vector<std::string>& arguments) { return Await(StartTool(arguments)); }

}  // namespace platform::test
