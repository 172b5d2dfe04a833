// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/loop-timer.h"

#include <new>
#include <utility>

#include "platform/linux/common/c-boundary.h"

namespace platform {

void LoopTimer::Start(std::chrono::duration<double> delay, std::function<void()> action) {
  Stop();
  action_ = std::move(action);
  timer_ = ecore_timer_add(delay.count(), &OnTimer, this);
  if (timer_ == nullptr) throw std::bad_alloc();
}

void LoopTimer::Stop() {
  if (timer_ != nullptr) ecore_timer_del(timer_);
  timer_ = nullptr;
}

Eina_Bool LoopTimer::OnTimer(void* data) {
  auto* self = static_cast<LoopTimer*>(data);
  self->timer_ = nullptr;
  // Moved out of the timer, which the action may destroy.
  const std::function<void()> action = std::move(self->action_);
  kMainLoopBoundary.Run([&] {
    action();
    return TIZEN_ERROR_NONE;
  });
  return ECORE_CALLBACK_CANCEL;
}

}  // namespace platform
