// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_PROCESS_IDENTITY_H_
#define PLATFORM_LINUX_COMMON_PROCESS_IDENTITY_H_

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/linux/common/process-handle.h"

namespace platform {

// A variable of the environment that a process was started with: its host name (IsHostName()), used
// unless the process is an installed application.
inline constexpr char kHostNameVariable[] = "QOR_PLATFORM_HOST_NAME";

// The identity of a process. Determined from the executed file, never from data that the process
// sends.
struct ProcessIdentity {
  // The application id from the package database, or "host.<name>" for any other process: the name
  // of kHostNameVariable, else the executable's file name. Empty when the process has exited or its
  // executable was deleted.
  std::string app_id;
  bool is_installed_application = false;
  // The executed file. Empty when the identity is.
  std::optional<FileId> executable;
};

// None of these throws. When the package database cannot be read, an error is logged, the identity
// is empty and no privilege is held.

ProcessIdentity IdentifyProcess(const ProcessHandle& process);
inline ProcessIdentity IdentifyProcess(pid_t pid) { return IdentifyProcess(ProcessHandle(pid)); }

// Identifies the calling process.
ProcessIdentity IdentifyThisProcess();

// Whether the package of an installed application declares a privilege in its manifest.
bool HoldsPrivilege(const std::string& app_id, const std::string& privilege);

}  // namespace platform

#endif
