// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_TIMEOUTS_H_
#define TESTS_CHAOS_TIMEOUTS_H_

#include <chrono>

namespace chaos {

// Timeouts of the agent.
inline constexpr std::chrono::seconds kExecutionTimeout(2);
inline constexpr std::chrono::seconds kConnectionTimeout(4);
// For commands that must succeed, however busy the machine is.
inline constexpr std::chrono::seconds kGenerousTimeout(60);
// The extension that handlers request, and the execution time of long tasks, which is longer than
// the execution timeout and shorter than the extension.
inline constexpr std::chrono::duration<double> kExtension(4);
inline constexpr std::chrono::milliseconds kLongTask(2'500);

}  // namespace chaos

#endif
