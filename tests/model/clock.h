// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_MODEL_CLOCK_H_
#define TESTS_MODEL_CLOCK_H_

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace model {

// Where a command is stored: a block of storage and the index in it.
struct Place {
  int block;
  std::size_t index;
};

// Time and the timers that run, each bound to a place. Names of timers are never used again, so a
// name whose timer is gone is as good as none.
class Clock {
 public:
  using Timer = int;
  static constexpr Timer kNone = 0;

  // kNone while timers fail.
  Timer Start(double seconds, Place place);
  void Delete(Timer timer) { timers_.erase(timer); }
  void DeleteAll() { timers_.clear(); }
  // Counts from now; nothing for a timer that is gone.
  void Restart(Timer timer, double seconds);

  // Fires, and ends, what falls due on the way: earlier first, older first.
  void Advance(double seconds, const std::function<void(Place)>& fire);

  double Now() const { return now_; }
  // Those that run.
  std::vector<Timer> Timers() const;
  // Nothing for a timer that does not run.
  std::optional<Place> PlaceOf(Timer timer) const;
  // Ascending.
  std::vector<double> DueTimes() const;

  bool timers_fail = false;

 private:
  struct Running {
    double due;
    long order;
    Place place;
  };

  std::map<Timer, Running>::iterator NextDue(double until);

  double now_ = 0;
  Timer last_timer_ = kNone;
  long last_order_ = 0;
  std::map<Timer, Running> timers_;
};

}  // namespace model

#endif
