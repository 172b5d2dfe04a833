// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_TIMER_WRAPPER_H_
#define TIZEN_TIMER_WRAPPER_H_

#include <Ecore.h>

#include <functional>
#include <memory>

class EcoreTimerWrapper;

// Where a timer is bound to: a place which wrappers may come to occupy one after another.
class TimerPlace {
 public:
  virtual ~TimerPlace() = default;
  // Who is there now; null while nobody is.
  virtual const EcoreTimerWrapper* Occupant() const = 0;
};

// The running timers of one owner, including those that no wrapper refers to.
class EcoreTimerGroup {
 public:
  EcoreTimerGroup() = default;
  EcoreTimerGroup(const EcoreTimerGroup&) = delete;
  EcoreTimerGroup& operator=(const EcoreTimerGroup&) = delete;
  // Deletes the timers, on the main loop's thread.
  ~EcoreTimerGroup();

 private:
  friend class EcoreTimerWrapper;
  struct Timer;

  // Head of an intrusive list.
  Timer* first_ = nullptr;
};

// A timer on the main loop together with what it does when it fires.
//
// Copies share one timer. Whoever deletes it deletes it for all of them: their handles become empty
// at once, so a handle that the loop may have given to a newer timer never reaches it. A timer is
// bound to the place from which it was started, not to the wrapper: when it fires, it runs the task
// of whichever wrapper then occupies that place, and nothing while nobody does.
//
// A timer may outlive its wrappers: one that is marked as expired is left to the main loop even
// when another timer has run its task. The group that it was started in deletes it at the latest.
//
// Ecore deletes all its timers when it shuts down; one that ends after that is only forgotten,
// since its handle must not reach an Ecore that is down.
//
// Start(), Stop() and SetInterval() are called on the main loop's thread.
class EcoreTimerWrapper {
 public:
  explicit EcoreTimerWrapper(std::function<bool()> task);
  EcoreTimerWrapper(const EcoreTimerWrapper& other);
  EcoreTimerWrapper& operator=(const EcoreTimerWrapper&) = delete;
  // Deletes the timer, on the main loop's thread, unless it is marked as expired.
  ~EcoreTimerWrapper();

  // Replaces the timer by a new one, bound to `place`, or to this very wrapper where that is null,
  // and a member of `group` where that is not null. False, without a timer, when the platform gives
  // none or the seconds are NaN, which stops Ecore's other timers.
  bool Start(double seconds, std::shared_ptr<const TimerPlace> place = nullptr,
             EcoreTimerGroup* group = nullptr);
  void Stop();
  // What the destructor does to the timer; from any thread.
  void End();
  // Changes the period and counts it from now. Without a timer, or for NaN, nothing happens.
  void SetInterval(double seconds);

  // The timer has fired and is left to the main loop, which deletes it when its callback says so.
  void SetExpired() { expired_ = true; }
  bool IsRunning() const;
  void SetTask(std::function<bool()> task);

  // Runs a task for the timer whose record is `data`. Returns what the task returned: true to keep
  // the timer running, false to end it, also when the task threw, which is logged.
  static Eina_Bool EcoreTaskCb(void* data);

 private:
  using Timer = EcoreTimerGroup::Timer;
  class OwnPlace;

  // Shared, so that neither copying a wrapper nor running its task needs memory.
  std::shared_ptr<const std::function<bool()>> task_;
  std::shared_ptr<Timer> timer_;
  bool expired_ = false;
  // None before the first timer that is bound to it.
  std::shared_ptr<OwnPlace> own_place_;
};

#endif
