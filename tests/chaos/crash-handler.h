// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_CRASH_HANDLER_H_
#define TESTS_CHAOS_CRASH_HANDLER_H_

namespace chaos {

// Environment variable with the path of the file of InstallCrashHandler().
inline constexpr char kCrashFileVariable[] = "QOR_CHAOS_CRASHES";

// Makes a crash of this process append a line to that file, because no process waits for the exit
// status of a handler. Does nothing for signals that a sanitizer handles, which reports more.
void InstallCrashHandler(const char* program);

}  // namespace chaos

#endif
