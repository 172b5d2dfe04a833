// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_CHILD_PROCESS_H_
#define TESTS_CHAOS_CHILD_PROCESS_H_

#include <sys/types.h>

#include <string>
#include <vector>

namespace chaos {

// Starts a program with this process's environment and additional variables ("NAME=value"). Appends
// its output to the file `log`. `input` becomes its standard input and remains owned by the caller;
// -1 for /dev/null. Throws std::system_error.
pid_t StartChildProcess(std::vector<std::string> arguments, std::vector<std::string> variables,
                        const std::string& log, int input);

// Returns the resident set size of a process, 0 if it has exited.
long ResidentKilobytes(pid_t pid);

// Returns the number of exited children that the process has not waited for.
int ZombiesOf(pid_t parent);

}  // namespace chaos

#endif
