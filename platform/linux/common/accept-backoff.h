// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_ACCEPT_BACKOFF_H_
#define PLATFORM_LINUX_COMMON_ACCEPT_BACKOFF_H_

#include <chrono>

#include "platform/linux/common/loop-timer.h"
#include "platform/linux/common/loop-watch.h"

namespace platform {

// Stops watching a listening socket for a second. When accept() fails for lack of descriptors or
// memory, the connection stays in the backlog and the socket readable, so the main loop would spin.
// For the main loop's thread only.
class AcceptBackoff {
 public:
  // The watch is not owned and must outlive the backoff.
  explicit AcceptBackoff(LoopWatch* watch) : watch_(watch) {}

  // Throws std::bad_alloc; the socket is then still watched.
  void Start() {
    timer_.Start(std::chrono::seconds(1), [this] { watch_->WatchReading(true); });
    watch_->WatchReading(false);
  }

 private:
  LoopWatch* const watch_;
  LoopTimer timer_;
};

}  // namespace platform

#endif
