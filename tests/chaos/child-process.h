// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_CHILD_PROCESS_H_
#define TESTS_CHAOS_CHILD_PROCESS_H_

#include <sys/types.h>

#include <string>
#include <vector>

namespace chaos {

// Starts a program with this process's environment and these variables ("NAME=value"), its output
// at the end of the file `log`. `input` becomes its standard input and stays the caller's; -1 is
// none. Throws std::system_error.
pid_t StartChildProcess(const std::vector<std::string>& words,
                        const std::vector<std::string>& variables, const std::string& log,
                        int input);

// Kilobytes of memory that a process has; 0 when it is gone.
long ResidentKilobytes(pid_t pid);

// The processes that are over and that their parent has not asked about.
int ZombiesOf(pid_t parent);

}  // namespace chaos

#endif
