// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_TIMER_INTERPOSER_H_
#define TESTS_CHAOS_TIMER_INTERPOSER_H_

#include <functional>

namespace chaos {

// Tells of each timer of the library that fires, before its callback runs, which one it is: they
// are numbered from 1 in the order in which they were started. While a library that this process is
// linked with asks the main loop for timers, it asks this program first.
void SetTimerFiredCallback(std::function<void(int)> on_fired);

}  // namespace chaos

#endif
