// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/process-identity.h"

#include <dlog.h>
#include <unistd.h>

#include <exception>

#include "platform/linux/common/package-database.h"
#include "platform/linux/common/process-list.h"

namespace platform {
namespace {

constexpr char kLogTag[] = "PLATFORM";
constexpr char kHostPrefix[] = "host.";

}  // namespace

ProcessIdentity IdentifyProcess(pid_t pid) {
  try {
    const Executable executable = ExecutableOf(pid);
    if (executable.path.empty() || executable.is_deleted) return {};
    if (auto application = FindApplicationByExecutable(executable.path))
      return {application->id, true};
    return {kHostPrefix + executable.path.substr(executable.path.rfind('/') + 1), false};
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kLogTag, "cannot tell who process %d is: %s", pid, error.what());
    return {};
  }
}

ProcessIdentity IdentifyThisProcess() { return IdentifyProcess(getpid()); }

bool HoldsPrivilege(const std::string& app_id, const std::string& privilege) {
  try {
    return PackageOfApplicationHasPrivilege(app_id, privilege);
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kLogTag, "cannot tell the privileges of %s: %s", app_id.c_str(),
               error.what());
    return false;
  }
}

}  // namespace platform
