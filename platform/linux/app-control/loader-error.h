// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_LOADER_ERROR_H_
#define PLATFORM_LINUX_APP_CONTROL_LOADER_ERROR_H_

#include <sys/types.h>

#include <string>

namespace platform {

// The exit status of a process whose shared libraries cannot be loaded.
inline constexpr int kLoaderExitStatus = 127;

// Returns why the dynamic loader could not start a process, from what it has written to the
// application's log: "libfoo.so.0 not found". Empty when the log has no such line of the process.
std::string FindLoaderError(const std::string& app_id, pid_t pid);

}  // namespace platform

#endif
