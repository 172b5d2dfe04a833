// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_TIMEOUTS_H_
#define TESTS_CHAOS_TIMEOUTS_H_

namespace chaos {

// What the agent allows, and what handlers do about it.
inline constexpr int kExecutionTimeoutMs = 2'000;
inline constexpr int kConnectionTimeoutMs = 4'000;
// Where every command is to succeed, however busy the machine is.
inline constexpr int kGenerousTimeoutMs = 60'000;
// What handlers ask for, and what they then use of it.
inline constexpr double kExtensionSeconds = 4;
inline constexpr int kLongTaskMs = 2'500;

}  // namespace chaos

#endif
