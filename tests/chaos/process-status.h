// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_PROCESS_STATUS_H_
#define TESTS_CHAOS_PROCESS_STATUS_H_

#include <sys/types.h>

namespace chaos {

// Returns the resident set size of a process, 0 if it has exited.
long ResidentKilobytes(pid_t pid);

// Returns the number of exited children that the process has not waited for.
int ZombiesOf(pid_t parent);

}  // namespace chaos

#endif
