// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_HANDLERS_H_
#define TESTS_CHAOS_HANDLERS_H_

#include <optional>
#include <string>
#include <vector>

namespace chaos {

// The handler applications, by number from 0: each a package of its own.
inline constexpr int kHandlers = 50;
// The versions that a package is installed in; they differ in priority and request types.
inline constexpr int kVersions = 2;

// Whether it answers twice, never, what was not asked, and not in parcels.
bool IsMisbehaving(int handler);
std::string PackageOf(int handler);
std::string ApplicationOf(int handler);
// Nothing for an application that is none of them.
std::optional<int> HandlerOf(const std::string& application);

// What a handler can be asked for, polite or rude.
const std::vector<std::string>& BehaviorsOf(int handler);
// The request type of one handler, and one that several serve with "echo".
std::string TypeOf(int handler, const std::string& word);
std::string SharedTypeOf(int handler);

// The one whose package an installed executable belongs to.
int HandlerOfExecutable(const std::string& path);

}  // namespace chaos

#endif
