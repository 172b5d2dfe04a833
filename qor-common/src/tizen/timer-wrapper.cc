// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "tizen/timer-wrapper.h"

#include <cmath>

#include "tizen/callback-guard.h"
#include "tizen/thread-utils.h"

namespace {

// Ecore has no query for this. Its initialization count is 1 after the call only if it was down.
bool IsEcoreUp() {
  const int count = ecore_init();
  if (count > 0) ecore_shutdown();
  return count > 1;
}

}  // namespace

// One timer of the main loop. Owns itself while it runs, since the loop holds only a raw pointer.
struct EcoreTimerGroup::Timer {
  const char* log_tag = nullptr;
  Ecore_Timer* handle = nullptr;
  EcoreTimerWrapper::FindOwner find_owner;
  std::shared_ptr<Timer> self;
  // Links of the group's list; `link` is the pointer that refers to this timer.
  Timer* next = nullptr;
  Timer** link = nullptr;

  void LinkInto(EcoreTimerGroup& group) {
    next = group.first_;
    if (next != nullptr) next->link = &next;
    link = &group.first_;
    group.first_ = this;
  }

  void Delete() { DeleteIn(IsEcoreUp()); }

  void DeleteIn(bool ecore_is_up) {
    if (handle == nullptr) return;
    if (ecore_is_up) ecore_timer_del(handle);
    Release();
  }

  // Drops the handle, which is no longer valid, and the timer's reference to itself.
  void Release() {
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

bool EcoreTimerWrapper::Start(double seconds, EcoreTimerGroup& group, FindOwner find_owner) {
  Stop();
  if (std::isnan(seconds)) return false;
  auto timer = std::make_shared<Timer>();
  timer->log_tag = group.log_tag_;
  timer->find_owner = std::move(find_owner);
  timer->handle = ecore_timer_add(seconds, EcoreTaskCb, timer.get());
  if (timer->handle == nullptr) return false;
  timer->LinkInto(group);
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
  // Ecore ignores a null timer.
  Ecore_Timer* handle = timer_ ? timer_->handle : nullptr;
  ecore_timer_interval_set(handle, seconds);
  // Ecore applies a new interval from the next period on.
  ecore_timer_reset(handle);
}

void EcoreTimerWrapper::SetTask(std::function<bool()> task) {
  task_ = std::make_shared<const std::function<bool()>>(std::move(task));
}

bool EcoreTimerWrapper::IsRunning() const { return timer_ && timer_->handle != nullptr; }

Eina_Bool EcoreTimerWrapper::EcoreTaskCb(void* data) {
  // The task may delete this timer, its owner and the task itself.
  const std::shared_ptr<Timer> timer = static_cast<Timer*>(data)->self;
  const bool keep =
      tizen::GuardCallback(timer->log_tag, __FILE__, __FUNCTION__, __LINE__, false, [&timer] {
        const EcoreTimerWrapper* owner = timer->find_owner();
        if (owner == nullptr) return false;
        const auto task = owner->task_;
        return (*task)();
      });
  if (timer->handle == nullptr) return ECORE_CALLBACK_CANCEL;
  if (!keep) timer->Release();
  return keep ? ECORE_CALLBACK_RENEW : ECORE_CALLBACK_CANCEL;
}
