// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>

#include <algorithm>
#include <cmath>

#include "state.h"

using fake::internal::FunctionCall;
using fake::internal::GetState;
using fake::internal::State;
using fake::internal::Timer;

namespace {

// Returns the timer of a handle. Returns null and records a usage error for an invalid handle or on
// another thread. Like Ecore, ignores a null handle.
std::shared_ptr<Timer> FindTimer(const Ecore_Timer* handle, const char* function) {
  if (!handle) return nullptr;
  if (!eina_main_loop_is()) {
    fake::internal::AddUsageError(std::string(function) + ": not on the main loop's thread");
    return nullptr;
  }
  auto timer = fake::internal::Find(GetState().timers, handle, function);
  if (timer && timer->deleted_while_firing) {
    fake::internal::AddUsageError(std::string(function) + ": unknown timer");
    return nullptr;
  }
  return timer;
}

// Like Ecore, except for NaN, which corrupts Ecore's list of timers.
double Interval(double seconds, const char* function) {
  if (std::isnan(seconds)) fake::internal::AddUsageError(std::string(function) + ": not a number");
  return std::max(seconds, 0.0);
}

void Arm(Timer* timer) {
  timer->due = GetState().now + timer->interval;
  timer->sequence = GetState().next_sequence++;
}

// Returns the next timer that is due at or before `until`, or null.
std::pair<void*, std::shared_ptr<Timer>> NextDue(double until) {
  const State& state = GetState();
  std::pair<void*, std::shared_ptr<Timer>> next{nullptr, nullptr};
  for (const auto& candidate : state.timers.All()) {
    const Timer& timer = *candidate.second;
    if (timer.firing || timer.due > until || timer.not_in_advance == state.advance) continue;
    if (!next.second || timer.due < next.second->due ||
        (timer.due == next.second->due && timer.sequence < next.second->sequence)) {
      next = candidate;
    }
  }
  return next;
}

void Fire(void* handle, const std::shared_ptr<Timer>& timer) {
  State& state = GetState();
  state.now = std::max(state.now, timer->due);
  const double fired_at = timer->due;
  timer->firing = true;
  const fake::ProcessScope process(timer->process);
  const bool keep = fake::internal::CallBack(timer->callback, timer->data) != EINA_FALSE;
  timer->firing = false;
  if (!keep || timer->deleted_while_firing) {
    state.timers.Remove(handle);
    return;
  }
  timer->due = fired_at + timer->interval;
  timer->sequence = state.next_sequence++;
  if (timer->interval <= 0) timer->not_in_advance = state.advance;
}

}  // namespace

extern "C" {

Ecore_Timer* ecore_timer_add(double in, Ecore_Task_Cb func, const void* data) {
  const FunctionCall call(__func__, std::to_string(in));
  if (call.error != 0 || !func) return nullptr;
  if (!eina_main_loop_is()) {
    fake::internal::AddUsageError("ecore_timer_add: not on the main loop's thread");
    return nullptr;
  }
  auto timer = std::make_shared<Timer>();
  timer->interval = Interval(in, __func__);
  timer->process = GetState().process;
  timer->callback = func;
  timer->data = const_cast<void*>(data);
  Arm(timer.get());
  return static_cast<Ecore_Timer*>(GetState().timers.Add(timer));
}

void* ecore_timer_del(Ecore_Timer* handle) {
  const FunctionCall call(__func__);
  if (call.error != 0) return nullptr;
  const auto timer = FindTimer(handle, __func__);
  if (!timer) return nullptr;
  if (timer->firing) {
    timer->deleted_while_firing = true;
  } else {
    GetState().timers.Remove(handle);
  }
  return timer->data;
}

void ecore_timer_interval_set(Ecore_Timer* handle, double in) {
  const FunctionCall call(__func__, std::to_string(in));
  if (call.error != 0) return;
  const double interval = Interval(in, __func__);
  if (const auto timer = FindTimer(handle, __func__)) timer->interval = interval;
}

double ecore_timer_interval_get(const Ecore_Timer* handle) {
  const FunctionCall call(__func__);
  if (call.error != 0) return -1.0;
  const auto timer = FindTimer(handle, __func__);
  return timer ? timer->interval : -1.0;
}

double ecore_timer_pending_get(const Ecore_Timer* handle) {
  const FunctionCall call(__func__);
  if (call.error != 0) return 0.0;
  const auto timer = FindTimer(handle, __func__);
  return timer ? timer->due - GetState().now : 0.0;
}

void ecore_timer_reset(Ecore_Timer* handle) {
  const FunctionCall call(__func__);
  if (call.error != 0) return;
  if (const auto timer = FindTimer(handle, __func__)) Arm(timer.get());
}

}  // extern "C"

namespace fake {

double Now() { return GetState().now; }

void Advance(double seconds) {
  State& state = GetState();
  ++state.advance;
  const double until = state.now + seconds;
  // Tolerates the rounding errors of tests that add up fractions of seconds.
  const double tolerance = 1e-9;
  for (;;) {
    const auto [handle, timer] = NextDue(until + tolerance);
    if (!timer) break;
    Fire(handle, timer);
  }
  state.now = until;
}

std::vector<TimerView> Timers() {
  auto all = GetState().timers.All();
  std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) {
    if (a.second->due != b.second->due) return a.second->due < b.second->due;
    return a.second->sequence < b.second->sequence;
  });
  std::vector<TimerView> views;
  for (const auto& [handle, timer] : all) {
    if (timer->deleted_while_firing) continue;
    views.push_back({static_cast<Ecore_Timer*>(handle), timer->due, timer->interval});
  }
  return views;
}

}  // namespace fake
