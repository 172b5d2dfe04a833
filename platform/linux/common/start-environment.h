// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_START_ENVIRONMENT_H_
#define PLATFORM_LINUX_COMMON_START_ENVIRONMENT_H_

#include <sys/types.h>

#include <optional>
#include <string>

namespace platform {

// A variable of the environment that a process was started with, whatever it has done to its
// environment since. Empty when it had none of that name, is gone, or is not ours to look at.
std::optional<std::string> ReadStartVariable(pid_t pid, const std::string& name);

}  // namespace platform

#endif
