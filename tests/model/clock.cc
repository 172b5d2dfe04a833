// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "clock.h"

#include <algorithm>

namespace model {

Clock::Timer Clock::Start(double seconds, Position position) {
  if (timers_fail) return kNone;
  timers_[++last_timer_] = {now_ + std::max(seconds, 0.0), ++last_order_, position};
  return last_timer_;
}

void Clock::Restart(Timer timer, double seconds) {
  const auto found = timers_.find(timer);
  if (found == timers_.end()) return;
  found->second.due = now_ + std::max(seconds, 0.0);
  found->second.order = ++last_order_;
}

void Clock::Advance(double seconds, const std::function<void(Position)>& fire) {
  // The fake platform also fires timers that are due within a rounding error.
  constexpr double kTolerance = 1e-9;
  const double until = now_ + seconds;
  for (auto next = NextDue(until + kTolerance); next != timers_.end();
       next = NextDue(until + kTolerance)) {
    const auto [timer, running] = *next;
    now_ = std::max(now_, running.due);
    fire(running.position);
    timers_.erase(timer);
  }
  now_ = until;
}

std::vector<Clock::Timer> Clock::Timers() const {
  std::vector<Timer> timers;
  for (const auto& [timer, running] : timers_) timers.push_back(timer);
  return timers;
}

std::optional<Position> Clock::PositionOf(Timer timer) const {
  const auto found = timers_.find(timer);
  return found != timers_.end() ? std::optional(found->second.position) : std::nullopt;
}

std::map<Clock::Timer, Clock::Running>::iterator Clock::NextDue(double until) {
  auto next = timers_.end();
  for (auto it = timers_.begin(); it != timers_.end(); ++it) {
    const Running& running = it->second;
    if (running.due > until) continue;
    if (next == timers_.end() || running.due < next->second.due ||
        (running.due == next->second.due && running.order < next->second.order)) {
      next = it;
    }
  }
  return next;
}

std::vector<double> Clock::DueTimes() const {
  std::vector<double> times;
  for (const auto& [timer, running] : timers_) times.push_back(running.due);
  std::sort(times.begin(), times.end());
  return times;
}

}  // namespace model
