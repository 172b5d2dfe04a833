// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_PROCESS_TERMINATION_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_PROCESS_TERMINATION_H_

#include <string>

namespace platform {

// Ends every process that was started from a file below `folder`, the calling one excepted: asks
// with SIGTERM, waits up to 2 seconds, then kills.
void TerminateProcessesIn(const std::string& folder);

}  // namespace platform

#endif
