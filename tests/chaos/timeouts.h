// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_TIMEOUTS_H_
#define TESTS_CHAOS_TIMEOUTS_H_

namespace chaos {

// Timeouts of the agent.
inline constexpr int kExecutionTimeoutMs = 2'000;
inline constexpr int kConnectionTimeoutMs = 4'000;
// For commands that must succeed, however busy the machine is.
inline constexpr int kGenerousTimeoutMs = 60'000;
// The extension that handlers request, and the execution time of long tasks, which is longer than
// the execution timeout and shorter than the extension.
inline constexpr double kExtensionSeconds = 4;
inline constexpr int kLongTaskMs = 2'500;

}  // namespace chaos

#endif
