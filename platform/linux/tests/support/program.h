// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_SUPPORT_PROGRAM_H_
#define PLATFORM_LINUX_TESTS_SUPPORT_PROGRAM_H_

#include <sys/types.h>

#include <string>
#include <vector>

namespace platform::test {

// Waits for the exit of a child. Returns the exit status, or the negative number of the signal that
// killed it.
int Await(pid_t pid);

// Sends a signal to a process. Fails for -1, for which kill() would signal every process.
void Signal(pid_t pid, int signal);

// Whether a process, which need not be a child, has exited.
bool HasEnded(pid_t pid);
// Waits until the process has exited; returns false after a timeout.
bool AwaitEnd(pid_t pid);

// The commands of the test tool are documented in test-tool.cc.
pid_t StartTool(const std::vector<std::string>& arguments);
int RunTool(const std::vector<std::string>& arguments);
std::string ToolPath();

// Returns the path of another program in the folder of the tool.
std::string ProgramPath(const std::string& name);

}  // namespace platform::test

#endif
