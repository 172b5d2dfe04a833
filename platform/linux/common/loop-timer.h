// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_LOOP_TIMER_H_
#define PLATFORM_LINUX_COMMON_LOOP_TIMER_H_

#include <Ecore.h>

#include <chrono>
#include <functional>

namespace platform {

// A one-shot timer of the main loop. For the main loop's thread only.
class LoopTimer {
 public:
  LoopTimer() = default;
  LoopTimer(const LoopTimer&) = delete;
  LoopTimer& operator=(const LoopTimer&) = delete;
  ~LoopTimer() { Stop(); }

  // Runs the action once after the delay. Replaces a pending action. The action may destroy the
  // timer. Throws std::bad_alloc.
  void Start(std::chrono::duration<double> delay, std::function<void()> action);
  void Stop();

 private:
  static Eina_Bool OnTimer(void* data);

  Ecore_Timer* timer_ = nullptr;
  std::function<void()> action_;
};

}  // namespace platform

#endif
