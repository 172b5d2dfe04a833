// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_ACCEPT_BACKOFF_H_
#define PLATFORM_LINUX_COMMON_ACCEPT_BACKOFF_H_

#include "platform/linux/common/loop-timer.h"
#include "platform/linux/common/loop-watch.h"

namespace platform {

// Lets a listening socket rest for a second. A connection that cannot be accepted, for want of
// descriptors or memory, keeps the socket readable: going on would spin. For the main loop's thread
// alone.
class AcceptBackoff {
 public:
  // The watch is not owned and must outlive the pause.
  explicit AcceptBackoff(LoopWatch* watch) : watch_(watch) {}

  // Throws std::bad_alloc; the socket then does not rest.
  void Start() {
    timer_.Start(1.0, [this] { watch_->WatchReading(true); });
    watch_->WatchReading(false);
  }

 private:
  LoopWatch* const watch_;
  LoopTimer timer_;
};

}  // namespace platform

#endif
