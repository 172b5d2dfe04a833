// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_SUPPORT_PROGRAM_H_
#define PLATFORM_LINUX_TESTS_SUPPORT_PROGRAM_H_

#include <sys/types.h>

#include <string>
#include <vector>

namespace platform::test {

// Starts a program with this process's environment. -1 on failure.
pid_t Start(const std::string& file, const std::vector<std::string>& arguments);

// Waits for its end. The exit status, or minus the signal that ended it.
int Await(pid_t pid);

// Sends a signal to a process; -1, which kill() takes for every process there is, is a failure.
void Signal(pid_t pid, int signal);

// Whether a process that need not be a child has ended, with all that it held.
bool HasEnded(pid_t pid);
// Waits for that; false when it takes too long.
bool AwaitEnd(pid_t pid);

// What the test tool understands stands in test-tool.cc.
pid_t StartTool(const std::vector<std::string>& arguments);
int RunTool(const std::vector<std::string>& arguments);
std::string ToolPath();

}  // namespace platform::test

#endif
