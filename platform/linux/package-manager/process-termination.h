// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_PROCESS_TERMINATION_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_PROCESS_TERMINATION_H_

#include <string>

namespace platform {

// Terminates every process whose executable is below `folder`, except for the calling process.
// Sends SIGTERM, waits up to 2 seconds, then sends SIGKILL and waits up to 2 seconds again.
void TerminateProcessesIn(const std::string& folder);

}  // namespace platform

#endif
