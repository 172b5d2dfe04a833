// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "tizen/timer-wrapper.h"

#include <cmath>

#include "tizen/callback-guard.h"
#include "tizen/thread-utils.h"

namespace {

// The count of users tells: initializing once more is 1 only where nobody else has.
bool IsEcoreUp() {
  const int users = ecore_init();
  if (users > 0) ecore_shutdown();
  return users > 1;
}

}  // namespace

// One timer of the main loop. Keeps itself alive while it runs, for the loop to call.
struct EcoreTimerGroup::Timer {
  Ecore_Timer* handle = nullptr;
  EcoreTimerWrapper::Occupant occupant;
  std::shared_ptr<Timer> self;
  // Position in the group's list; `link` is the pointer that refers to this timer.
  Timer* next = nullptr;
  Timer** link = nullptr;

  void Join(EcoreTimerGroup& group) {
    next = group.first_;
    if (next != nullptr) next->link = &next;
    link = &group.first_;
    group.first_ = this;
  }

  void Delete() { DeleteIn(IsEcoreUp()); }

  void DeleteIn(bool ecore_is_up) {
    if (handle == nullptr) return;
    if (ecore_is_up) ecore_timer_del(handle);
    Forget();
  }

  // The handle is no longer valid.
  void Forget() {
    handle = nullptr;
    *link = next;
    if (next != nullptr) next->link = link;
    self.reset();
  }
};

EcoreTimerGroup::~EcoreTimerGroup() {
  if (first_ == nullptr) return;
  tizen::ThreadUtils::InvokeOnMainThreadSync([this] {
    const bool ecore_is_up = IsEcoreUp();
    while (first_ != nullptr) first_->DeleteIn(ecore_is_up);
  });
}

EcoreTimerWrapper::EcoreTimerWrapper(std::function<bool()> task) { SetTask(std::move(task)); }

bool EcoreTimerWrapper::Start(double seconds, EcoreTimerGroup& group, Occupant occupant) {
  Stop();
  if (std::isnan(seconds)) return false;
  auto timer = std::make_shared<Timer>();
  timer->occupant = std::move(occupant);
  timer->handle = ecore_timer_add(seconds, EcoreTaskCb, timer.get());
  if (timer->handle == nullptr) return false;
  timer->Join(group);
  timer->self = timer;
  timer_ = std::move(timer);
  return true;
}

void EcoreTimerWrapper::End() {
  if (expired_ || !IsRunning()) return;
  tizen::ThreadUtils::InvokeOnMainThreadSync([this] { timer_->Delete(); });
}

void EcoreTimerWrapper::Stop() {
  if (timer_) timer_->Delete();
  timer_.reset();
}

void EcoreTimerWrapper::SetInterval(double seconds) {
  if (std::isnan(seconds)) return;
  // The platform ignores a missing timer.
  Ecore_Timer* handle = timer_ ? timer_->handle : nullptr;
  ecore_timer_interval_set(handle, seconds);
  // The new interval alone would count only from the end of the running period.
  ecore_timer_reset(handle);
}

void EcoreTimerWrapper::SetTask(std::function<bool()> task) {
  task_ = std::make_shared<const std::function<bool()>>(std::move(task));
}

bool EcoreTimerWrapper::IsRunning() const { return timer_ && timer_->handle != nullptr; }

Eina_Bool EcoreTimerWrapper::EcoreTaskCb(void* data) {
  // The task may delete this very timer, or the wrapper and the task itself.
  const std::shared_ptr<Timer> timer = static_cast<Timer*>(data)->self;
  const bool keep = tizen::GuardCallback(__FILE__, __FUNCTION__, __LINE__, false, [&timer] {
    const EcoreTimerWrapper* occupant = timer->occupant();
    if (occupant == nullptr) return false;
    const auto task = occupant->task_;
    return (*task)();
  });
  if (timer->handle == nullptr) return ECORE_CALLBACK_CANCEL;
  if (!keep) timer->Forget();
  return keep ? ECORE_CALLBACK_RENEW : ECORE_CALLBACK_CANCEL;
}
