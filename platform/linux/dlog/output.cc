// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/dlog/output.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace platform::dlog {
namespace {

// Blocks SIGPIPE in the calling thread. Discards a signal that the write raised, but keeps one that
// was pending before.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;
  ~BrokenPipeGuard() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  void DiscardSignal() {
    const timespec no_wait = {0, 0};
    if (!was_pending_) sigtimedwait(&pipe_, nullptr, &no_wait);
  }

 private:
  sigset_t pipe_;
  sigset_t before_;
  bool was_pending_ = false;
};

}  // namespace

int OpenOutput() {
  const char* file = std::getenv("DLOG_FILE");
  if (file == nullptr || *file == '\0') return STDERR_FILENO;
  const int fd = open(file, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  if (fd >= 0) return fd;
  dprintf(STDERR_FILENO, "dlog: cannot write to DLOG_FILE \"%s\" (%s), writing here instead\n",
          file, strerrordesc_np(errno));
  return STDERR_FILENO;
}

int WriteOnce(int fd, const char* text, size_t size) {
  BrokenPipeGuard guard;
  ssize_t written;
  do {
    written = write(fd, text, size);
  } while (written < 0 && errno == EINTR);
  if (written < 0 && errno == EPIPE) guard.DiscardSignal();
  return static_cast<int>(written);
}

}  // namespace platform::dlog
