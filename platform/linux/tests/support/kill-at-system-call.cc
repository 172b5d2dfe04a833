// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/tests/support/kill-at-system-call.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/tests/support/child-process.h"

namespace platform::test {

bool ModifiesFiles(const __ptrace_syscall_info& call) {
  switch (call.entry.nr) {
    case SYS_openat:
      return (call.entry.args[2] & O_CREAT) != 0;
    case SYS_renameat:
    case SYS_renameat2:
    case SYS_mkdirat:
    case SYS_unlinkat:
    case SYS_symlinkat:
    case SYS_linkat:
    case SYS_write:
    case SYS_pwrite64:
    case SYS_fsync:
    case SYS_fdatasync:
    case SYS_ftruncate:
    case SYS_fchmod:
#ifdef SYS_ftruncate64
    case SYS_ftruncate64:
#endif
#ifdef SYS_rename
    case SYS_rename:
    case SYS_mkdir:
    case SYS_rmdir:
    case SYS_unlink:
    case SYS_symlink:
    case SYS_link:
#endif
      return true;
    default:
      return false;
  }
}

namespace {

// Blocks SIGCHLD, so that handlers of this process do not wait for the traced process.
class SigchldBlocker {
 public:
  SigchldBlocker() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGCHLD);
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
  }
  SigchldBlocker(const SigchldBlocker&) = delete;
  SigchldBlocker& operator=(const SigchldBlocker&) = delete;
  ~SigchldBlocker() { Restore(); }
  void Restore() const { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

// Starts the program stopped and traced by this process.
pid_t StartTraced(std::vector<std::string> arguments, const SigchldBlocker& blocker) {
  const std::vector<char*> pointers = PointersTo(arguments);
  const pid_t pid = fork();
  if (pid == 0) {
    blocker.Restore();
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    execv(pointers[0], pointers.data());
    _exit(127);
  }
  waitpid(pid, nullptr, 0);
  ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
  return pid;
}

// Continues until the next entry to or exit from a system call. Returns false when the process has
// exited.
bool ContinueToSystemCall(pid_t pid) {
  // Set by PTRACE_O_TRACESYSGOOD to distinguish system calls from other traps.
  constexpr int kSystemCallStop = SIGTRAP | 0x80;
  for (long signal = 0;;) {
    ptrace(PTRACE_SYSCALL, pid, nullptr, signal);
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status) || WIFSIGNALED(status)) return false;
    if (WSTOPSIG(status) == kSystemCallStop) return true;
    signal = WSTOPSIG(status) != SIGTRAP ? WSTOPSIG(status) : 0;
  }
}

}  // namespace

bool KillAtSystemCall(const std::vector<std::string>& arguments, int number,
                      const SystemCallPredicate& is_step) {
  const SigchldBlocker blocker;
  const pid_t pid = StartTraced(arguments, blocker);
  for (int steps = 0; ContinueToSystemCall(pid);) {
    __ptrace_syscall_info call{};
    ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof call, &call);
    if (call.op != PTRACE_SYSCALL_INFO_ENTRY || !is_step(call) || ++steps < number) continue;
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    return true;
  }
  return false;
}

}  // namespace platform::test
