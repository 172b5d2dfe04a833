// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_HANDLERS_H_
#define TESTS_CHAOS_HANDLERS_H_

#include <optional>
#include <string>
#include <vector>

namespace chaos {

// The handler applications are numbered from 0. Each has a package of its own.
inline constexpr int kHandlers = 50;
// After these come those for durable commands, which are never uninstalled: with its data a handler
// loses what at-most-once functions need.
inline constexpr int kDurableHandlers = 5;
inline constexpr int kAllHandlers = kHandlers + kDurableHandlers;
// Versions of each package. They differ in priority and request types.
inline constexpr int kVersions = 2;

// Whether the handler may answer twice, never, or commands that it did not receive, and may send
// unknown methods.
bool IsMisbehaving(int handler);
std::string PackageOf(int handler);
std::string ApplicationOf(int handler);
// Returns nothing for other applications.
std::optional<int> HandlerOf(const std::string& application);

// Whether the handler's own types are for durable commands.
bool IsDurable(int handler);
// Whether the function of a durable type must not be called twice.
bool IsAtMostOnce(const std::string& type);

// The behaviors that a handler's request types select.
const std::vector<std::string>& BehaviorsOf(int handler);
// Returns the handler's own request type for a behavior, and the type that it shares with other
// handlers, for which all behave like "echo".
std::string TypeOf(int handler, const std::string& behavior);
std::string SharedTypeOf(int handler);

// Returns the handler that an installed executable belongs to.
int HandlerOfExecutable(const std::string& path);

}  // namespace chaos

#endif
