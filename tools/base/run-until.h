// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_BASE_RUN_UNTIL_H_
#define QOR_TOOLS_BASE_RUN_UNTIL_H_

#include <chrono>
#include <functional>

namespace tools {

// Runs the main loop until `condition` holds, which is checked before every wait.
// Must not be called from within the loop.
void RunUntil(const std::function<bool()>& condition);

// The same with a limit. Returns whether the condition holds.
bool RunUntil(const std::function<bool()>& condition, std::chrono::duration<double> limit);

}  // namespace tools

#endif
