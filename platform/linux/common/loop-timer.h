// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_LOOP_TIMER_H_
#define PLATFORM_LINUX_COMMON_LOOP_TIMER_H_

#include <Ecore.h>

#include <functional>

namespace platform {

// Runs an action once, after a while, on the main loop. For the main loop's thread alone.
class LoopTimer {
 public:
  LoopTimer() = default;
  LoopTimer(const LoopTimer&) = delete;
  LoopTimer& operator=(const LoopTimer&) = delete;
  ~LoopTimer() { Stop(); }

  // Replaces an action that has not run yet. The action may destroy the timer. Throws
  // std::bad_alloc.
  void Start(double seconds, std::function<void()> action);
  void Stop();

 private:
  static Eina_Bool Fired(void* data);

  Ecore_Timer* timer_ = nullptr;
  std::function<void()> action_;
};

}  // namespace platform

#endif
