// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/process-termination.h"

#include <dlog.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <vector>

#include "platform/linux/common/process-handle.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/package-manager/errors.h"

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kTerminationTimeout = std::chrono::seconds(2);

// A descriptor never refers to another process. A process id may be reused.
UniqueFd OpenProcess(pid_t pid) {
  return UniqueFd(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
}

void Signal(const UniqueFd& process, int signal) {
  syscall(SYS_pidfd_send_signal, process.Get(), signal, nullptr, 0);
}

// Waits until all processes have exited or the timeout has passed. Removes those that have exited.
void AwaitExit(std::vector<UniqueFd>* processes) {
  const Clock::time_point deadline = Clock::now() + kTerminationTimeout;
  while (!processes->empty()) {
    std::vector<pollfd> entries;
    for (const UniqueFd& process : *processes) entries.push_back({process.Get(), POLLIN, 0});
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) return;
    if (poll(entries.data(), entries.size(), static_cast<int>(left)) < 0 && errno != EINTR) return;
    std::vector<UniqueFd> alive;
    for (size_t i = 0; i < entries.size(); ++i)
      if (entries[i].revents == 0) alive.push_back(std::move((*processes)[i]));
    *processes = std::move(alive);
  }
}

}  // namespace

void TerminateProcessesIn(const std::string& folder) {
  const std::string prefix = folder + "/";
  const auto is_inside = [&](const Executable& executable) {
    return executable.path.compare(0, prefix.size(), prefix) == 0;
  };
  std::vector<UniqueFd> processes;
  for (const pid_t pid : FindProcesses(is_inside)) {
    UniqueFd process = OpenProcess(pid);
    // Checked again, since the id may have been reused before the descriptor was opened.
    if (pid == getpid() || !process || !is_inside(ExecutableOf(pid))) continue;
    dlog_print(DLOG_INFO, kPackageLogTag, "terminating process %d of %s", pid, folder.c_str());
    Signal(process, SIGTERM);
    processes.push_back(std::move(process));
  }
  AwaitExit(&processes);
  for (const UniqueFd& process : processes) Signal(process, SIGKILL);
  AwaitExit(&processes);
}

}  // namespace platform
