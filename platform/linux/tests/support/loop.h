// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_IPC_LOOP_H_
#define PLATFORM_LINUX_TESTS_IPC_LOOP_H_

#include <functional>

namespace platform::test {

// Initializes Ecore until the process exits: each restart would leak memory of Ecore.
void StartEcore();

// Runs the main loop until the condition holds. False after 30 seconds.
bool RunLoopUntil(const std::function<bool()>& condition);

// Runs the main loop until all pending events are handled.
void RunLoopDry();

}  // namespace platform::test

#endif
