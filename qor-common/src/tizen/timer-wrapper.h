// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_TIMER_WRAPPER_H_
#define TIZEN_TIMER_WRAPPER_H_

#include <Ecore.h>

#include <functional>
#include <memory>

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

// A timer on the main loop together with the task that it is for.
//
// When a timer fires it runs the task of its occupant: the wrapper that is found at that time,
// which may be another one than the wrapper that started it, or none.
//
// A timer may outlive its wrapper: one that is marked as expired is left to the main loop even when
// another timer has run its task. The group that it was started in deletes it at the latest.
//
// Ecore deletes all its timers when it shuts down; one that ends after that is only forgotten,
// since its handle must not reach an Ecore that is down.
//
// Start(), Stop() and SetInterval() are called on the main loop's thread.
class EcoreTimerWrapper {
 public:
  // Finds the wrapper whose task a timer runs; null when there is none. Called on the main loop's
  // thread.
  using Occupant = std::function<const EcoreTimerWrapper*()>;

  explicit EcoreTimerWrapper(std::function<bool()> task);
  EcoreTimerWrapper(const EcoreTimerWrapper&) = delete;
  EcoreTimerWrapper& operator=(const EcoreTimerWrapper&) = delete;
  // Deletes the timer, on the main loop's thread, unless it is marked as expired.
  ~EcoreTimerWrapper() { End(); }

  // Replaces the timer by a new one, which belongs to `group`. False, without a timer, when the
  // platform gives none or the seconds are NaN, which stops Ecore's other timers.
  bool Start(double seconds, EcoreTimerGroup& group, Occupant occupant);
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

  // Shared, so that running it needs no memory: a task may end its own wrapper.
  std::shared_ptr<const std::function<bool()>> task_;
  std::shared_ptr<Timer> timer_;
  bool expired_ = false;
};

#endif
