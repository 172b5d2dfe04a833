// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_IPC_LOOP_H_
#define PLATFORM_LINUX_TESTS_IPC_LOOP_H_

#include <functional>

namespace platform::test {

// Starts Ecore for the life of the process: each restart would leak what Ecore keeps.
void StartEcore();

// Runs the main loop until something is so. False when it is not within half a minute.
bool RunLoopUntil(const std::function<bool()>& is_so);

// Runs the main loop until everything that is there already has been served.
void RunLoopDry();

}  // namespace platform::test

#endif
