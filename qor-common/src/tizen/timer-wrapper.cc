// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "tizen/timer-wrapper.h"

#include "tizen/callback-guard.h"
#include "tizen/thread-utils.h"

// One timer of the main loop, shared by all wrappers that hold its handle. While it runs it keeps
// itself alive, for the loop to call, and the loop's library too: timers of static objects are
// deleted after main() has returned, when the client may have shut that down.
struct EcoreTimerWrapper::Timer {
  Ecore_Timer* handle = nullptr;
  std::shared_ptr<const TimerPlace> place;
  std::shared_ptr<Timer> self;
  bool keeps_loop = false;

  void Delete() {
    if (handle == nullptr) return;
    ecore_timer_del(handle);
    Forget();
  }

  void Forget() {
    handle = nullptr;
    if (keeps_loop) ecore_shutdown();
    self.reset();
  }
};

// Where a wrapper itself is, for as long as it lives.
class EcoreTimerWrapper::OwnPlace : public TimerPlace {
 public:
  explicit OwnPlace(const EcoreTimerWrapper* wrapper) : wrapper_(wrapper) {}

  const EcoreTimerWrapper* Occupant() const override { return wrapper_; }
  void Leave() { wrapper_ = nullptr; }

 private:
  const EcoreTimerWrapper* wrapper_;
};

EcoreTimerWrapper::EcoreTimerWrapper(std::function<bool()> task) { SetTask(std::move(task)); }

EcoreTimerWrapper::EcoreTimerWrapper(const EcoreTimerWrapper& other)
    : task_(other.task_), timer_(other.timer_), expired_(other.expired_) {}

EcoreTimerWrapper::~EcoreTimerWrapper() {
  End();
  if (own_place_) own_place_->Leave();
}

bool EcoreTimerWrapper::Start(double seconds, std::shared_ptr<const TimerPlace> place) {
  Stop();
  if (!place && !own_place_) own_place_ = std::make_shared<OwnPlace>(this);
  auto timer = std::make_shared<Timer>();
  timer->place = place ? std::move(place) : own_place_;
  timer->handle = ecore_timer_add(seconds, EcoreTaskCb, timer.get());
  if (timer->handle == nullptr) return false;
  timer->keeps_loop = ecore_init() > 0;
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
    const EcoreTimerWrapper* occupant = timer->place->Occupant();
    if (occupant == nullptr) return false;
    const auto task = occupant->task_;
    return (*task)();
  });
  if (timer->handle == nullptr) return ECORE_CALLBACK_CANCEL;
  if (!keep) timer->Forget();
  return keep ? ECORE_CALLBACK_RENEW : ECORE_CALLBACK_CANCEL;
}
