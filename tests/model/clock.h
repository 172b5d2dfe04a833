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

// Where a command is stored: a block of storage and the index in it. A timer stays bound to its
// position when the commands move.
struct Position {
  int block;
  std::size_t index;
};

// A virtual clock with its active timers. Timer ids are never reused, so an id whose timer has
// fired or was deleted is harmless.
class Clock {
 public:
  using Timer = int;
  static constexpr Timer kNone = 0;

  // Returns kNone when `timers_fail`.
  Timer Start(double seconds, Position position);
  void Delete(Timer timer) { timers_.erase(timer); }
  void DeleteAll() { timers_.clear(); }
  // Counts from now. Ignores an inactive timer.
  void Restart(Timer timer, double seconds);

  // Fires and deletes every timer that becomes due, in order of due time, then of start.
  void Advance(double seconds, const std::function<void(Position)>& fire);

  double Now() const { return now_; }
  // The active timers.
  std::vector<Timer> Timers() const;
  // Returns nothing for an inactive timer.
  std::optional<Position> PositionOf(Timer timer) const;
  // Ascending.
  std::vector<double> DueTimes() const;

  bool timers_fail = false;

 private:
  struct Running {
    double due;
    long order;
    Position position;
  };

  std::map<Timer, Running>::iterator NextDue(double until);

  double now_ = 0;
  Timer last_timer_ = kNone;
  long last_order_ = 0;
  std::map<Timer, Running> timers_;
};

}  // namespace model

#endif
