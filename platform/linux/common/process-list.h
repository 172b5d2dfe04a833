// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_PROCESS_LIST_H_
#define PLATFORM_LINUX_COMMON_PROCESS_LIST_H_

#include <sys/types.h>

#include <functional>
#include <vector>

#include "platform/linux/common/process-handle.h"

namespace platform {

Executable ExecutableOf(pid_t pid);

// The processes whose executable meets a condition.
std::vector<pid_t> FindProcesses(const std::function<bool(const Executable&)>& condition);

}  // namespace platform

#endif
