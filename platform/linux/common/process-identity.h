// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_PROCESS_IDENTITY_H_
#define PLATFORM_LINUX_COMMON_PROCESS_IDENTITY_H_

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/linux/common/process-handle.h"

namespace platform {

// In the environment that a process was started with: its name, when it is no installed
// application. Letters, digits, '.', '-' and '_', at most 64 of them, not beginning with a dot.
inline constexpr char kHostNameVariable[] = "QOR_PLATFORM_HOST_NAME";

// Who a process is, told by the file that it executes and never by what it says of itself.
struct ProcessIdentity {
  // Application id from the package database, or "host.<name>" for a process that is no installed
  // application: the name of kHostNameVariable, else the executable's file name. Empty when the
  // process is gone or its executable is deleted.
  std::string app_id;
  bool is_installed_application = false;
  // What it executes; nothing when the identity is empty.
  std::optional<FileId> executable;
};

// These never throw. When the package database cannot be read the reason is logged as an error, the
// identity is empty and no privilege is held.

ProcessIdentity IdentifyProcess(const ProcessHandle& process);
inline ProcessIdentity IdentifyProcess(pid_t pid) { return IdentifyProcess(ProcessHandle(pid)); }

// The calling process itself.
ProcessIdentity IdentifyThisProcess();

// Whether the package of an installed application declares a privilege in its manifest.
bool HoldsPrivilege(const std::string& app_id, const std::string& privilege);

}  // namespace platform

#endif
