// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_CONNECTED_PROCESSES_H_
#define PLATFORM_LINUX_COMMON_CONNECTED_PROCESSES_H_

#include <sys/types.h>

namespace platform {

// Which of the processes that this process has launched have connected to one of its ports. Main
// loop's thread only.

// Called when a process is launched. Throws std::bad_alloc.
void AwaitConnectionOf(pid_t pid);

// Called when a process has connected, launched or not.
void SetConnected(pid_t pid);

// Called when a process has ended. Returns whether it had connected, and forgets it.
bool TakeConnected(pid_t pid);

}  // namespace platform

#endif
