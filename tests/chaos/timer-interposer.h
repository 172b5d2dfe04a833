// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_TIMER_INTERPOSER_H_
#define TESTS_CHAOS_TIMER_INTERPOSER_H_

#include <functional>

namespace chaos {

// Interposes the main loop's timer functions. The callback is called with the number of each timer
// of the library that fires, before the timer's own callback. Timers are numbered from 1 in the
// order in which they were created. Null removes the callback.
void SetTimerFiredCallback(std::function<void(int)> on_fired);

}  // namespace chaos

#endif
