// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_TIMER_WRAPPER_H_
#define TIZEN_TIMER_WRAPPER_H_

#include <Ecore.h>

#include <functional>
#include <memory>

// The running timers of one list of wrappers, including those that have lost their wrapper.
// Bounds the lifetime of its timers.
class EcoreTimerGroup {
 public:
  // Exceptions of tasks are logged under `log_tag`, which must outlive the group.
  explicit EcoreTimerGroup(const char* log_tag) : log_tag_(log_tag) {}
  EcoreTimerGroup(const EcoreTimerGroup&) = delete;
  EcoreTimerGroup& operator=(const EcoreTimerGroup&) = delete;
  // Deletes the timers, on the main loop's thread.
  ~EcoreTimerGroup();

 private:
  friend class EcoreTimerWrapper;
  struct Timer;

  const char* log_tag_;
  // Head of an intrusive list.
  Timer* first_ = nullptr;
};

// A task and its timer on the main loop.
//
// A timer belongs to a position, not to a wrapper: when it fires, it runs the task of its owner at
// that time, which may be another wrapper than the one that started it, or none.
//
// A timer may outlive its wrapper: the destructor of an expired wrapper leaves the timer to the
// main loop, even when another timer has run the task. The timer's group deletes it at the latest.
//
// Ecore deletes its timers when it shuts down. A timer that is deleted later is only released,
// since its handle must not reach Ecore after that.
//
// Start(), Stop() and SetInterval() must be called on the main loop's thread.
class EcoreTimerWrapper {
 public:
  // Returns the wrapper whose task a timer runs; null if there is none. Called on the main loop's
  // thread when the timer fires.
  using FindOwner = std::function<const EcoreTimerWrapper*()>;

  explicit EcoreTimerWrapper(std::function<bool()> task);
  EcoreTimerWrapper(const EcoreTimerWrapper&) = delete;
  EcoreTimerWrapper& operator=(const EcoreTimerWrapper&) = delete;
  // Deletes the timer, on the main loop's thread, unless the wrapper is marked as expired.
  ~EcoreTimerWrapper() { End(); }

  // Replaces the timer by a new one in `group`. Returns false, without a timer, if the platform
  // creates none or `seconds` is NaN, with which Ecore stops its other timers.
  bool Start(double seconds, EcoreTimerGroup& group, FindOwner find_owner);
  // Deletes the timer.
  void Stop();
  // Deletes the timer as the destructor does. Callable from any thread.
  void End();
  // Changes the period and restarts it. Does nothing without a timer or for NaN.
  void SetInterval(double seconds);

  // Marks the timer as fired: the main loop deletes it when its callback returns false.
  void SetExpired() { expired_ = true; }
  bool IsRunning() const;
  void SetTask(std::function<bool()> task);

  // Ecore's callback; `data` is the timer's record. Returns the result of the owner's task: true
  // keeps the timer running. An exception of the task is logged and ends the timer.
  static Eina_Bool EcoreTaskCb(void* data);

 private:
  using Timer = EcoreTimerGroup::Timer;

  // Shared, because a task may destroy its own wrapper: a running task is kept alive without a
  // copy, which could run out of memory.
  std::shared_ptr<const std::function<bool()>> task_;
  std::shared_ptr<Timer> timer_;
  bool expired_ = false;
};

#endif
