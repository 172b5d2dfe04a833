// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_SUPPORT_CHILD_PROCESS_H_
#define PLATFORM_LINUX_TESTS_SUPPORT_CHILD_PROCESS_H_

#include <sys/types.h>

#include <string>
#include <vector>

namespace platform::test {

// Returns pointers to the texts and a null pointer at the end, as exec() and posix_spawn() need
// them. Valid as long as the texts.
std::vector<char*> PointersTo(std::vector<std::string>& texts);

// Starts a program, whose path is the first argument, with this process's environment and
// additional variables ("NAME=value"). Appends its output to the file `log`, or inherits the
// output if `log` is empty. `input` becomes its standard input and remains owned by the caller;
// -1 for /dev/null. No signal is blocked or ignored. Throws std::system_error.
pid_t StartChildProcess(std::vector<std::string> arguments, std::vector<std::string> variables = {},
                        const std::string& log = "", int input = -1);

}  // namespace platform::test

#endif
