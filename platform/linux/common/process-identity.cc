// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/process-identity.h"

#include <dlog.h>
#include <unistd.h>

#include <exception>

#include "platform/linux/common/ids.h"
#include "platform/linux/common/package-database.h"
#include "platform/linux/common/process-handle.h"

namespace platform {
namespace {

constexpr char kLogTag[] = "PLATFORM";

std::string HostName(pid_t pid, const std::string& executable) {
  if (const auto name = ReadStartVariable(pid, kHostNameVariable)) {
    if (IsHostName(*name)) return *name;
    dlog_print(DLOG_WARN, kLogTag, "process %d: invalid name %s=\"%s\", using the executable's",
               pid, kHostNameVariable, name->c_str());
  }
  return executable.substr(executable.rfind('/') + 1);
}

}  // namespace

ProcessIdentity IdentifyProcess(const ProcessHandle& process) {
  try {
    const Executable executable = process.ExecutablePath();
    const auto file = process.ExecutableFile();
    if (executable.path.empty() || executable.is_deleted || !file) return {};
    const auto app_id = FindApplicationIdByExecutable(executable.path);
    // The path alone proves nothing: in a mount namespace of its own, a process can have another
    // file there.
    if (app_id && file == FileAt(executable.path)) return {*app_id, true, file};
    return {kHostPrefix + HostName(process.pid(), executable.path), false, file};
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kLogTag, "cannot identify process %d: %s", process.pid(), error.what());
    return {};
  }
}

ProcessIdentity IdentifyThisProcess() { return IdentifyProcess(getpid()); }

bool HoldsPrivilege(const std::string& app_id, const std::string& privilege) {
  try {
    return PackageOfApplicationHasPrivilege(app_id, privilege);
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kLogTag, "cannot read the privileges of %s: %s", app_id.c_str(),
               error.what());
    return false;
  }
}

}  // namespace platform
