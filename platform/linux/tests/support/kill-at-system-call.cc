// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/tests/support/kill-at-system-call.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

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

// Keeps the stops of a traced process from whoever looks for ended ones.
class NoNewsOfChildren {
 public:
  NoNewsOfChildren() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGCHLD);
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
  }
  NoNewsOfChildren(const NoNewsOfChildren&) = delete;
  NoNewsOfChildren& operator=(const NoNewsOfChildren&) = delete;
  ~NoNewsOfChildren() { Allow(); }
  void Allow() const { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

}  // namespace

bool KillAtSystemCall(const std::vector<std::string>& arguments, int number,
                      const SystemCallPredicate& is_step) {
  std::vector<std::string> texts = arguments;
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  const NoNewsOfChildren quiet;
  const pid_t pid = fork();
  if (pid == 0) {
    quiet.Allow();
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    execv(pointers[0], pointers.data());
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
  long signal = 0;
  for (int seen = 0;;) {
    ptrace(PTRACE_SYSCALL, pid, nullptr, signal);
    signal = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status) || WIFSIGNALED(status)) return false;
    if (WSTOPSIG(status) != (SIGTRAP | 0x80)) {
      if (WSTOPSIG(status) != SIGTRAP) signal = WSTOPSIG(status);
      continue;
    }
    __ptrace_syscall_info call{};
    ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof call, &call);
    if (call.op != PTRACE_SYSCALL_INFO_ENTRY || !is_step(call) || ++seen < number) continue;
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
    return true;
  }
}

}  // namespace platform::test
