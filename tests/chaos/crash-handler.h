// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_CRASH_HANDLER_H_
#define TESTS_CHAOS_CRASH_HANDLER_H_

namespace chaos {

// The variable of the environment that names the file of NoteCrashes().
inline constexpr char kCrashFileVariable[] = "QOR_CHAOS_CRASHES";

// From here on a crash of this process leaves a line in that file: nobody else sees how a handler
// ends. Under a sanitizer, which tells more, nothing changes.
void InstallCrashHandler(const char* program);

}  // namespace chaos

#endif
