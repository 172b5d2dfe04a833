// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_TIMER_WRAPPER_H_
#define TIZEN_TIMER_WRAPPER_H_

#include <Ecore.h>

#include <functional>
#include <memory>

class EcoreTimerWrapper;

// Where timers are bound to: a place in memory, which wrappers may come to occupy one after
// another.
struct TimerPlace {
  // Null while nobody is there.
  EcoreTimerWrapper* occupant = nullptr;
};

// A timer on the main loop together with what it does when it fires.
//
// Copies share one timer. Whoever deletes it deletes it for all of them: their handles become empty
// at once, so a handle that the loop may have given to a newer timer never reaches it. A timer is
// bound to the place from which it was started, not to the wrapper: when it fires, it runs the task
// of whichever wrapper then occupies that place, and nothing while nobody does. A copy has a place
// of its own.
//
// Start(), Stop() and SetInterval() are called on the main loop's thread.
class EcoreTimerWrapper {
 public:
  explicit EcoreTimerWrapper(std::function<bool()> task);
  EcoreTimerWrapper(const EcoreTimerWrapper& other);
  EcoreTimerWrapper& operator=(const EcoreTimerWrapper& other);
  // Deletes the timer, on the main loop's thread, unless it is marked as expired.
  ~EcoreTimerWrapper();

  // This wrapper's place; none before the first timer, unless it was told one.
  const std::shared_ptr<TimerPlace>& Place() const { return place_; }
  // Tells a wrapper that has not had a timer yet where it is.
  void Occupy(std::shared_ptr<TimerPlace> place);

  // Replaces the timer by a new one. False, without a timer, when the platform gives none.
  bool Start(double seconds);
  void Stop();
  // Changes the period and counts it from now. Without a timer nothing happens.
  void SetInterval(double seconds);

  // The timer has fired and is left to the main loop, which deletes it when its callback says so.
  void SetExpired() { expired_ = true; }
  bool IsRunning() const;
  void SetTask(std::function<bool()> task);

  // Runs a task for the timer whose record is `data`. Returns what the task returned: true to keep
  // the timer running, false to end it, also when the task threw, which is logged.
  static Eina_Bool EcoreTaskCb(void* data);

 private:
  struct Timer;

  // Shared, so that neither copying a wrapper nor running its task needs memory.
  std::shared_ptr<const std::function<bool()>> task_;
  std::shared_ptr<Timer> timer_;
  bool expired_ = false;
  std::shared_ptr<TimerPlace> place_;
};

#endif
