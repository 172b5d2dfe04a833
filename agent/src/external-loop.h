// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_AGENT_SRC_EXTERNAL_LOOP_H_
#define QOR_AGENT_SRC_EXTERNAL_LOOP_H_

#include <sys/select.h>

#include <chrono>
#include <optional>
#include <vector>

namespace qor::agent {

// Lets another main loop drive Ecore. Ecore waits through a function that it allows to replace:
// ours looks at the descriptors without waiting and notes for which of them, and how long, Ecore
// would have waited. The other loop then waits for the same. One object per process.
class ExternalLoop {
 public:
  ExternalLoop() = default;
  ExternalLoop(const ExternalLoop&) = delete;
  ExternalLoop& operator=(const ExternalLoop&) = delete;
  ~ExternalLoop();

  // These do what qor_agent_loop_fd(), _timeout() and _step() say. Throw Error.
  int Fd();
  int TimeoutMs();
  void Step();
  // Something has changed outside of Step(), so that the noted waits may be wrong.
  void Invalidate() { is_stale_ = true; }

 private:
  using Clock = std::chrono::steady_clock;

  void Start();
  static int Select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional,
                    timeval* timeout);
  void Note(int count, const fd_set* readable, const fd_set* writable, const timeval* timeout);
  void Watch();

  struct Wait {
    int fd;
    unsigned events;
    bool operator==(const Wait& other) const { return fd == other.fd && events == other.events; }
  };

  static ExternalLoop* current_;
  int epoll_ = -1;
  bool is_stale_ = true;
  bool has_work_ = false;
  std::optional<Clock::time_point> due_;
  std::vector<Wait> noted_;
  std::vector<Wait> watched_;
};

}  // namespace qor::agent

#endif
